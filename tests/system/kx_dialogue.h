#pragma once

// Runs the built tool at a terminal and answers what it asks there.

#include "kx_run.h"

#include <string>
#include <utility>
#include <vector>

namespace kx_test {

/// What a dialogue left behind: `err` of the result is what stood on the terminal, errors and echoes included.
struct kx_dialogue {
    kx_result result;
    bool echoes_afterwards = false; ///< whether the terminal shows again what is typed
};

/// Runs kx on the sample installation. Each answer is typed when its question has appeared; who asks for more than there
/// are answers for gets the end of the input.
[[nodiscard]] kx_dialogue talk_to_kx(std::vector<std::string> arguments,
                                     std::vector<std::pair<std::string, std::string>> const& answers,
                                     std::map<std::string, std::string> const& environment = {});

/// Runs kx as run_kx() does, but in a session of its own, where there is no terminal to ask at.
[[nodiscard]] kx_result run_kx_without_terminal(std::vector<std::string> const& arguments,
                                                std::map<std::string, std::string> const& environment = {});

} // namespace kx_test
