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

#include <algorithm>

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

void demand_node(workflow_builder& builder, finalization_run const& run);
void configure_shared_storage(workflow_builder& builder, finalization_run const& run);
void configure_priority(workflow_builder& builder, finalization_run const& run);
void give_input_values(workflow_builder& builder, finalization_run const& run);
void record_task_names(workflow_builder& builder, finalization_notes const& notes);
void collect_resources(workflow_builder& builder, finalization_run& run);
void finish(workflow_builder& builder, finalization_notes const& notes);

} // namespace

// The order is part of what a job is. The main localizer of a source comes after all of this and is not seen here; what
// localizes the clips of an edit decision list comes before and is.
void finalize_workflow(workflow_builder& builder, finalization_run& run) {
    run.notes.begin(e_finalization_step::settings);
    demand_node(builder, run);
    configure_shared_storage(builder, run);
    configure_priority(builder, run);
    builder.update_task_requirements(true, true);
    give_input_values(builder, run);
    localize_media_files(builder, run.notes);
    publish_extra_files(builder, run.notes);
    record_task_names(builder, run.notes);
    std::vector<wf_connection> const connections = drawn_connections(builder);
    wire_drawn_connections(builder, connections, run.notes);
    add_failure_actions(builder, run.plugins, run.notes);
    add_success_actions(builder, run.plugins, run.notes);
    collect_resources(builder, run);
    if (builder.get_task_count() != 0) resolve_workflow_variables(builder, connections, run.notes);
    finish(builder, run.notes);
}

namespace {

/// What a task has to say for itself in the messages about its inputs.
struct addressed_task {
    std::string const& wtid;
    std::string const& name;
    std::string type;
};

void note_setting(char const* path, property_handle const& value, char const* why, finalization_run const& run);
void offer_values(workflow_builder& builder, addressed_task const& task, finalization_run const& run);
void demand_by_name(workflow_builder& builder, addressed_task const& task, finalization_run const& run);
void demand_by_type(workflow_builder& builder, addressed_task const& task, finalization_run const& run);
void give(workflow_builder& builder, addressed_task const& task, std::string const& input, property_handle const& value,
          char const* why, finalization_notes const& notes);
void note_unaccepted(workflow_builder const& builder, tasks_by_wtid const& tasks, finalization_run const& run);
[[noreturn]] void refuse_input(std::string const& message);
tasks_by_wtid tasks_of(workflow_builder const& builder);

void demand_node(workflow_builder& builder, finalization_run const& run) {
    if (run.settings.node_id.empty()) return;
    auto const node = make_refcount<property_string>(run.settings.node_id);
    builder.set_workflow_capability("node-id", node);
    note_setting("workflow{capabilities}{node-id}", node, "no other node may run the job", run);
}

void configure_shared_storage(workflow_builder& builder, finalization_run const& run) {
    bool const may_guess = run.settings.guess_shared_storage;
    auto const value = make_refcount<property_bool>(may_guess);
    builder.set_workflow_configuration("guess-shared-storage", value);
    note_setting("workflow{configuration}{guess-shared-storage}", value,
                 may_guess ? "nodes look for files on storage that they share"
                           : "nodes do not look for files on storage that they share",
                 run);
}

void configure_priority(workflow_builder& builder, finalization_run const& run) {
    if (!run.settings.has_priority()) return;
    auto const priority = make_refcount<property_int>(run.settings.get_priority());
    builder.set_workflow_configuration("priority", priority);
    note_setting("workflow{configuration}{priority}", priority, "as you asked", run);
}

/// The submission still has the workflow as it came.
void note_setting(char const* path, property_handle const& value, char const* why, finalization_run const& run) {
    if (run.notes.is_listening()) run.notes.asked(path, run.submission.get_referenced_property(path), value, why);
}

/// The more particular comes later and wins: values for all tasks, then for a name, then for a type.
void give_input_values(workflow_builder& builder, finalization_run const& run) {
    run.notes.begin(e_finalization_step::input_values);
    auto const& settings = run.settings;
    if (settings.in_values.empty() && settings.task_name_in_values.empty() && settings.task_type_in_values.empty())
        return;
    tasks_by_wtid const tasks = tasks_of(builder);
    for (auto const& [wtid, view] : tasks) {
        addressed_task const task{wtid, view->get_name(), view->get_type()};
        offer_values(builder, task, run);
        demand_by_name(builder, task, run);
        demand_by_type(builder, task, run);
    }
    if (run.notes.is_listening()) note_unaccepted(builder, tasks, run);
}

void offer_values(workflow_builder& builder, addressed_task const& task, finalization_run const& run) {
    for (auto const& [input, value] : run.settings.in_values)
        if (builder.can_set_in_value(task.wtid, input))
            give(builder, task, input, value, "your value for every task that has the input", run.notes);
}

void demand_by_name(workflow_builder& builder, addressed_task const& task, finalization_run const& run) {
    auto const values = run.settings.task_name_in_values.find(task.name);
    if (values == run.settings.task_name_in_values.end()) return;
    for (auto const& [input, value] : values->second) {
        if (!builder.can_set_in_value(task.wtid, input))
            refuse_input(kxbase::string_with_format("'%s' isn't a possible input for task named '%s' (%s)",
                                                    input.c_str(), task.name.c_str(), task.type.c_str()));
        give(builder, task, input, value, "your value for tasks of this name", run.notes);
    }
}

void demand_by_type(workflow_builder& builder, addressed_task const& task, finalization_run const& run) {
    auto const values = run.settings.task_type_in_values.find(task.type);
    if (values == run.settings.task_type_in_values.end()) return;
    for (auto const& [input, value] : values->second) {
        if (!builder.can_set_in_value(task.wtid, input))
            refuse_input(kxbase::string_with_format("'%s' isn't a possible input for task type '%s'", input.c_str(),
                                                    task.type.c_str()));
        give(builder, task, input, value, "your value for tasks of this type", run.notes);
    }
}

void give(workflow_builder& builder, addressed_task const& task, std::string const& input, property_handle const& value,
          char const* why, finalization_notes const& notes) {
    property_handle before;
    if (notes.is_listening()) before = builder.get_task_configuration(task.wtid)->get_referenced_property(input);
    builder.set_in_value(task.wtid, input, value);
    notes.set(task.wtid, input, before, value, why);
}

/// That a value for every task is of no use to any is no error, but who misspelt the input wants to know.
void note_unaccepted(workflow_builder const& builder, tasks_by_wtid const& tasks, finalization_run const& run) {
    for (auto const& [input, value] : run.settings.in_values) {
        bool const is_accepted = std::ranges::any_of(
            tasks, [&, &wanted = input](auto const& task) { return builder.can_set_in_value(task.first, wanted); });
        if (!is_accepted) run.notes.unused(input, value, "no task has the input");
    }
}

void refuse_input(std::string const& message) {
    kxbase::report(submission_source_path, kxbase::source_position::current().line(), "task", 8, 4, message);
    raise_from<kxbase::es::arg>(submission_source_path, message);
}

/// Keeps the name that a task was submitted with, whatever becomes of its own name later.
void record_task_names(workflow_builder& builder, finalization_notes const& notes) {
    notes.begin(e_finalization_step::task_names);
    notes.each_task(builder, "keeps the name that it was submitted with, under ext-meta{KVD-8292}");
    builder.for_each_task([](kxworkflow::task_editor& task) {
        task.add_ext_meta("KVD-8292", make_refcount<property_string>(task.get_name()));
    });
}

/// A resource is collected even where its URI stands in the configuration already, as after an earlier finalization.
void collect_resources(workflow_builder& builder, finalization_run& run) {
    run.notes.begin(e_finalization_step::local_files);
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
        if (kxcore::replace_values(configuration, property_kind::string, to_resource) == 0) return;
        run.notes.configured(task.get_wtid(), *task.get_configuration(), configuration,
                             "the URI tells nodes where they reach it" + node_list_in_words(nodes));
        task.configure(make_refcount<properties>(std::move(configuration)));
    });
}

void finish(workflow_builder& builder, finalization_notes const& notes) {
    notes.begin(e_finalization_step::requirements);
    notes.each_task(builder, asks_for_node);
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
