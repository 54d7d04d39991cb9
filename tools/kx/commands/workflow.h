#pragma once

/// @file
/// The commands below `kx workflow`; each adds itself, as those of the first level do.

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace kx {

class application;

void add_workflow_graph_command(CLI::App& parser, application& app);
void add_workflow_add_task_command(CLI::App& parser, application& app);
void add_workflow_connect_command(CLI::App& parser, application& app);
void add_workflow_disconnect_command(CLI::App& parser, application& app);
void add_workflow_tag_commands(CLI::App& parser, application& app);

} // namespace kx
