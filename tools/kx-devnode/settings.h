#pragma once

/// @file
/// The command line of the node.

#include "job_board.h"
#include "node.h"
#include "users.h"

#include <optional>
#include <string>

namespace devnode {

struct settings {
    entrance through;
    users accounts;
    std::string spool_folder;
    std::size_t most_jobs = job_board::most_jobs;
    std::string installation_folder;
};

/// Reads the command line. What it asks for instead of a node (help, the version), and what is wrong with it, is written to
/// where it belongs.
///
/// @param exit_code  for a run that ends here
/// @return empty for such a run
[[nodiscard]] std::optional<settings> read_command_line(int argc, char const* const* argv, int& exit_code);

} // namespace devnode
