#pragma once

// Runs the built tool as a user does and gives what it printed.

#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kx_test {

/// A command line, or a part of one.
using strings = std::vector<std::string>;

[[nodiscard]] inline strings operator+(strings left, strings const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// What a run of kx left behind.
struct kx_result {
    int exit_code = -1; ///< 128 and the signal when one ended it
    std::string out;
    std::string err;

    /// Standard output as the one JSON document that it has to be.
    [[nodiscard]] nlohmann::json json() const { return nlohmann::json::parse(out); }
};

/// Runs kx with these arguments on the sample installation, with a key file of its own in a scratch folder of this run
/// of the tests.
///
/// @param environment added to the environment; an empty text removes a variable
[[nodiscard]] kx_result run_kx(std::vector<std::string> const& arguments,
                               std::map<std::string, std::string> const& environment = {});

/// The same with a text on standard input, which is empty else.
[[nodiscard]] kx_result run_kx_reading(std::string const& input, std::vector<std::string> const& arguments,
                                       std::map<std::string, std::string> const& environment = {});

/// The same without telling the tool which installation to use.
[[nodiscard]] kx_result run_kx_bare(std::vector<std::string> const& arguments,
                                    std::map<std::string, std::string> const& environment = {});

/// Runs any program the same way, found as a shell finds it; exit code 127 when there is none.
[[nodiscard]] kx_result run_program(std::string const& program, std::vector<std::string> const& arguments,
                                    std::map<std::string, std::string> const& environment = {});

/// Runs kx as run_kx() does, with a terminal of 80 columns for standard error: what is drawn there is `err`.
[[nodiscard]] kx_result run_kx_on_terminal(std::vector<std::string> const& arguments,
                                           std::map<std::string, std::string> const& environment = {});

/// Runs kx as run_kx() does, but for root's right to ignore the permissions of files, where the tests have it.
[[nodiscard]] kx_result run_kx_bound_by_permissions(std::vector<std::string> const& arguments);

/// Runs kx as run_kx() does and sends it a signal as soon as the condition holds, which is asked over and over.
///
/// @return the exit code, as in kx_result
[[nodiscard]] int run_kx_until(std::vector<std::string> const& arguments, int signal,
                               std::function<bool()> const& reached);

/// The path of an example document of the sample installation.
[[nodiscard]] std::string example(std::string const& name);

} // namespace kx_test
