#pragma once

/// @file
/// UTF-8 validation, for the doors where foreign text comes in.

#include <kxbase/export.h>

#include <cstddef>
#include <string_view>

namespace kxbase {

/// Whether the text is valid UTF-8 (RFC 3629: shortest forms only, no surrogates, nothing above U+10FFFF). NUL and
/// control characters are valid. The empty text is.
[[nodiscard]] KXBASE_EXPORT bool is_valid_utf8(std::string_view text) noexcept;

/// The length of the valid beginning: the offset of the first byte that belongs to no character, or the text's size.
[[nodiscard]] KXBASE_EXPORT std::size_t valid_utf8_prefix(std::string_view text) noexcept;

} // namespace kxbase
