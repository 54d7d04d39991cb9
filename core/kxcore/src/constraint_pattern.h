#pragma once

/// @file
/// Patterns as XML Schema writes them.

#include <optional>
#include <string>
#include <string_view>

namespace kxcore {

/// The pattern in the syntax of XML Schema, where a pattern always stands for the whole text; empty when it uses what
/// that syntax can't express.
std::optional<std::string> xsd_pattern(std::string_view pattern);

} // namespace kxcore
