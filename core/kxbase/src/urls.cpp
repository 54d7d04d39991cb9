#include <kxbase/urls.h>

#include <kxbase/errors.h>
#include <kxbase/paths.h>
#include <kxbase/text.h>
#include <kxbase/url_parts.h>

#include "path_simplified.h"
#include "percent.h"
#include "url_syntax.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace kxbase {

namespace {

std::string component(std::string_view text, bool decode, e_component which);
std::string new_component(std::string_view text, bool encode, e_component which);
std::string with_path(url_parts parts, std::string path);
std::string url_of_path(std::string_view scheme, std::string_view path);
std::string with_url_separators(std::string_view path);
std::string current_folder_url();
std::size_t last_separator(url_parts const& parts);
std::string_view without_trailing_separators(url_parts const& parts, std::string_view path);
std::string file_part(url_parts const& parts, bool decode);
std::size_t suffix_dot(std::string_view file);

} // namespace

std::string url_scheme(std::string_view url) {
    return std::string(split_url(url).scheme);
}

std::string uri_scheme(std::string_view uri) {
    return url_scheme(uri);
}

std::pair<std::string, std::string> split_scheme(std::string_view scheme, char separator) {
    return {path_front(scheme, separator), path_popped_front(scheme, separator)};
}

std::string url_user(std::string_view url, bool decode) {
    std::string_view const user = split_authority(split_url(url).authority).user;
    return decode ? percent_decoded_wholly(user) : std::string(user);
}

std::string url_password(std::string_view url, bool decode) {
    std::string_view const password = split_authority(split_url(url).authority).password;
    return decode ? percent_decoded_wholly(password) : std::string(password);
}

std::string url_host(std::string_view url, bool decode) {
    std::string_view const host = split_authority(split_url(url).authority).host;
    return decode ? percent_decoded_wholly(host) : std::string(host);
}

std::string url_path(std::string_view url, bool decode) {
    url_parts const parts = split_url(url);
    return decode ? decoded_path(parts) : std::string(parts.path);
}

std::string url_query(std::string_view url, bool decode) {
    return component(split_url(url).query, decode, e_component::query);
}

std::string url_fragment(std::string_view url, bool decode) {
    return component(split_url(url).fragment, decode, e_component::fragment);
}

std::string url_set_scheme(std::string_view url, std::string_view scheme) {
    if (!scheme.empty() && !is_scheme(scheme))
        es::arg::raise(string_with_format("'%s' is no URL scheme", std::string(scheme).c_str()));
    url_parts parts = split_url(url);
    if (!parts.is_url()) return scheme.empty() ? std::string(url) : url_of_path(scheme, with_url_separators(url));
    parts.scheme = scheme;
    return join_url(parts);
}

std::string url_set_host(std::string_view url, std::string_view host, bool encode) {
    url_parts parts = split_url(url);
    if (!parts.is_url()) return std::string(url);
    authority_parts const old = split_authority(parts.authority);
    std::string authority;
    if (!host.empty()) {
        authority += old.userinfo;
        authority += new_component(host, encode, e_component::host);
        authority += old.port;
    }
    parts.has_authority = !host.empty();
    parts.authority = authority;
    return with_path(parts, std::string(parts.path));
}

std::string url_new_path(std::string_view url, std::string_view path, bool encode) {
    url_parts const parts = split_url(url);
    if (!parts.is_url()) return std::string(path);
    return with_path(parts, new_component(path, encode, e_component::path));
}

std::string url_set_query(std::string_view url, std::string_view query, bool encode) {
    url_parts parts = split_url(url);
    if (!parts.is_url()) return std::string(url);
    std::string const text = new_component(query, encode, e_component::query);
    parts.has_query = !text.empty();
    parts.query = text;
    return join_url(parts);
}

std::string url_set_fragment(std::string_view url, std::string_view fragment, bool encode) {
    url_parts parts = split_url(url);
    if (!parts.is_url()) return std::string(url);
    std::string const text = new_component(fragment, encode, e_component::fragment);
    parts.has_fragment = !text.empty();
    parts.fragment = text;
    return join_url(parts);
}

std::string url_new_fragment(std::string_view url, std::string_view fragment, bool encode) {
    return url_set_fragment(url, fragment, encode);
}

std::string url_create_from_url_or_path(std::string_view url_or_path, std::string_view base) {
    if (url_or_path.empty() || split_url(url_or_path).is_url()) return std::string(url_or_path);
    std::string const path = with_url_separators(url_or_path);
    if (path.starts_with('/') || path.starts_with('$') || path_has_drive(path)) return url_of_path("file", path);

    std::string const folder = base.empty() ? current_folder_url() : url_create_from_url_or_path(base, "");
    url_parts parts = split_url(folder);
    parts.has_query = false;
    parts.has_fragment = false;
    std::string const absolute = path_appended(url_path(folder, true), path, '/');
    return with_path(parts, new_component(path_simplified(absolute, '/'), true, e_component::path));
}

std::string url_path_directory(std::string_view url, bool decode) {
    url_parts const parts = split_url(url);
    std::size_t const last = last_separator(parts);
    if (last == std::string_view::npos) return {};
    std::string_view const folder = without_trailing_separators(parts, parts.path.substr(0, last));
    return component(folder, decode && parts.is_url(), e_component::path);
}

std::string url_path_file(std::string_view url, bool decode) {
    return file_part(split_url(url), decode);
}

std::string url_path_back(std::string_view url, bool decode) {
    return url_path_file(url, decode);
}

std::string url_path_name(std::string_view url, bool decode) {
    std::string const file = url_path_file(url, decode);
    return file.substr(0, suffix_dot(file));
}

std::string url_path_suffix(std::string_view url, bool decode) {
    std::string const file = url_path_file(url, decode);
    std::size_t const dot = suffix_dot(file);
    return dot < file.size() ? file.substr(dot + 1) : std::string();
}

std::string url_path_popped_back(std::string_view url) {
    url_parts const parts = split_url(url);
    std::size_t const last = last_separator(parts);
    if (last == std::string_view::npos) return with_path(parts, {});
    std::string_view left = without_trailing_separators(parts, parts.path.substr(0, last));
    if (left.empty() && last + 1 < parts.path.size()) left = parts.path.substr(0, 1);
    return with_path(parts, std::string(left));
}

std::string url_path_set_file(std::string_view url, std::string_view file, bool encode) {
    url_parts const parts = split_url(url);
    std::string path(parts.path.substr(0, last_separator(parts) + 1));
    path += new_component(file, encode && parts.is_url(), e_component::file);
    return with_path(parts, std::move(path));
}

std::string url_path_new_file(std::string_view url, std::string_view file, bool encode) {
    return url_path_set_file(url, file, encode);
}

namespace {

std::string component(std::string_view text, bool decode, e_component which) {
    return decode ? percent_decoded(text, which) : std::string(text);
}

std::string new_component(std::string_view text, bool encode, e_component which) {
    return encode ? percent_encoded(text, which) : std::string(text);
}

/// The URL with another path, which neither becomes an authority nor runs into one.
std::string with_path(url_parts parts, std::string path) {
    fit_path(parts, path);
    parts.path = path;
    return join_url(parts);
}

/// The URL of a path, all of which is encoded. A drive letter stands behind the root's '/', a UNC path's server becomes
/// the authority.
std::string url_of_path(std::string_view scheme, std::string_view path) {
    url_parts parts;
    parts.scheme = scheme;
    std::string server;
    std::string encoded;
    if (path_is_unc(path)) {
        std::size_t const end = std::min(path.find('/', 2), path.size());
        server = percent_encoded(path.substr(2, end - 2), e_component::host);
        parts.has_authority = true;
        parts.authority = server;
        path.remove_prefix(end);
    } else if (path_has_drive(path)) {
        encoded = '/';
    }
    encoded += percent_encoded(path, e_component::path);
    return with_path(parts, std::move(encoded));
}

/// With '/' for each '\' of a path that is one of backslashes; in any other they belong to the names.
std::string with_url_separators(std::string_view path) {
    std::string turned(path);
    bool const backslashes = path_has_drive(path) || path_is_unc(path) || path.find('/') == std::string_view::npos;
    if (backslashes) std::replace(turned.begin(), turned.end(), '\\', '/');
    return turned;
}

std::string current_folder_url() {
    std::error_code failed;
    std::string const folder = std::filesystem::current_path(failed).string();
    if (failed || !folder.starts_with('/')) es::call::raise("the current folder can't be found: " + failed.message());
    return url_of_path("file", folder);
}

/// Where the last separator of the path stands: '/', and '\' too in a path with a drive letter or a UNC path.
std::size_t last_separator(url_parts const& parts) {
    bool const both = !parts.is_url() && (path_has_drive(parts.path) || path_is_unc(parts.path));
    return parts.path.find_last_of(both ? "/\\" : "/");
}

std::string_view without_trailing_separators(url_parts const& parts, std::string_view path) {
    while (!path.empty() && (path.ends_with('/') || (path.ends_with('\\') && !parts.is_url())))
        path.remove_suffix(1);
    return path;
}

std::string file_part(url_parts const& parts, bool decode) {
    std::string_view const file = parts.path.substr(last_separator(parts) + 1);
    return component(file, decode && parts.is_url(), e_component::file);
}

/// Where the dot before the suffix stands, or the file's size.
std::size_t suffix_dot(std::string_view file) {
    std::size_t const dot = file.rfind('.');
    if (dot == std::string_view::npos || dot + 1 == file.size()) return file.size();
    bool const hidden = file.find_first_not_of('.') > dot;
    return hidden ? file.size() : dot;
}

} // namespace

} // namespace kxbase
