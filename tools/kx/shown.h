#pragma once

/// @file
/// Texts of somebody else (paths, URLs, names) as they may appear on a terminal and in the data that the tool prints.

#include <string>
#include <string_view>

namespace kx {

/// A path or URL as given, but for the password and the secret parameters of a URL.
[[nodiscard]] std::string without_password(std::string_view path_or_url);

/// The text on one line, as kxbase::string_on_one_line gives it: no name forges a line, moves the cursor or turns the writing
/// direction.
[[nodiscard]] std::string on_one_line(std::string_view text);

/// Both of these.
[[nodiscard]] std::string shown(std::string_view path_or_url);

} // namespace kx
