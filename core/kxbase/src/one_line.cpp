#include <kxbase/one_line.h>

#include <kxbase/text.h>

#include "utf8_character.h"

#include <algorithm>
#include <cstddef>

namespace kxbase {

namespace {

/// Whether a terminal or a log viewer would do something with the character instead of showing it.
bool is_control(char32_t c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0)             // C0, DEL, C1
           || c == 0x2028 || c == 0x2029                   // line and paragraph separator
           || c == 0x061c || c == 0x200e || c == 0x200f    // direction marks
           || (c >= 0x202a && c <= 0x202e)                 // direction embeddings and overrides
           || (c >= 0x2066 && c <= 0x2069) || c == 0xfeff; // direction isolates, byte order mark
}

void append_escape(char32_t c, bool is_byte, std::string& out) {
    switch (c) {
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    default: break;
    }
    auto const number = static_cast<unsigned int>(c);
    out += is_byte || c < 0x80 ? string_with_format("\\x%02X", number) : string_with_format("\\u{%04X}", number);
}

} // namespace

std::string string_on_one_line(std::string_view text) {
    bool const plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
    if (plain) return std::string(text);
    std::string safe;
    safe.reserve(text.size());
    while (!text.empty()) {
        char32_t character = 0;
        std::size_t const length = utf8_character(text, character);
        if (length == 0)
            append_escape(static_cast<unsigned char>(text.front()), true, safe);
        else if (is_control(character))
            append_escape(character, false, safe);
        else
            safe += text.substr(0, length);
        text.remove_prefix(length != 0 ? length : 1);
    }
    return safe;
}

} // namespace kxbase
