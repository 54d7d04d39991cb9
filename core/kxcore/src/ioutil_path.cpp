#include "ioutil_path.h"

#include "text_escape.h"
#include "transfer.h"
#include "url_credentials.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>

namespace kxcore {

namespace {

std::string percent_decoded(std::string_view text);

} // namespace

bool is_remote(std::string_view url) {
    return transfer::knows_scheme(kxbase::url_scheme(url));
}

std::string local_path(std::string_view url) {
    std::string const scheme = kxbase::url_scheme(url);
    if (scheme.empty()) return std::string(url);
    if (scheme != "file")
        kxbase::es::unsupp::raise("cannot reach '" + url_for_messages(url) + "': there is no way to a \"" + scheme +
                                  "\" URL");
    std::string const host = kxbase::url_host(url, true);
    if (!host.empty() && host != "localhost")
        kxbase::es::unsupp::raise("cannot reach '" + url_for_messages(url) + "': the file is on another machine");
    std::string path = percent_decoded(kxbase::url_path(url, false));
    if (path.empty()) kxbase::es::arg::raise("'" + url_for_messages(url) + "' names no file");
    return path;
}

namespace {

/// All of it, but "%2F": unlike in a URL that is taken apart further, "%25" has no second meaning in a file's name, and
/// no file's name holds a '/'.
std::string percent_decoded(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i != text.size(); ++i) {
        bool const escape = text[i] == '%' && text.size() - i > 2;
        int const high = escape ? detail::hex_digit_value(text[i + 1]) : -1;
        int const low = escape ? detail::hex_digit_value(text[i + 2]) : -1;
        char const byte = static_cast<char>(high * 16 + low);
        if (high < 0 || low < 0 || byte == '/') {
            decoded += text[i];
        } else {
            decoded += byte;
            i += 2;
        }
    }
    return decoded;
}

} // namespace

} // namespace kxcore
