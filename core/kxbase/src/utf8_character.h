#pragma once

// One character of UTF-8, for the validation and for the log's escapes.

#include <cstddef>
#include <string_view>

namespace kxbase {

/// The length of the character at the text's beginning, or 0 when none begins there; `character` is set with it. The
/// text is not empty.
[[nodiscard]] inline std::size_t utf8_character(std::string_view text, char32_t& character) noexcept {
    auto const byte = [text](std::size_t n) { return static_cast<char32_t>(static_cast<unsigned char>(text[n])); };
    auto const continues = [&](std::size_t n) { return (byte(n) & 0xc0) == 0x80; };
    char32_t const lead = byte(0);
    if (lead < 0x80) {
        character = lead;
        return 1;
    }
    if (lead < 0xc2) return 0; // a continuation, or a longer form of ASCII
    if (lead < 0xe0) {
        if (text.size() < 2 || !continues(1)) return 0;
        character = ((lead & 0x1f) << 6) | (byte(1) & 0x3f);
        return 2;
    }
    if (lead < 0xf0) {
        if (text.size() < 3 || !continues(1) || !continues(2)) return 0;
        character = ((lead & 0x0f) << 12) | ((byte(1) & 0x3f) << 6) | (byte(2) & 0x3f);
        bool const surrogate = character >= 0xd800 && character <= 0xdfff;
        return character < 0x800 || surrogate ? 0 : 3;
    }
    if (lead > 0xf4 || text.size() < 4 || !continues(1) || !continues(2) || !continues(3)) return 0;
    character = ((lead & 0x07) << 18) | ((byte(1) & 0x3f) << 12) | ((byte(2) & 0x3f) << 6) | (byte(3) & 0x3f);
    return character < 0x10000 || character > 0x10ffff ? 0 : 4;
}

} // namespace kxbase
