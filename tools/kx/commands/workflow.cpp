#include "workflow.h"

#include "commands.h"

#include <CLI/CLI.hpp>

namespace kx {

void add_workflow_command(CLI::App& parser, application& app) {
    auto* const command = parser.add_subcommand("workflow", "Look at a workflow as a graph, and change it");
    add_workflow_graph_command(*command, app);
    add_workflow_add_task_command(*command, app);
    add_workflow_connect_command(*command, app);
    add_workflow_disconnect_command(*command, app);
    add_workflow_tag_commands(*command, app);
    // Asked here for the same reason as for a command of the first level.
    command->callback([command] {
        if (command->get_subcommands().empty()) throw CLI::RequiredError("A command of workflow");
    });
}

} // namespace kx
