#pragma once

/// @file
/// Base64 (RFC 4648, the standard alphabet with padding), for bytes that travel inside texts.

#include <kxbase/export.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace kxbase {

class buffer;

/// The bytes as base64, in one piece.
[[nodiscard]] KXBASE_EXPORT std::string base64_encoded(std::span<std::byte const> bytes);
[[nodiscard]] KXBASE_EXPORT std::string base64_encoded(std::string_view bytes);

/// Appends the same to `out`.
KXBASE_EXPORT void base64_encode(std::string_view bytes, std::string& out);

/// Appends the bytes that a base64 text stands for to `out`. Blanks, tabs and line ends between the characters are
/// skipped, as people fold long lines. False, with `out` unchanged, for anything else that no encoder writes: foreign
/// characters, missing padding, stray bits behind the last byte.
[[nodiscard]] KXBASE_EXPORT bool base64_decode(std::string_view text, std::string& out);
[[nodiscard]] KXBASE_EXPORT bool base64_decode(std::string_view text, buffer& out);

} // namespace kxbase
