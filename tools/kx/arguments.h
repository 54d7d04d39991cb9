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

class application;

/// Makes an option one that names a document or a job to read or to write. It has a name, and is a path, or a URL
/// without a password: one with a user gets that of the environment. "-" is refused.
CLI::Option* takes_file(CLI::Option* option, application& app);

/// The same for a document that may come from standard input, "-", or go to standard output.
CLI::Option* takes_file_or_stream(CLI::Option* option, application& app);

/// A check for CLI::Option::check: a path of this machine is not empty.
/// @return the complaint; empty for a good value
[[nodiscard]] std::string refuse_empty(std::string const& value);

/// The same for a location that need not be a file.
[[nodiscard]] std::string refuse_empty_location(std::string const& value);

/// The same for a tag, and for an input or an output of a task.
[[nodiscard]] std::string refuse_empty_tag(std::string const& value);
[[nodiscard]] std::string refuse_empty_node(std::string const& value);

/// The same for a path or URL that a task works on: a placeholder in it ("$USERMOVIEPATH$") that stands for no folder of
/// this machine would leave another path, if any.
[[nodiscard]] std::string refuse_missing_folder(std::string const& path_or_url);

/// Gives a command that changes a document the option to write the result elsewhere.
CLI::Option* add_output_option(CLI::App& command, std::string& out, application& app);

/// A decimal number of 64 bits.
///
/// @throws CLI::ValidationError for anything else, one that does not fit included
[[nodiscard]] std::int64_t whole_number(std::string const& option, std::string const& value);

} // namespace kx
