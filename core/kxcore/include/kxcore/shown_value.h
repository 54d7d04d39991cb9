#pragma once

/// @file
/// How a value or a text of a document is shown to people, who may not be the ones to see what it holds.

#include <kxcore/property.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kxcore {

/// Kind and value, shortened, escaped and on one line: `the string "abc"`, `the int 5`, `a tree of 3 members`. The
/// secrets of URLs are masked; what a credential wraps is never shown.
///
/// @param secret shows the kind alone
[[nodiscard]] KXCORE_EXPORT std::string found_text(property const& value, bool secret);

/// The text in double quotes, shortened and escaped, so that it stays on one line; secrets of URLs in it are masked.
///
/// @param longest the most bytes that are shown of it
[[nodiscard]] KXCORE_EXPORT std::string shown_text(std::string_view text, std::size_t longest = 60);

} // namespace kxcore
