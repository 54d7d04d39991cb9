#pragma once

/// @file
/// Percent escapes of the text forms, and the digits of escapes of all sorts.

#include <string>
#include <string_view>

namespace kxcore::detail {

/// Appends the text with every byte escaped as %XX that `is_kept` does not keep.
template <class Keep>
void append_escaped(std::string& out, std::string_view text, Keep const& is_kept) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (char const byte : text) {
        if (is_kept(byte)) {
            out += byte;
            continue;
        }
        auto const value = static_cast<unsigned char>(byte);
        out += '%';
        out += digits[value >> 4U];
        out += digits[value & 15U];
    }
}

/// The value of a hexadecimal digit in either case, -1 for another character.
[[nodiscard]] int hex_digit_value(char digit) noexcept;

/// Undoes escapes; a '%' that does not begin one stays.
[[nodiscard]] std::string unescaped(std::string_view text);

/// Whether a byte stands for itself in the query of a URL whose keys and values it separates.
[[nodiscard]] bool is_query_byte(char byte) noexcept;

} // namespace kxcore::detail
