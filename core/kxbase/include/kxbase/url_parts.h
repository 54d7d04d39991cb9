#pragma once

/// @file
/// A URL taken apart and put together again, for who looks at several of its components or changes several: the
/// functions of urls.h take it apart each time. The rules are those of urls.h.

#include <kxbase/export.h>

#include <string>
#include <string_view>

namespace kxbase {

/// Views into a URL (RFC 3986, appendix B). A text without a scheme is a path, whatever it holds. The components are
/// as the URL has them, percent-encoded; changing one is a matter of assigning it, and of the flag that says whether it
/// is there at all.
struct url_parts {
    std::string_view scheme; ///< without its ':'; empty for a path
    std::string_view authority;
    std::string_view path;
    std::string_view query;
    std::string_view fragment;
    bool has_authority = false; ///< whether there is a "//", with something behind it or not
    bool has_query = false;     ///< whether there is a '?'
    bool has_fragment = false;  ///< whether there is a '#'

    [[nodiscard]] bool is_url() const noexcept { return !scheme.empty(); }
};

/// The parts of a text, which has to stay as it is while they are used.
[[nodiscard]] KXBASE_EXPORT url_parts split_url(std::string_view text) noexcept;

/// The text of the parts; `join_url(split_url(text)) == text`. The path has to fit them; see `fit_path`.
[[nodiscard]] KXBASE_EXPORT std::string join_url(url_parts const& parts);

/// The path as `url_path(url, true)` gives it.
[[nodiscard]] KXBASE_EXPORT std::string decoded_path(url_parts const& parts);

/// A path and a fragment as they stand in a URL: what they cannot hold is percent-encoded.
[[nodiscard]] KXBASE_EXPORT std::string encoded_path(std::string_view path);
[[nodiscard]] KXBASE_EXPORT std::string encoded_fragment(std::string_view fragment);

/// Whether a path is, at first sight, what decoding, `path_normalized` and encoding together make of it, as most are:
/// it holds nothing encoded and nothing to be, no doubled separator and no element that begins with a dot.
[[nodiscard]] KXBASE_EXPORT bool is_settled_path(std::string_view path) noexcept;

/// Changes a path so that in a URL of these parts it neither becomes an authority nor runs into one: "//" at its head
/// is folded where there is no authority, and it gets a leading '/' where there is one.
KXBASE_EXPORT void fit_path(url_parts const& parts, std::string& path);

} // namespace kxbase
