#include "config/monitor_source.h"

#include "config/plugin_defaults.h"

#include <kxclientutil/monitor_source.h>

#include <kxbase/paths.h>
#include <kxbase/report.h>
#include <kxbase/urls.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/paths.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::plugin_db;
using kxcore::properties;
using kxcore::property_bool;
using kxcore::property_handle;
using kxcore::property_list;

constexpr fixed_place no_suitable_plugin_reported{config_source_path, 940};
constexpr fixed_place no_suitable_plugin_raised{config_source_path, 941};
// find_plugins and describe_plugin of a database look into the same map, so that this one can only be met with a database
// of another making.
constexpr unsigned int no_plugin_info_line = 949;

constexpr unsigned int message_kind = 4;
constexpr unsigned int warning = 4;

/// Everything is taken but what nobody put there to be processed: what a dot at the head of its name, or of one of its
/// folders' names, hides; and "Thumbs.db", which a desktop system makes by itself in each folder that somebody has opened,
/// for its small pictures of the other files.
constexpr std::string_view default_include = ".+";
constexpr std::string_view default_ignore = R"(^(.+/)*(\..+|Thumbs\.db))";

std::string find_monitor_plugin(std::string const& url, plugin_db const& plugins);
property_handle watched_url(std::string const& url);
std::string name_of_folder(std::string const& url);
ptr_refcount<properties> copy_of_last_rule(properties const& mgr_conf);
property_handle take_targets(std::list<std::string> const& targets, properties& rule);
std::string new_workflow_target(std::string const& wpath_part, std::string const& wtid_suffix);

} // namespace

ptr_refcount<properties> get_monitor_source(std::string const& url_or_path, plugin_db const& plugins) {
    std::string const url = kxbase::url_create_from_url_or_path(url_or_path, {});
    std::string const plugin_id = find_monitor_plugin(url, plugins);
    auto const plugin_configuration = new_configuration({plugin_id, no_plugin_info_line}, plugins);

    auto source = make_refcount<properties>(false);
    source->set_property("manager-configuration", create_manager_configuration(plugin_id, url));
    source->set_property("name", text(name_of_folder(url)));
    source->set_property("plugin-configuration", plugin_configuration);
    return source;
}

ptr_refcount<properties> create_manager_configuration(std::string const& plugin_id, std::string const& url) {
    auto made = make_refcount<properties>(false);
    if (!plugin_id.empty()) made->set_property("plugin-id", text(plugin_id));
    made->set_property("url", watched_url(url));
    made->set_property("pickup-present", make_refcount<property_bool>(false));
    made->set_property("pairing", text("global"));
    made->set_property("dep-files", make_refcount<properties>("cc", make_refcount<property_bool>(false), "audio",
                                                              make_refcount<property_bool>(false)));
    made->set_property("filter", make_refcount<properties>("include-regexp", text(default_include), "ignore-regexp",
                                                           text(default_ignore)));
    return made;
}

void set_targets_on_monitor_mgr_conf(properties& mgr_conf, std::list<std::string> const& targets,
                                     std::string const& workflow_id) {
    auto const rule = copy_of_last_rule(mgr_conf);
    property_handle const destinations = take_targets(targets, *rule);
    if (!workflow_id.empty()) rule->set_property("workflow-id", text(workflow_id));
    rule->set_property("destinations", destinations);
    mgr_conf.set_property("rules", make_refcount<property_list>(rule, 1));
}

void set_targets_on_monitor_source(properties& source, std::list<std::string> const& targets,
                                   std::string const& workflow_id) {
    auto const mgr_conf = make_refcount<properties>(source.get_properties_value("manager-configuration"));
    set_targets_on_monitor_mgr_conf(*mgr_conf, targets, workflow_id);
    source.set_property("manager-configuration", mgr_conf);
}

void set_target_on_monitor_mgr_conf(properties& mgr_conf, std::string const& target, std::string const& workflow_id) {
    set_targets_on_monitor_mgr_conf(mgr_conf, {target}, workflow_id);
}

void set_target_on_monitor_source(properties& source, std::string const& target, std::string const& workflow_id) {
    set_targets_on_monitor_source(source, {target}, workflow_id);
}

void set_target_on_monitor_mgr_conf(properties& mgr_conf, std::string const& wpath_part, std::string const& wtid_suffix,
                                    std::string const& workflow_id) {
    set_target_on_monitor_mgr_conf(mgr_conf, new_workflow_target(wpath_part, wtid_suffix), workflow_id);
}

void set_target_on_monitor_source(properties& source, std::string const& wpath_part, std::string const& wtid_suffix,
                                  std::string const& workflow_id) {
    set_target_on_monitor_source(source, new_workflow_target(wpath_part, wtid_suffix), workflow_id);
}

namespace {

std::string find_monitor_plugin(std::string const& url, plugin_db const& plugins) {
    auto const ids = plugins.find_plugins("io/monitor/" + kxbase::url_scheme(url) + "/.+");
    if (!ids.empty()) return ids.front();

    std::string const message = "No suitable monitor plugin found for " + kxbase::url_protected_output(url);
    kxbase::report(no_suitable_plugin_reported.source_path, no_suitable_plugin_reported.line, "kxclientutil",
                   message_kind, warning, message);
    raise_from<kxbase::es::arg>(no_suitable_plugin_raised, message);
}

property_handle watched_url(std::string const& url) {
    if (!url.empty()) return text(url);
    return kxcore::property_special::create_deferred(kxcore::property_kind::string);
}

std::string name_of_folder(std::string const& url) {
    std::string const name = kxbase::path_back(kxbase::url_path_directory(url, true), '/');
    return name.empty() ? "Untitled" : name;
}

/// The earlier ones are dropped on purpose: a monitor carries one rule.
ptr_refcount<properties> copy_of_last_rule(properties const& mgr_conf) {
    auto rule = make_refcount<properties>(false);
    auto const* const rules = kxcore::property_cast<property_list>(mgr_conf.find("rules"));
    if (rules == nullptr) return rule;
    for (property_handle const& element : *rules)
        if (auto const* const earlier = kxcore::property_cast<properties>(element.get())) *rule = *earlier;
    return rule;
}

/// Gives the destinations. The ids of workflows go into the rule, and the last one stays.
property_handle take_targets(std::list<std::string> const& targets, properties& rule) {
    auto destinations = make_refcount<property_list>();
    for (std::string const& target : targets) {
        if (kxbase::url_scheme(target) != kxworkflow::workflow_scheme()) {
            destinations->push_back(text(target));
            continue;
        }
        rule.set_property("workflow-id", text(kxworkflow::workflow_id(kxbase::path_front(target, '>'))));
        destinations->push_back(text(kxbase::path_popped_front(target, '>')));
    }
    return destinations;
}

std::string new_workflow_target(std::string const& wpath_part, std::string const& wtid_suffix) {
    return kxworkflow::wpath_create(kxworkflow::wtid_new() + wtid_suffix, wpath_part);
}

} // namespace

} // namespace kxclientutil
