#pragma once

/// @file
/// Texts of somebody else, as they may stand in a log or on a terminal.

#include <kxbase/export.h>

#include <string>
#include <string_view>

namespace kxbase {

/// The text on one line, which nothing in it can forge or turn: control characters (those of both blocks, line separators,
/// marks that turn the writing direction) and bytes that are no UTF-8 are escaped as `\n`, `\r`, `\t`, `\xNN` or `\u{NNNN}`.
/// A backslash stays as it is: the result is for eyes, and cannot be turned back.
[[nodiscard]] KXBASE_EXPORT std::string string_on_one_line(std::string_view text);

} // namespace kxbase
