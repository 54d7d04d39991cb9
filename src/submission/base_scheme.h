// The scheme by which finalization judges a URI.
#pragma once

#include <kxbase/url_parts.h>

#include <string_view>

namespace kxclientutil {

/// The scheme before its first '+': "kxrc" of "kxrc+iseq:/x". Valid as long as the text.
[[nodiscard]] inline std::string_view base_scheme(kxbase::url_parts const& uri) {
    return uri.scheme.substr(0, uri.scheme.find('+'));
}
[[nodiscard]] inline std::string_view base_scheme(std::string_view uri) {
    return base_scheme(kxbase::split_url(uri));
}

} // namespace kxclientutil
