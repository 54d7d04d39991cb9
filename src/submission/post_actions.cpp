#include "submission/post_actions.h"

#include "raising.h"
#include "submission/job_size.h"
#include "submission/reporting.h"
#include "submission/wiring.h"

#include <kxclientutil/config.h>
#include <kxclientutil/user_task.h>

#include <kxbase/text.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/task_status.h>
#include <kxworkflow/workflow_builder.h>

#include <string_view>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::property_cast;
using kxworkflow::workflow_builder;

/// A part of the meta data, with its path for messages.
struct action_document {
    properties const* tree;
    std::string place;
};

/// What every action is added with.
struct action_tools {
    workflow_builder& builder;
    kxcore::plugin_db const& plugins;
    finalization_notes notes;
};

void add_encoding_failure_actions(action_tools const& tools, action_document const& actions);
void add_deployment_failure_actions(action_tools const& tools, action_document const& actions);
action_document actions_in(action_document const& document, std::string_view key);
std::string add_source_task(action_tools const& tools, action_document const& actions);
void run_after_any(action_tools const& tools, std::string const& wtid, std::set<std::string> const& others,
                   kxworkflow::task_status const& status, char const* when);
void stop_after_failure(action_tools const& tools, std::string const& wtid, std::set<std::string> const& others);

} // namespace

void add_failure_actions(workflow_builder& builder, kxcore::plugin_db const& plugins, finalization_notes const& notes) {
    notes.begin(e_finalization_step::failure_actions);
    action_tools const tools{builder, plugins, notes};
    auto const meta_data = builder.get_workflow_meta_data();
    action_document const failure = actions_in({meta_data.get(), "workflow-meta"}, "finalize-workflow-failure");
    if (!failure.tree) return;
    if (action_document const encoding = actions_in(failure, "encode"); encoding.tree)
        return add_encoding_failure_actions(tools, encoding);
    // An encoder that failed leaves nothing to deliver, so what there is about encoders covers deliveries. Both at once
    // would add two tasks that move or delete the same source; that only the first counts is meant.
    if (action_document const deployment = actions_in(failure, "deployment"); deployment.tree)
        add_deployment_failure_actions(tools, deployment);
}

void add_success_actions(workflow_builder& builder, kxcore::plugin_db const& plugins, finalization_notes const& notes) {
    notes.begin(e_finalization_step::success_actions);
    action_tools const tools{builder, plugins, notes};
    auto const meta_data = builder.get_workflow_meta_data();
    action_document const success = actions_in({meta_data.get(), "workflow-meta"}, "finalize-workflow-success");
    if (!success.tree) return;
    action_document const deployment = actions_in(success, "deployment");
    if (!deployment.tree) return;
    std::string const task = add_source_task(tools, deployment);
    if (task.empty()) return;
    std::vector<std::string> const deployments = deployment_tasks(builder);
    // One dependency for each, unlike after a failure: all have to succeed, where any one failure is enough.
    for (std::string const& wtid : deployments) {
        builder.depend_task(task, wtid, kxworkflow::success_end_state());
        notes.runs_after(task, wtid, "success");
    }
    if (deployments.empty()) run_after_any(tools, task, {}, kxworkflow::success_end_state(), "success");
}

namespace {

void add_encoding_failure_actions(action_tools const& tools, action_document const& actions) {
    std::set<std::string> const encoders = encoder_tasks(tools.builder);
    std::string const task = add_source_task(tools, actions);
    if (!task.empty()) run_after_any(tools, task, encoders, kxworkflow::failure_end_states(), "failure");
    if (!actions.tree->get_bool_value("stop-others", false) || encoders.empty()) return;
    require_room_for(encoders.size() * (encoders.size() - 1), smallest_wtid);
    for (std::string const& encoder : encoders) // the triggers of a task leave out the task itself
        stop_after_failure(tools, encoder, encoders);
}

void add_deployment_failure_actions(action_tools const& tools, action_document const& actions) {
    std::set<std::string> const encoders = encoder_tasks(tools.builder);
    std::vector<std::string> const deployments = deployment_tasks(tools.builder);
    std::string const task = add_source_task(tools, actions);
    if (!task.empty()) {
        std::set<std::string> all = encoders;
        all.insert(deployments.begin(), deployments.end());
        run_after_any(tools, task, all, kxworkflow::failure_end_states(), "failure");
    }
    if (!actions.tree->get_bool_value("stop-encoders", false)) return;
    require_room_for(deployments.size() * encoders.size(), smallest_wtid);
    for (std::string const& deployment : deployments)
        stop_after_failure(tools, deployment, encoders);
}

/// Without a tree when there is no such member.
action_document actions_in(action_document const& document, std::string_view key) {
    kxcore::property const* const found = document.tree->find(key);
    action_document actions{property_cast<properties>(found), document.place + "{" + std::string(key) + "}"};
    if (found && !actions.tree)
        raise_from<kxbase::es::arg>(submission_source_path, actions.place + ": a tree was expected");
    return actions;
}

/// Moving wins over deleting. The empty text when the source stays where it is. Which file the source is, is known when
/// the job runs: the tasks refer to it, and to the files that belong to it, by variables.
std::string add_source_task(action_tools const& tools, action_document const& actions) {
    std::string const source = get_variable("source.url");
    properties const extra("extra-source-urls", kxcore::property_special::create_deferred_context(
                                                    kxcore::property_kind::list, "workflow.extra-inputs"));
    std::string task;
    if (auto const destination = actions.tree->get_property("move-source")) {
        auto const* const folder = property_cast<kxcore::property_string>(destination.get());
        if (!folder)
            raise_from<kxbase::es::arg>(submission_source_path, actions.place + "{move-source}: a string was expected");
        task = tools.builder.add_task(get_move_user_task(source, std::string(folder->value()), tools.plugins, extra));
        tools.notes.added(tools.builder, task, "moves the source, and the files that belong to it, to", destination);
    } else if (actions.tree->get_bool_value("remove-source", false)) {
        task = tools.builder.add_task(get_delete_user_task("Delete Source", source, tools.plugins, extra));
        tools.notes.added(tools.builder, task, "deletes the source, and the files that belong to it");
    }
    return task;
}

/// Without others the task never runs, which is meant: nothing may delete or move a source by accident.
void run_after_any(action_tools const& tools, std::string const& wtid, std::set<std::string> const& others,
                   kxworkflow::task_status const& status, char const* when) {
    tools.builder.depend_any_task(wtid, others, status);
    tools.notes.runs_after_any(wtid, others, when);
    if (others.empty())
        report_warning(kxbase::string_with_format("Task '%s' will never run since there is no task for it to wait for",
                                                  tools.builder.get_task(wtid)->get_name().c_str()));
}

void stop_after_failure(action_tools const& tools, std::string const& wtid, std::set<std::string> const& others) {
    tools.builder.add_kill_triggers(wtid, others, kxworkflow::failure_end_states());
    tools.notes.stops(wtid, others, "failure");
}

} // namespace

} // namespace kxclientutil
