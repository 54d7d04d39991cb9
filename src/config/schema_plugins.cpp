#include "config/schema_plugins.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_string.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_values.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::constraint_db;

using constraint_handle = ptr_refcount<kxcore::constraint const>;
using database = ptr_refcount<constraint_db const>;
using databases = std::vector<database>;
using changed_database = ptr_refcount<constraint_db>;

/// The installation, as far as it is of concern here.
struct installed {
    constraint_db const& constraints;
    kxcore::plugin_db const& plugins;
};

databases tasks(constraint_db const& task, installed const& in);
database workflow(constraint_db const& plain, installed const& in);
databases monitors(constraint_db const& plain, installed const& in);
database submission(constraint_db const& plain, installed const& in);

database configuration_of(std::string_view plugin_id, installed const& in);
constraint_handle task_id(std::string_view plugin_id);
constraint_handle one_of(databases const& alternatives);
database member_database(constraint_db const& of, std::string_view name);
changed_database changed(constraint_db const& plain);
void replace(constraint_db& in, std::string_view name, constraint_handle value);
void replace_open(constraint_db& in, std::string_view name, database const& value);
bool holds_tasks(e_config_type type);
bool holds_monitors(e_config_type type);

/// A string that can't be anything else but a special value.
constraint_handle only_special() {
    return make_refcount<kxcore::constraint_one_of>(std::vector<constraint_handle>{});
}

constraint_handle exactly(std::string_view text) {
    return make_refcount<kxcore::constraint_property>(make_refcount<kxcore::property_string>(text));
}

} // namespace

databases with_configurations(document_type const& type, constraint_db const& constraint,
                              constraint_db const& constraints, kxcore::plugin_db const& plugins) {
    installed const in{constraints, plugins};
    switch (type.type) {
    case config_task: return tasks(constraint, in);
    case config_workflow: return {workflow(constraint, in)};
    case config_submission: return {submission(constraint, in)};
    case config_monitor_source: return monitors(constraint, in);
    default: return {changed(constraint)};
    }
}

std::vector<configured_plugin> configured_plugins(document_type const& type, constraint_db const& constraints,
                                                  kxcore::plugin_db const& plugins) {
    constexpr std::string_view monitor_prefix = "io/monitor/";
    std::vector<configured_plugin> found;
    for (std::string const& id : plugins.get_ids()) {
        bool const is_monitor = id.starts_with(monitor_prefix);
        if (is_monitor ? !holds_monitors(type.type) : !holds_tasks(type.type)) continue;
        auto const text = [plugin = plugins.describe_plugin(id)](std::string_view key) {
            auto const* const value = kxcore::property_cast<kxcore::property_string>(plugin->get(key).get());
            return value == nullptr ? std::string() : std::string(value->value());
        };
        found.push_back(
            {id, text("info.title"), text("info.description"), configuration_of(id, {constraints, plugins})});
    }
    return found;
}

namespace {

/// A task names its plugin by "plugin-id", or where that is missing or a special value, within its "id".
databases tasks(constraint_db const& task, installed const& in) {
    if (!task.is_present("plugin-id")) return {changed(task)};
    bool const has_id = task.is_present("id");
    databases all;
    for (std::string const& plugin_id : in.plugins.get_ids()) {
        database const configuration = configuration_of(plugin_id, in);
        auto const by_plugin_id = changed(task);
        by_plugin_id->add_constraint("plugin-id", exactly(plugin_id), true);
        replace_open(*by_plugin_id, "configuration", configuration);
        all.push_back(by_plugin_id);
        if (!has_id) continue;
        auto const by_id = changed(task);
        replace(*by_id, "plugin-id", only_special());
        replace(*by_id, "id", task_id(plugin_id));
        replace_open(*by_id, "configuration", configuration);
        all.push_back(by_id);
    }
    auto const of_no_plugin = changed(task);
    replace(*of_no_plugin, "plugin-id", only_special());
    if (has_id) replace(*of_no_plugin, "id", task_id(""));
    all.push_back(of_no_plugin);
    return all;
}

database workflow(constraint_db const& plain, installed const& in) {
    auto const all = changed(plain);
    auto const list = kxbase::dynamic_refcount_cast<kxcore::constraint_list const>(plain.get_constraint("tasks"));
    auto const task =
        list ? kxbase::dynamic_refcount_cast<constraint_db const>(constraint_handle(list->element())) : database();
    if (task)
        replace(*all, "tasks",
                make_refcount<kxcore::constraint_list>(one_of(tasks(*task, in)), list->min_size(), list->max_size()));
    return all;
}

databases monitors(constraint_db const& plain, installed const& in) {
    database const manager = member_database(plain, "manager-configuration");
    if (!manager || !manager->is_present("plugin-id")) return {changed(plain)};
    databases all;
    auto const add = [&](constraint_handle const& plugin_id, bool is_required, database const& configuration) {
        auto const of_plugin = changed(*manager);
        of_plugin->add_constraint("plugin-id", plugin_id, is_required);
        auto const source = changed(plain);
        replace(*source, "manager-configuration", of_plugin);
        replace_open(*source, "plugin-configuration", configuration);
        all.push_back(source);
    };
    for (std::string const& plugin_id : in.plugins.get_ids())
        add(exactly(plugin_id), true, configuration_of(plugin_id, in));
    add(only_special(), manager->find("plugin-id")->required, {});
    return all;
}

database submission(constraint_db const& plain, installed const& in) {
    auto const all = changed(plain);
    if (auto const inner = member_database(plain, "workflow")) replace(*all, "workflow", workflow(*inner, in));
    if (auto const source = member_database(plain, "monitor-source"))
        replace(*all, "monitor-source", one_of(monitors(*source, in)));
    return all;
}

database configuration_of(std::string_view plugin_id, installed const& in) {
    return find_database(in.constraints, kxcore::plugin_constraint_name(plugin_id));
}

/// An id that names the plugin, as kxworkflow::wtid_plid() finds it there.
constraint_handle task_id(std::string_view plugin_id) {
    std::string pattern = "(wtid:)?";
    for (char const byte : plugin_id) {
        bool const is_word = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                             (byte >= '0' && byte <= '9') || static_cast<unsigned char>(byte) >= 0x80;
        if (!is_word) pattern += '\\';
        pattern += byte;
    }
    return make_refcount<kxcore::constraint_string>(std::string_view(pattern + "(#[^>]*)?"));
}

constraint_handle one_of(databases const& alternatives) {
    return make_refcount<kxcore::constraint_one_of>(
        std::vector<constraint_handle>(alternatives.begin(), alternatives.end()));
}

database member_database(constraint_db const& of, std::string_view name) {
    return find_database(of, name);
}

changed_database changed(constraint_db const& plain) {
    return make_refcount<constraint_db>(plain);
}

/// Another constraint on a member, which is required if it was.
void replace(constraint_db& in, std::string_view name, constraint_handle value) {
    bool const is_required = in.find(name)->required;
    in.add_constraint(name, std::move(value), is_required);
}

/// The same for a tree that may hold anything; where the document says something of it already, that stays.
void replace_open(constraint_db& in, std::string_view name, database const& value) {
    database const plain = member_database(in, name);
    if (value && plain && plain->empty() && !plain->is_closed()) replace(in, name, value);
}

bool holds_tasks(e_config_type type) {
    return type == config_task || type == config_workflow || type == config_submission;
}

bool holds_monitors(e_config_type type) {
    return type == config_monitor_source || type == config_submission;
}

} // namespace

} // namespace kxclientutil
