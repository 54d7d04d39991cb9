#pragma once

/// @file
/// The command line of the node.

#include "job_board.h"
#include "node.h"
#include "users.h"

#include <optional>
#include <string>

namespace devnode {

/// How the node announces itself on the local network.
struct announcement_options {
    std::string name; ///< of its service; empty for a node that does not
    std::string cluster;
    std::string id;
};

struct settings {
    entrance through;
    users accounts;
    std::string spool_folder;
    std::size_t most_jobs = job_board::most_jobs;
    announcement_options announced;
    std::string installation_folder;
};

/// Reads the command line. What it asks for instead of a node (help, the version), and what is wrong with it, is written to
/// where it belongs.
///
/// @param exit_code  for a run that ends here
/// @return empty for such a run
[[nodiscard]] std::optional<settings> read_command_line(int argc, char const* const* argv, int& exit_code);

} // namespace devnode
