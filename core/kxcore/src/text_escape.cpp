#include "text_escape.h"

namespace kxcore::detail {

int hex_digit_value(char digit) noexcept {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

std::string unescaped(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        int const high = text[at] == '%' && at + 2 < text.size() ? hex_digit_value(text[at + 1]) : -1;
        int const low = high < 0 ? -1 : hex_digit_value(text[at + 2]);
        if (low < 0) {
            plain += text[at];
        } else {
            plain += static_cast<char>(high * 16 + low);
            at += 2;
        }
    }
    return plain;
}

bool is_query_byte(char byte) noexcept {
    bool const is_letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    bool const is_digit = byte >= '0' && byte <= '9';
    return is_letter || is_digit || std::string_view("-._~/:@?!$'()*,").find(byte) != std::string_view::npos;
}

} // namespace kxcore::detail
