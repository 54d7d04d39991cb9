#include <kxclientutil/resolve.h>

#include "submission/base_scheme.h"

#include <kxbase/env.h>
#include <kxbase/paths.h>
#include <kxbase/text.h>
#include <kxbase/url_parts.h>
#include <kxbase/urls.h>
#include <kxcore/property_values.h>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <string_view>

namespace kxclientutil {

namespace {

using placeholder_table = std::map<std::string, std::string>;

placeholder_table& placeholders();
placeholder_table built_in_placeholders();
std::string resolved_path(kxbase::url_parts const& parts);
std::string as_plain_path(std::string const& normalized);
bool may_hold_placeholder(std::string_view path);

constexpr std::string_view scheme_characters = "abcdefghijklmnopqrstuvwxyz1234567890+-.";
constexpr std::size_t scheme_search_length = 15;
constexpr std::array<std::string_view, 5> physical_prefixes{"file:/", "kxfs://", "kxrc:/", "smb://", "ftp://"};
constexpr std::string_view finished_resource_prefix = "kxrc:/#!";
constexpr std::string_view resource_scheme = "kxrc";

} // namespace

void add_resolve_path(std::string const& name, std::string const& value) {
    placeholders()[name] = value;
}

std::string resolve_path(std::string const& path) {
    return kxbase::strutil::string_replaced(path, placeholders());
}

std::string resolve_url_path(std::string const& url) {
    kxbase::url_parts parts = kxbase::split_url(url);
    std::string const path = resolved_path(parts);
    parts.path = path;
    return kxbase::join_url(parts);
}

// Capitals are no scheme characters, and the scheme's length is bounded by what is searched. Both are meant: what
// documents hold is told apart by this test since ever, so a Windows path in capitals stays a plain value.
bool is_url(kxbase::ptr_refcount<kxcore::property const> const& value) {
    auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
    if (!text) return false;

    std::string_view const beginning = text->value().substr(0, scheme_search_length);
    std::size_t const end = beginning.find(":/");
    if (end == std::string_view::npos || end == 0) return false;
    return beginning.substr(0, end).find_first_not_of(scheme_characters) == std::string_view::npos;
}

bool is_url_to_physical_resource(kxbase::ptr_refcount<kxcore::property const> const& value) {
    if (!is_url(value)) return false;
    std::string_view const url = static_cast<kxcore::property_string const&>(*value).value();
    return std::ranges::any_of(physical_prefixes, [&](std::string_view prefix) { return url.starts_with(prefix); });
}

// Works on the parts of the URL, since each file of a submission and each URL in its configurations comes by here.
std::string create_resource_uri(std::string_view url, std::string const& fragment, bool as_resource) {
    if (url.starts_with(finished_resource_prefix)) return std::string(url);

    kxbase::url_parts parts = kxbase::split_url(url);
    std::string_view const base = base_scheme(parts);
    if (base != "file") return kxbase::url_new_fragment(url, fragment, true);

    std::string path = resolved_path(parts);
    std::string scheme(parts.scheme);
    if (as_resource) {
        scheme.replace(0, base.size(), resource_scheme);
        parts.scheme = scheme;
        parts.has_authority = false;
        parts.authority = {};
        kxbase::fit_path(parts, path);
    }
    parts.path = path;
    std::string const encoded_fragment = kxbase::encoded_fragment(fragment);
    parts.fragment = encoded_fragment;
    parts.has_fragment = !fragment.empty();
    return kxbase::join_url(parts);
}

namespace {

placeholder_table& placeholders() {
    static placeholder_table table = built_in_placeholders();
    return table;
}

// "$USERMOVIEPATH$" and "$USERDESKTOPPATH$" both stand for the documents folder: documents written with them expect it,
// so neither may become the folder that its name suggests.
placeholder_table built_in_placeholders() {
    namespace env = kxbase::env;
    std::string const documents = env::get_folder_path(env::folder_documents);
    return {
        {"$EXEPATH$", env::get_executable_path()},
        {"$USERHOMEPATH$", env::get_user_home_path()},
        {"$PRODLONG$", "Vostrel"},
        {"$TMPPATH$", env::get_default_tmp_path()},
        {"$USERMOVIEPATH$", documents},
        {"$USERDESKTOPPATH$", documents},
        {"$COMMONAPPDATA$", env::get_folder_path(env::folder_common_data)},
    };
}

/// The path with its placeholders resolved, normalized, as it stands in the URL.
std::string resolved_path(kxbase::url_parts const& parts) {
    if (kxbase::is_settled_path(parts.path) && !may_hold_placeholder(parts.path)) return std::string(parts.path);
    std::string const named = resolve_path(kxbase::decoded_path(parts));
    std::string path = kxbase::path_normalized(named, '/');
    if (!parts.is_url()) return named.empty() ? path : as_plain_path(path);
    path = kxbase::encoded_path(path);
    kxbase::fit_path(parts, path);
    return path;
}

/// A path that has lost what stood before "NAME:" would be a URL to the next who takes it apart, and one that climbed back
/// to where it began would be none at all.
std::string as_plain_path(std::string const& normalized) {
    if (normalized.empty()) return ".";
    return kxbase::split_url(normalized).is_url() ? "./" + normalized : normalized;
}

/// Whether there is a character in it with which a placeholder begins: '$', unless somebody added other names.
bool may_hold_placeholder(std::string_view path) {
    std::string_view looked_for;
    for (auto const& [name, value] : placeholders()) {
        std::string_view const beginning = std::string_view(name).substr(0, 1);
        if (beginning == looked_for) continue; // the names are sorted, so those that begin alike follow each other
        looked_for = beginning;
        if (path.find(beginning) != std::string_view::npos) return true;
    }
    return false;
}

} // namespace

} // namespace kxclientutil
