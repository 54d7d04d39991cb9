#pragma once

/// @file
/// What the options of several commands demand of their values.

#include <cstdint>
#include <string>

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
class Option;
} // namespace CLI

namespace kx {

/// A check for CLI::Option::check: a place for a document or a job has a name.
/// @return the complaint; empty for a good value
[[nodiscard]] std::string refuse_empty(std::string const& value);

/// The same for a tag, and for an input or an output of a task.
[[nodiscard]] std::string refuse_empty_tag(std::string const& value);
[[nodiscard]] std::string refuse_empty_node(std::string const& value);

/// The same for a path or URL that a task works on: a placeholder in it ("$USERMOVIEPATH$") that stands for no folder of
/// this machine would leave another path, if any.
[[nodiscard]] std::string refuse_missing_folder(std::string const& path_or_url);

/// Gives a command that changes a document the option to write the result elsewhere.
CLI::Option* add_output_option(CLI::App& command, std::string& out);

/// A decimal number of 64 bits.
///
/// @throws CLI::ValidationError for anything else, one that does not fit included
[[nodiscard]] std::int64_t whole_number(std::string const& option, std::string const& value);

} // namespace kx
