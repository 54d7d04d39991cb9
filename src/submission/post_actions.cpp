#include "submission/post_actions.h"

#include "raising.h"
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

void add_encoding_failure_actions(workflow_builder& builder, kxcore::plugin_db const& plugins,
                                  action_document const& actions);
void add_deployment_failure_actions(workflow_builder& builder, kxcore::plugin_db const& plugins,
                                    action_document const& actions);
action_document actions_in(action_document const& document, std::string_view key);
std::string add_source_task(workflow_builder& builder, kxcore::plugin_db const& plugins,
                            action_document const& actions);
void run_after_any(workflow_builder& builder, std::string const& wtid, std::set<std::string> const& others,
                   kxworkflow::task_status const& status);

} // namespace

void add_failure_actions(workflow_builder& builder, kxcore::plugin_db const& plugins) {
    auto const meta_data = builder.get_workflow_meta_data();
    action_document const failure = actions_in({meta_data.get(), "workflow-meta"}, "finalize-workflow-failure");
    if (!failure.tree) return;
    if (action_document const encoding = actions_in(failure, "encode"); encoding.tree)
        return add_encoding_failure_actions(builder, plugins, encoding);
    // An encoder that failed leaves nothing to deliver, so what there is about encoders covers deliveries. Both at once
    // would add two tasks that move or delete the same source; that only the first counts is meant.
    if (action_document const deployment = actions_in(failure, "deployment"); deployment.tree)
        add_deployment_failure_actions(builder, plugins, deployment);
}

void add_success_actions(workflow_builder& builder, kxcore::plugin_db const& plugins) {
    auto const meta_data = builder.get_workflow_meta_data();
    action_document const success = actions_in({meta_data.get(), "workflow-meta"}, "finalize-workflow-success");
    if (!success.tree) return;
    action_document const deployment = actions_in(success, "deployment");
    if (!deployment.tree) return;
    std::string const task = add_source_task(builder, plugins, deployment);
    if (task.empty()) return;
    std::vector<std::string> const deployments = deployment_tasks(builder);
    // One dependency for each, unlike after a failure: all have to succeed, where any one failure is enough.
    for (std::string const& wtid : deployments)
        builder.depend_task(task, wtid, kxworkflow::success_end_state());
    if (deployments.empty()) run_after_any(builder, task, {}, kxworkflow::success_end_state());
}

namespace {

void add_encoding_failure_actions(workflow_builder& builder, kxcore::plugin_db const& plugins,
                                  action_document const& actions) {
    std::set<std::string> const encoders = encoder_tasks(builder);
    std::string const task = add_source_task(builder, plugins, actions);
    if (!task.empty()) run_after_any(builder, task, encoders, kxworkflow::failure_end_states());
    if (!actions.tree->get_bool_value("stop-others", false)) return;
    for (std::string const& encoder : encoders) // the triggers of a task leave out the task itself
        builder.add_kill_triggers(encoder, encoders, kxworkflow::failure_end_states());
}

void add_deployment_failure_actions(workflow_builder& builder, kxcore::plugin_db const& plugins,
                                    action_document const& actions) {
    std::set<std::string> const encoders = encoder_tasks(builder);
    std::vector<std::string> const deployments = deployment_tasks(builder);
    std::string const task = add_source_task(builder, plugins, actions);
    if (!task.empty()) {
        std::set<std::string> all = encoders;
        all.insert(deployments.begin(), deployments.end());
        run_after_any(builder, task, all, kxworkflow::failure_end_states());
    }
    if (!actions.tree->get_bool_value("stop-encoders", false)) return;
    for (std::string const& deployment : deployments)
        builder.add_kill_triggers(deployment, encoders, kxworkflow::failure_end_states());
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
std::string add_source_task(workflow_builder& builder, kxcore::plugin_db const& plugins,
                            action_document const& actions) {
    std::string const source = get_variable("source.url");
    properties const extra("extra-source-urls", kxcore::property_special::create_deferred_context(
                                                    kxcore::property_kind::list, "workflow.extra-inputs"));
    if (kxcore::property const* const destination = actions.tree->find("move-source")) {
        auto const* const folder = property_cast<kxcore::property_string>(destination);
        if (!folder)
            raise_from<kxbase::es::arg>(submission_source_path, actions.place + "{move-source}: a string was expected");
        return builder.add_task(get_move_user_task(source, std::string(folder->value()), plugins, extra));
    }
    if (actions.tree->get_bool_value("remove-source", false))
        return builder.add_task(get_delete_user_task("Delete Source", source, plugins, extra));
    return {};
}

/// Without others the task never runs, which is meant: nothing may delete or move a source by accident.
void run_after_any(workflow_builder& builder, std::string const& wtid, std::set<std::string> const& others,
                   kxworkflow::task_status const& status) {
    builder.depend_any_task(wtid, others, status);
    if (others.empty())
        report_warning(kxbase::string_with_format("Task '%s' will never run since there is no task for it to wait for",
                                                  builder.get_task(wtid)->get_name().c_str()));
}

} // namespace

} // namespace kxclientutil
