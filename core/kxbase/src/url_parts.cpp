#include <kxbase/url_parts.h>

#include "path_simplified.h"
#include "percent.h"
#include "url_syntax.h"

#include <algorithm>
#include <cstddef>

namespace kxbase {

namespace {

constexpr bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr bool is_scheme_character(char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == '_';
}

/// Cuts the text at the first of the characters, or at its end; gives what stands before.
std::string_view take_until(std::string_view& text, std::string_view ends) {
    std::size_t first = text.size();
    for (char const end : ends)
        first = std::min(first, text.find(end));
    std::string_view const taken = text.substr(0, first);
    text.remove_prefix(taken.size());
    return taken;
}

} // namespace

url_parts split_url(std::string_view text) noexcept {
    url_parts parts;
    std::size_t const colon = text.find(':');
    if (colon == std::string_view::npos || !is_scheme(text.substr(0, colon))) {
        parts.path = text;
        return parts;
    }
    parts.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
    if (text.starts_with("//")) {
        text.remove_prefix(2);
        parts.has_authority = true;
        parts.authority = take_until(text, "/?#");
    }
    parts.path = take_until(text, "?#");
    if (text.starts_with('?')) {
        text.remove_prefix(1);
        parts.has_query = true;
        parts.query = take_until(text, "#");
    }
    if (!text.empty()) {
        parts.has_fragment = true;
        parts.fragment = text.substr(1);
    }
    return parts;
}

std::string join_url(url_parts const& parts) {
    std::string url;
    url.reserve(parts.scheme.size() + parts.authority.size() + parts.path.size() + parts.query.size() +
                parts.fragment.size() + 5);
    if (parts.is_url()) {
        url += parts.scheme;
        url += ':';
    }
    if (parts.has_authority) {
        url += "//";
        url += parts.authority;
    }
    url += parts.path;
    if (parts.has_query) {
        url += '?';
        url += parts.query;
    }
    if (parts.has_fragment) {
        url += '#';
        url += parts.fragment;
    }
    return url;
}

std::string decoded_path(url_parts const& parts) {
    return parts.is_url() ? percent_decoded(parts.path, e_component::path) : std::string(parts.path);
}

std::string encoded_path(std::string_view path) {
    return percent_encoded(path, e_component::path);
}

std::string encoded_fragment(std::string_view fragment) {
    return percent_encoded(fragment, e_component::fragment);
}

bool is_settled_path(std::string_view path) noexcept {
    return is_simple_path(path, '/') && is_percent_encoding_free(path, e_component::path);
}

void fit_path(url_parts const& parts, std::string& path) {
    if (parts.is_url() && !parts.has_authority && path.starts_with("//"))
        path.erase(0, std::min(path.find_first_not_of('/'), path.size()) - 1);
    if (parts.has_authority && !path.empty() && !path.starts_with('/')) path.insert(0, 1, '/');
}

authority_parts split_authority(std::string_view authority) noexcept {
    authority_parts parts;
    // The last '@', since passwords are typed with one more often than hosts are named with one.
    parts.userinfo = authority.substr(0, authority.rfind('@') + 1);
    std::string_view const server = authority.substr(parts.userinfo.size());
    if (!parts.userinfo.empty()) {
        std::string_view const userinfo = parts.userinfo.substr(0, parts.userinfo.size() - 1);
        std::size_t const colon = std::min(userinfo.find(':'), userinfo.size());
        parts.user = userinfo.substr(0, colon);
        parts.password = userinfo.substr(std::min(colon + 1, userinfo.size()));
    }
    // An address of colons has no port, unless it is in brackets.
    std::size_t const bracket = server.starts_with('[') ? server.find(']') : std::string_view::npos;
    std::size_t const colon = server.find(':', bracket != std::string_view::npos ? bracket : 0);
    bool const has_port = colon != std::string_view::npos && server.rfind(':') == colon;
    parts.host = server.substr(0, has_port ? colon : server.size());
    parts.port = server.substr(parts.host.size());
    return parts;
}

bool is_scheme(std::string_view text) noexcept {
    if (text.empty() || (text.size() == 1 && is_letter(text.front()))) return false;
    return std::all_of(text.begin(), text.end(), is_scheme_character);
}

} // namespace kxbase
