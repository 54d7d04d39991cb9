#include "url_credentials.h"

#include <cstddef>

namespace kxcore {

namespace {

struct range {
    std::size_t begin;
    std::size_t end;
};

/// Where the authority lies; an empty range at the end of a text that has none.
range authority(std::string_view url) {
    std::size_t const scheme_end = url.find_first_of(":/?#");
    std::size_t begin = 0;
    if (scheme_end != std::string_view::npos && scheme_end != 0 && url[scheme_end] == ':') begin = scheme_end + 1;
    if (url.substr(begin, 2) != "//") return {url.size(), url.size()};
    begin += 2;
    std::size_t const end = url.find_first_of("/?#", begin);
    return {begin, end == std::string_view::npos ? url.size() : end};
}

} // namespace

url_without_user_info without_user_info(std::string_view url) {
    range const at = authority(url);
    // The last '@': what stands before it is no host, however many a careless password holds.
    std::size_t const sign = url.substr(0, at.end).rfind('@');
    if (sign == std::string_view::npos || sign < at.begin) return {std::string(url), {}};
    return {std::string(url.substr(0, at.begin)).append(url.substr(sign + 1)),
            std::string(url.substr(at.begin, sign + 1 - at.begin))};
}

std::string with_user_info(std::string_view readable, std::string_view user_info) {
    return std::string(readable).insert(authority(readable).begin, user_info);
}

std::string url_for_messages(std::string_view url) {
    range const at = authority(url);
    // A careless password may hold '/', '?' or '#' as they are. Where one is possible, rather too much is left out.
    bool const may_go_on = url.substr(0, at.end).find(':', at.begin) != std::string_view::npos;
    std::size_t const sign = (may_go_on ? url : url.substr(0, at.end)).rfind('@');
    bool const has_user_info = sign != std::string_view::npos && sign >= at.begin;
    std::string_view const rest = url.substr(has_user_info ? sign + 1 : at.begin);
    return std::string(url.substr(0, at.begin)).append(rest.substr(0, rest.find_first_of("?#")));
}

} // namespace kxcore
