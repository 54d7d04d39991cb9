#include "config/upgrade/steps.h"

#include <kxclientutil/config.h>
#include <kxclientutil/wf_connection.h>

#include <kxbase/limits.h>
#include <kxcore/property_key.h>
#include <kxcore/property_values.h>
#include <kxcore/references.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/paths.h>

#include <array>
#include <map>
#include <utility>
#include <vector>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_list;
using kxcore::property_string;

constexpr std::string_view encoder_plid = "task/regular/ogencoder/1.0";
constexpr std::string_view youtube_plid = "task/regular/youtube/1.0";

void make_tasks_of_deliveries(properties& result, upgrade_context const& context);
void upgrade_tasks(properties& result, upgrade_context const& context);

constexpr std::array<upgrade_step, 6> workflow_steps{
    make_tasks_of_deliveries, // 1 to 2
    upgrade_tasks,            // 2 to 3
    upgrade_tasks,            // 3 to 4
    upgrade_tasks,            // 4 to 5
    upgrade_tasks,            // 5 to 6
    upgrade_tasks,            // 6 to 7
};

/// What else than its file an encoder delivers to a task: into which input, and the encoder's name for it.
struct delivery {
    std::string target_node;
    std::string name;
};

/// The workflow of version 2 while it is put together.
struct rebuilt_workflow {
    ptr_refcount<property_list> tasks = make_refcount<property_list>();
    ptr_refcount<property_list> connections = make_refcount<property_list>();
    std::map<std::string, std::vector<delivery>, std::less<>> deliveries; // by the id of the task delivered to
};

void add_encoder(properties const& task, upgrade_context const& context, rebuilt_workflow& out);
void add_deliveries(std::string const& encoder, properties const& action, rebuilt_workflow& out);
void add_delivery_task(properties const& task, upgrade_context const& context, rebuilt_workflow& out);
property_handle configuration_with_deliveries(properties const& task, rebuilt_workflow const& from);
void check_target_node(std::string const& path);
property_handle carried_over(properties const& task, std::string_view plid, property_handle configuration,
                             upgrade_context const& context);

} // namespace

ptr_refcount<properties> update_workflow(properties const& document, unsigned int from_version, unsigned int to_version,
                                         kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints) {
    return run_steps(workflow_steps, document, from_version, to_version, plugins, constraints);
}

namespace {

/// Nothing else is carried over: no other plugin had a place in the deliveries of version 1, and the workflow got its
/// name from its file. Connections to tasks that are not carried over stay, as drawn connections may. All of this is
/// meant; documents in use were made by it, so don't save more here.
void make_tasks_of_deliveries(properties& result, upgrade_context const& context) {
    rebuilt_workflow made;
    auto const tasks = context.document.get_list_value("tasks");
    for_each_tree(*tasks, "tasks", [&](properties const& task) { add_encoder(task, context, made); });
    for_each_tree(*tasks, "tasks", [&](properties const& task) { add_delivery_task(task, context, made); });

    result.clear();
    copy_member(context.document, "ext-meta", result);
    result.set_property("tasks", made.tasks);
    result.set_create_referenced_property("workflow-meta{connections}", made.connections);
}

/// Goes by the id alone: a "plugin-id" that says something else is not asked.
void add_encoder(properties const& task, upgrade_context const& context, rebuilt_workflow& out) {
    std::string const id = task.get_string_value("id");
    if (kxworkflow::wtid_plid(id) != encoder_plid) return;
    if (task.is_present("post-actions"))
        for_each_tree(*task.get_list_value("post-actions"), "post-actions",
                      [&](properties const& action) { add_deliveries(id, action, out); });
    out.tasks->push_back(carried_over(task, encoder_plid, task.get_property("configuration"), context));
}

void add_deliveries(std::string const& encoder, properties const& action, rebuilt_workflow& out) {
    std::string const name = action.get_string_value("node-id");
    if (!action.is_present("destinations")) return;
    auto const destinations = action.get_list_value("destinations");
    for (property_handle const& destination : *destinations) {
        auto const* const path = kxcore::property_cast<property_string>(destination.get());
        if (!path)
            raise_from<kxbase::es::arg>(config_source_path,
                                        "an element of 'destinations' is of kind " +
                                            std::string(kxcore::property_kind_name(destination->kind())) +
                                            "; expected kind string");
        std::string const wtid = kxworkflow::wpath_get_wtid(path->value());
        if (name == "dest-url") {
            auto const connection = make_refcount<properties>(false);
            wf_connection(encoder, wtid).encode(*connection);
            out.connections->push_back(connection);
        } else {
            out.deliveries[wtid].push_back({kxworkflow::wpath_get_target_node_id(path->value()), name});
        }
    }
}

void add_delivery_task(properties const& task, upgrade_context const& context, rebuilt_workflow& out) {
    std::string const plid = kxworkflow::wtid_plid(task.get_string_value("id"));
    if (plid == youtube_plid)
        out.tasks->push_back(carried_over(task, plid, task.get_property("configuration"), context));
    else if (plid == upload_plid)
        out.tasks->push_back(carried_over(task, plid, configuration_with_deliveries(task, out), context));
}

/// The inputs that an encoder delivers to refer to what it delivers, by its name between dollar signs.
property_handle configuration_with_deliveries(properties const& task, rebuilt_workflow const& from) {
    auto const found = from.deliveries.find(task.get_string_value("id"));
    if (found == from.deliveries.end()) return task.get_property("configuration");

    auto const configuration = make_refcount<properties>(false);
    if (task.is_present("configuration")) *configuration = *task.get_properties_value("configuration");
    for (delivery const& each : found->second) {
        check_target_node(each.target_node);
        configuration->set_create_referenced_property(each.target_node,
                                                      make_refcount<property_string>('$' + each.name + '$'));
    }
    return configuration;
}

/// A path that comes out of a text may make trees and keys that no document could hold: nobody has counted or read them
/// before.
void check_target_node(std::string const& path) {
    // The levels above the configuration: a submission, the workflow, the list, the task. The last step is no level.
    constexpr std::size_t levels_above = 4;
    std::vector<kxcore::reference_step> steps;
    if (!kxcore::split_reference(path, steps)) return; // setting it says what is wrong
    if (steps.size() + levels_above > kxbase::current_limits().nesting)
        raise_from<kxbase::es::arg>(config_source_path, "a delivery's path is nested deeper than " +
                                                            std::to_string(kxbase::current_limits().nesting) +
                                                            " levels (limit nesting)");
    for (kxcore::reference_step const& step : steps)
        if (auto const fault = kxcore::property_key_fault(step.key); !step.is_index && !fault.empty())
            raise_from<kxbase::es::arg>(config_source_path,
                                        "a delivery's path cannot be set: its key " + std::string(fault));
}

/// As a task of version 2, without its name and all else.
property_handle carried_over(properties const& task, std::string_view plid, property_handle configuration,
                             upgrade_context const& context) {
    properties made(false);
    made.set_property("plugin-id", make_refcount<property_string>(plid));
    copy_member(task, "id", made);
    made.set_property("configuration", std::move(configuration));
    copy_member(task, "ext-meta", made);
    return update_task(made, context.version, context.version + 1, context.plugins, context.constraints);
}

void upgrade_tasks(properties& result, upgrade_context const& context) {
    auto const tasks = result.get_list_value("tasks");
    auto const upgraded = make_refcount<property_list>();
    upgraded->reserve(tasks->size());
    for_each_tree(*tasks, "tasks", [&](properties const& task) {
        upgraded->push_back(
            update_task(task, context.version, context.version + 1, context.plugins, context.constraints));
    });
    result.set_property("tasks", upgraded);
}

} // namespace

} // namespace kxclientutil
