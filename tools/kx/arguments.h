#pragma once

/// @file
/// What the options of several commands demand of their values.

#include <cstdint>
#include <string>

namespace kx {

/// A check for CLI::Option::check: a place for a document or a job has a name.
/// @return the complaint; empty for a good value
[[nodiscard]] std::string refuse_empty(std::string const& value);

/// A decimal number of 64 bits.
///
/// @throws CLI::ValidationError for anything else, one that does not fit included
[[nodiscard]] std::int64_t whole_number(std::string const& option, std::string const& value);

} // namespace kx
