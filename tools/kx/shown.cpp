#include "shown.h"

#include <kxbase/urls.h>

namespace kx {

// A path may hold "//" and '@' and is not touched.
std::string without_password(std::string_view path_or_url) {
    if (kxbase::url_scheme(path_or_url).empty()) return std::string(path_or_url);
    return kxbase::url_protected_output(path_or_url);
}

std::string on_one_line(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string out;
    for (char const ch : text) {
        auto const byte = static_cast<unsigned char>(ch);
        if (ch == '\n') {
            out += "\\n";
        } else if (ch == '\t') {
            out += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            out += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
        } else {
            out += ch;
        }
    }
    return out;
}

std::string shown(std::string_view path_or_url) {
    return on_one_line(without_password(path_or_url));
}

} // namespace kx
