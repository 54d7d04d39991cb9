#include "config/document_types.h"
#include "config/preset.h"

#include <kxclientutil/validation.h>

#include <kxbase/buffer.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxcore/constraint_db.h>
#include <kxcore/document_places.h>
#include <kxcore/installation.h>
#include <kxcore/ioutil.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/identifiers.h>

#include <algorithm>

namespace kxclientutil {

namespace {

using kxcore::configuration;
using kxcore::constraint_db;
using kxcore::plugin_db;
using kxcore::properties;
using problems = std::vector<document_problem>;

/// What a document is judged by.
struct judge {
    plugin_db const& plugins;
    constraint_db const& constraints;
    kxcore::document_places const& places;
};

problems find_problems(document_type const& type, properties const& tree, judge const& by);
std::string whole_document_problem(configuration::read_error result, configuration const& document);
void judge_type(document_type const& type, properties const& tree, judge const& by, problems& out);
void judge_tasks(std::string const& path, properties const* workflow, judge const& by, problems& out);
void judge_task(std::string const& path, properties const* task, judge const& by, problems& out);
void judge_monitor(std::string const& path, properties const* source, judge const& by, problems& out);
void judge_configuration(std::string const& plugin_path, std::string const& plugin_id,
                         std::string const& configuration_path, properties const* configuration, judge const& by,
                         problems& out);
void add_finding(kxcore::finding const& found, judge const& by, problems& out);
void add_problem(std::string path, std::string what, judge const& by, problems& out);
properties const* member_tree(properties const* tree, std::string_view key);
std::string below(std::string const& path, std::string_view key);

} // namespace

std::vector<document_problem> find_document_problems(kxbase::buffer const& data, plugin_db const& plugins,
                                                     constraint_db const& constraints) {
    std::map<std::string, unsigned int> versions;
    for (document_type const& row : document_types())
        versions.emplace(row.identifier, current_version);
    configuration document;
    document.keep_places(true);
    auto const result = document.read_config(constraint_db(false), versions, data, nullptr);

    if (result != configuration::read_ok) {
        auto const& diagnostic = document.get_diagnostic();
        return {{"", diagnostic.line, diagnostic.column, whole_document_problem(result, document)}};
    }
    judge const by{plugins, constraints, document.get_places()};
    return find_problems(*find_document_type(document.get_identifier()), document.get_config(), by);
}

std::vector<document_problem> find_document_problems(std::string const& path_or_url, plugin_db const& plugins,
                                                     constraint_db const& constraints) {
    std::string const url = kxbase::url_create_from_url_or_path(path_or_url, "");
    if (is_preset_url(url)) {
        kxcore::document_places const nowhere;
        return find_problems(*find_document_type(config_task), create_preset_task(url, plugins),
                             {plugins, constraints, nowhere});
    }
    kxbase::buffer data;
    kxcore::ioutil::get_file_content(url, data, plugins);
    return find_document_problems(data, plugins, constraints);
}

namespace {

problems find_problems(document_type const& type, properties const& tree, judge const& by) {
    problems out;
    judge_type(type, tree, by, out);
    properties const* const workflow = type.type == config_workflow ? &tree : member_tree(&tree, "workflow");
    switch (type.type) {
    case config_task: judge_task("", &tree, by, out); break;
    case config_workflow: judge_tasks("tasks", workflow, by, out); break;
    case config_monitor_source: judge_monitor("", &tree, by, out); break;
    case config_submission:
        judge_tasks("workflow{tasks}", workflow, by, out);
        judge_monitor("monitor-source", member_tree(&tree, "monitor-source"), by, out);
        break;
    default: break;
    }
    return out;
}

std::string whole_document_problem(configuration::read_error result, configuration const& document) {
    std::string const& detail = document.get_diagnostic().message;
    std::string const& identifier = document.get_identifier();
    switch (result) {
    case configuration::read_unknown: return detail;
    case configuration::read_unexpected:
        return kxbase::string_with_format("a document of the unknown type \"%s\"", identifier.c_str());
    case configuration::read_old_version:
        return kxbase::string_with_format("version %u of \"%s\" is not supported, only version %u is",
                                          document.get_version(), identifier.c_str(), current_version);
    default: return "a broken document: " + detail;
    }
}

void judge_type(document_type const& type, properties const& tree, judge const& by, problems& out) {
    auto const constraint = find_database(by.constraints, type.constraint);
    if (!constraint) {
        add_problem("", kxbase::string_with_format("the installation has no constraint \"%s\"", type.constraint), by,
                    out);
        return;
    }
    for (auto const& found : constraint->findings(tree, kxcore::validity::all))
        add_finding(found, by, out);
}

void judge_tasks(std::string const& path, properties const* workflow, judge const& by, problems& out) {
    auto const* const tasks =
        workflow == nullptr ? nullptr : kxcore::property_cast<kxcore::property_list>(workflow->find("tasks"));
    if (tasks == nullptr) return;
    for (std::size_t index = 0; index < tasks->size(); ++index)
        judge_task(path + '[' + std::to_string(index) + ']', kxcore::property_cast<properties>((*tasks)[index].get()),
                   by, out);
}

void judge_task(std::string const& path, properties const* task, judge const& by, problems& out) {
    if (task == nullptr) return;
    std::string const stated = task->get_string_value("plugin-id", "");
    bool const by_id = stated.empty();
    std::string const plugin_id = by_id ? kxworkflow::wtid_plid(task->get_string_value("id", "")) : stated;
    judge_configuration(below(path, by_id ? "id" : "plugin-id"), plugin_id, below(path, "configuration"),
                        member_tree(task, "configuration"), by, out);
}

void judge_monitor(std::string const& path, properties const* source, judge const& by, problems& out) {
    auto const* const manager = member_tree(source, "manager-configuration");
    if (manager == nullptr) return;
    judge_configuration(below(below(path, "manager-configuration"), "plugin-id"),
                        manager->get_string_value("plugin-id", ""), below(path, "plugin-configuration"),
                        member_tree(source, "plugin-configuration"), by, out);
}

/// A plugin id that is missing is the business of the document's own constraint.
void judge_configuration(std::string const& plugin_path, std::string const& plugin_id,
                         std::string const& configuration_path, properties const* configuration, judge const& by,
                         problems& out) {
    if (plugin_id.empty()) return;
    if (!by.plugins.describe_plugin(plugin_id)) {
        add_problem(plugin_path, plugin_path + ": the installation has no plugin \"" + plugin_id + '"', by, out);
        return;
    }
    if (configuration == nullptr) return;
    for (kxcore::finding found :
         kxcore::configuration_findings(by.constraints, plugin_id, *configuration, kxcore::validity::all)) {
        std::string const inside = std::move(found.path);
        auto const first_step = std::min(inside.find_first_of("{["), inside.size());
        found.path = below(configuration_path, inside.substr(0, first_step)) + inside.substr(first_step);
        add_finding(found, by, out);
    }
}

void add_finding(kxcore::finding const& found, judge const& by, problems& out) {
    add_problem(found.path, found.to_string(), by, out);
}

void add_problem(std::string path, std::string what, judge const& by, problems& out) {
    auto const place = by.places.find_nearest(path).value_or(kxcore::document_place{});
    out.push_back({std::move(path), place.line, place.column, std::move(what)});
}

properties const* member_tree(properties const* tree, std::string_view key) {
    return tree == nullptr ? nullptr : kxcore::property_cast<properties>(tree->find(key));
}

std::string below(std::string const& path, std::string_view key) {
    return path.empty() ? std::string(key) : path + '{' + std::string(key) + '}';
}

} // namespace

} // namespace kxclientutil
