#pragma once

/// @file
/// The commands. Each adds itself to the command line, with its own options and help, and runs when it is chosen.

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace kx {

class application;

void add_identify_command(CLI::App& parser, application& app);
void add_show_command(CLI::App& parser, application& app);
void add_validate_command(CLI::App& parser, application& app);
void add_convert_command(CLI::App& parser, application& app);
void add_variables_command(CLI::App& parser, application& app);
void add_diff_command(CLI::App& parser, application& app);
void add_finalize_command(CLI::App& parser, application& app);
void add_original_command(CLI::App& parser, application& app);
void add_submit_command(CLI::App& parser, application& app);
void add_nodes_command(CLI::App& parser, application& app);
void add_status_command(CLI::App& parser, application& app);
void add_schema_command(CLI::App& parser, application& app);
void add_workflow_command(CLI::App& parser, application& app);
void add_task_command(CLI::App& parser, application& app);
void add_monitor_command(CLI::App& parser, application& app);

} // namespace kx
