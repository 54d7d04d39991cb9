#include "submission/workflow_finalization.h"

#include "raising.h"
#include "submission/base_scheme.h"
#include "submission/finalization_run.h"
#include "submission/post_actions.h"
#include "submission/settings.h"
#include "submission/workflow_connections.h"
#include "submission/workflow_localization.h"
#include "submission/workflow_variables.h"

#include <kxclientutil/resolve.h>

#include <kxbase/report.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/task_editor.h>
#include <kxworkflow/workflow_builder.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_bool;
using kxcore::property_handle;
using kxcore::property_int;
using kxcore::property_kind;
using kxcore::property_string;
using kxworkflow::workflow_builder;

using tasks_by_wtid = std::map<std::string, kxworkflow::task_proxy>;

void demand_node(workflow_builder& builder, finalize_sub_conf const& settings);
void configure_shared_storage(workflow_builder& builder, finalize_sub_conf const& settings);
void configure_priority(workflow_builder& builder, finalize_sub_conf const& settings);
void give_input_values(workflow_builder& builder, finalize_sub_conf const& settings);
void record_task_names(workflow_builder& builder);
void collect_resources(workflow_builder& builder, finalization_run& run);
void finish(workflow_builder& builder);

} // namespace

// The order is part of what a job is. The main localizer of a source comes after all of this and is not seen here; what
// localizes the clips of an edit decision list comes before and is.
void finalize_workflow(workflow_builder& builder, finalization_run& run) {
    demand_node(builder, run.settings);
    configure_shared_storage(builder, run.settings);
    configure_priority(builder, run.settings);
    builder.update_task_requirements(true, true);
    give_input_values(builder, run.settings);
    localize_media_files(builder);
    publish_extra_files(builder);
    record_task_names(builder);
    std::vector<wf_connection> const connections = drawn_connections(builder);
    wire_drawn_connections(builder, connections);
    add_failure_actions(builder, run.plugins);
    add_success_actions(builder, run.plugins);
    collect_resources(builder, run);
    if (builder.get_task_count() != 0) resolve_workflow_variables(builder, connections);
    finish(builder);
}

namespace {

/// What a task has to say for itself in the messages about its inputs.
struct addressed_task {
    std::string const& wtid;
    std::string const& name;
    std::string type;
};

void offer_values(workflow_builder& builder, addressed_task const& task, finalize_sub_conf::input_values const& values);
void demand_by_name(workflow_builder& builder, addressed_task const& task, finalize_sub_conf const& settings);
void demand_by_type(workflow_builder& builder, addressed_task const& task, finalize_sub_conf const& settings);
[[noreturn]] void refuse_input(std::string const& message);
tasks_by_wtid tasks_of(workflow_builder const& builder);

void demand_node(workflow_builder& builder, finalize_sub_conf const& settings) {
    if (!settings.node_id.empty())
        builder.set_workflow_capability("node-id", make_refcount<property_string>(settings.node_id));
}

void configure_shared_storage(workflow_builder& builder, finalize_sub_conf const& settings) {
    builder.set_workflow_configuration("guess-shared-storage",
                                       make_refcount<property_bool>(settings.guess_shared_storage));
}

void configure_priority(workflow_builder& builder, finalize_sub_conf const& settings) {
    if (settings.has_priority())
        builder.set_workflow_configuration("priority", make_refcount<property_int>(settings.get_priority()));
}

/// The more particular comes later and wins: values for all tasks, then for a name, then for a type.
void give_input_values(workflow_builder& builder, finalize_sub_conf const& settings) {
    if (settings.in_values.empty() && settings.task_name_in_values.empty() && settings.task_type_in_values.empty())
        return;
    for (auto const& [wtid, view] : tasks_of(builder)) {
        addressed_task const task{wtid, view->get_name(), view->get_type()};
        offer_values(builder, task, settings.in_values);
        demand_by_name(builder, task, settings);
        demand_by_type(builder, task, settings);
    }
}

void offer_values(workflow_builder& builder, addressed_task const& task,
                  finalize_sub_conf::input_values const& values) {
    for (auto const& [input, value] : values)
        if (builder.is_possible_input(task.wtid, input)) builder.set_in_value(task.wtid, input, value);
}

void demand_by_name(workflow_builder& builder, addressed_task const& task, finalize_sub_conf const& settings) {
    auto const values = settings.task_name_in_values.find(task.name);
    if (values == settings.task_name_in_values.end()) return;
    for (auto const& [input, value] : values->second) {
        if (!builder.is_possible_input(task.wtid, input))
            refuse_input(kxbase::string_with_format("'%s' isn't a possible input for task named '%s' (%s)",
                                                    input.c_str(), task.name.c_str(), task.type.c_str()));
        builder.set_in_value(task.wtid, input, value);
    }
}

void demand_by_type(workflow_builder& builder, addressed_task const& task, finalize_sub_conf const& settings) {
    auto const values = settings.task_type_in_values.find(task.type);
    if (values == settings.task_type_in_values.end()) return;
    for (auto const& [input, value] : values->second) {
        if (!builder.is_possible_input(task.wtid, input))
            refuse_input(kxbase::string_with_format("'%s' isn't a possible input for task type '%s'", input.c_str(),
                                                    task.type.c_str()));
        builder.set_in_value(task.wtid, input, value);
    }
}

void refuse_input(std::string const& message) {
    kxbase::report(submission_source_path, kxbase::source_position::current().line(), "task", 8, 4, message);
    raise_from<kxbase::es::arg>(submission_source_path, message);
}

/// Keeps the name that a task was submitted with, whatever becomes of its own name later.
void record_task_names(workflow_builder& builder) {
    builder.for_each_task([](kxworkflow::task_editor& task) {
        task.add_ext_meta("KVD-8292", make_refcount<property_string>(task.get_name()));
    });
}

/// A resource is collected even where its URI stands in the configuration already, as after an earlier finalization.
void collect_resources(workflow_builder& builder, finalization_run& run) {
    std::string const nodes = node_list(run.settings);
    kxcore::value_replacer const to_resource = [&](property_handle const& leaf) -> property_handle {
        if (!is_url_to_physical_resource(leaf)) return {};
        std::string_view const value = static_cast<property_string const&>(*leaf).value();
        std::string uri = create_resource_uri(value, nodes, run.settings.resource_uri_option);
        property_handle changed;
        if (uri != value) changed = make_refcount<property_string>(uri);
        if (base_scheme(uri) == "kxrc" && !uri.starts_with("kxrc:/#!")) run.resources.insert(std::move(uri));
        return changed;
    };
    builder.for_each_task([&](kxworkflow::task_editor& task) {
        properties configuration = *task.get_configuration();
        if (kxcore::replace_values(configuration, property_kind::string, to_resource) != 0)
            task.configure(make_refcount<properties>(std::move(configuration)));
    });
}

void finish(workflow_builder& builder) {
    builder.update_task_requirements(true, true);
    builder.set_workflow_type(0);
}

tasks_by_wtid tasks_of(workflow_builder const& builder) {
    tasks_by_wtid tasks;
    builder.get_tasks(tasks);
    return tasks;
}

} // namespace

} // namespace kxclientutil
