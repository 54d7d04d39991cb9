#include "submission/wiring.h"

#include <kxcore/properties.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <map>
#include <span>
#include <string_view>

namespace kxclientutil {

namespace {

using kxworkflow::workflow_builder;

// Plugin ids are compared whole: one that merely begins with another names another plugin.
constexpr std::array<std::string_view, 2> encoder_plids{encoder_plid, "task/regular/preparembr/1.0"};
constexpr std::array<std::string_view, 2> deployment_plids{upload_plid, youtube_plid};

std::vector<std::string> tasks_of(workflow_builder const& builder, std::span<std::string_view const> plids);

} // namespace

std::set<std::string> encoder_tasks(workflow_builder const& builder) {
    std::vector<std::string> const wtids = tasks_of(builder, encoder_plids);
    return {wtids.begin(), wtids.end()};
}

std::vector<std::string> deployment_tasks(workflow_builder const& builder) {
    return tasks_of(builder, deployment_plids);
}

std::vector<task_input> unfed_source_inputs(workflow_builder const& builder) {
    std::vector<task_input> inputs;
    auto const workflow = builder.get_workflow_info();
    for (auto const& task : workflow->get_task_infos()) {
        kxworkflow::task::node_list nodes;
        task->get_published_in_nodes(nodes);
        for (auto const& node : nodes)
            if (node->get_id().find("source-url") != std::string::npos && node->is_open())
                inputs.push_back({task->get_id(), node->get_id()});
    }
    return inputs;
}

bool add_main_localizer(workflow_builder& builder) {
    std::string const wtid =
        builder.add_task(localizer_plid, localizer_configuration(""), 0, "localizer", "Main Source");
    if (wtid == main_localizer_wtid) return true;
    builder.remove_task(wtid);
    return false;
}

namespace {

std::vector<std::string> tasks_of(workflow_builder const& builder, std::span<std::string_view const> plids) {
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    std::vector<std::string> wtids;
    for (auto const& [wtid, task] : tasks)
        if (std::ranges::find(plids, task->get_plid()) != plids.end()) wtids.push_back(wtid);
    return wtids;
}

} // namespace

} // namespace kxclientutil
