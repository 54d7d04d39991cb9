#include "shown.h"

#include <kxbase/one_line.h>
#include <kxbase/urls.h>

namespace kx {

// A path may hold "//" and '@' and is not touched.
std::string without_password(std::string_view path_or_url) {
    if (kxbase::url_scheme(path_or_url).empty()) return std::string(path_or_url);
    return kxbase::url_protected_output(path_or_url);
}

std::string on_one_line(std::string_view text) {
    return kxbase::string_on_one_line(text);
}

std::string shown(std::string_view path_or_url) {
    return on_one_line(without_password(path_or_url));
}

} // namespace kx
