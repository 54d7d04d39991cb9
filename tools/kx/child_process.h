#pragma once

/// @file
/// Another program as a filter: it is given bytes on its standard input and gives bytes on its standard output.

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kx {

/// What a program left behind.
struct filter_result {
    int exit_code = 0; ///< 128 and the signal when one ended it
    std::string out;
    std::string err; ///< its beginning, when there is much
};

/// Runs a program that is found on the PATH, without a shell in between, until it ends.
///
/// @param command  the program's name and its arguments
/// @param input    all that it can read
/// @param limit    a program that takes longer is killed
/// @param most     a program that writes more bytes than this is killed
/// @throws es::unsupp when there is no such program; es::call when it cannot be started, takes too long or writes too
///         much
[[nodiscard]] filter_result run_filter(std::vector<std::string> const& command, std::string_view input,
                                       std::chrono::seconds limit, std::size_t most);

} // namespace kx
