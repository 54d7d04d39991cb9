#include <kxclientutil/resolve.h>

#include <kxbase/env.h>
#include <kxbase/paths.h>
#include <kxbase/text.h>
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

constexpr std::string_view scheme_characters = "abcdefghijklmnopqrstuvwxyz1234567890+-.";
constexpr std::size_t scheme_search_length = 15;
constexpr std::array<std::string_view, 5> physical_prefixes{"file:/", "kxfs://", "kxrc:/", "smb://", "ftp://"};
constexpr std::string_view finished_resource_prefix = "kxrc:/#!";

} // namespace

void add_resolve_path(std::string const& name, std::string const& value) {
    placeholders()[name] = value;
}

std::string resolve_path(std::string const& path) {
    return kxbase::strutil::string_replaced(path, placeholders());
}

std::string resolve_url_path(std::string const& url) {
    std::string const path = kxbase::path_normalized(resolve_path(kxbase::url_path(url, true)), '/');
    return kxbase::url_new_path(url, path, true);
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

std::string create_resource_uri(std::string const& url, std::string const& fragment, bool as_resource) {
    if (url.starts_with(finished_resource_prefix)) return url;

    std::string const scheme = kxbase::url_scheme(url);
    std::string const base = kxbase::split_scheme(scheme, '+').first;
    if (base != "file") return kxbase::url_new_fragment(url, fragment, true);

    std::string resource = resolve_url_path(url);
    if (as_resource) {
        resource = kxbase::url_set_scheme(resource, "kxrc" + scheme.substr(base.size()));
        resource = kxbase::url_set_host(resource, "");
    }
    return kxbase::url_set_fragment(resource, fragment, true);
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

} // namespace

} // namespace kxclientutil
