#pragma once

// A URL taken apart and put together again.

#include <string>
#include <string_view>

namespace kxbase {

/// Views into a URL (RFC 3986, appendix B). Joining the parts of a text gives that text. One without a scheme is a
/// path, whatever it holds.
struct url_parts {
    std::string_view scheme; ///< empty for a path
    std::string_view authority;
    std::string_view path;
    std::string_view query;
    std::string_view fragment;
    bool has_authority = false; ///< whether there is a "//", with something behind it or not
    bool has_query = false;     ///< whether there is a '?'
    bool has_fragment = false;  ///< whether there is a '#'

    [[nodiscard]] bool is_url() const noexcept { return !scheme.empty(); }
};

[[nodiscard]] url_parts split_url(std::string_view text) noexcept;
[[nodiscard]] std::string join_url(url_parts const& parts);

/// An authority taken apart: `[user [":" password] "@"] host [":" port]`.
struct authority_parts {
    std::string_view userinfo; ///< with its '@'
    std::string_view user;
    std::string_view password;
    std::string_view host;
    std::string_view port; ///< with its ':'
};

[[nodiscard]] authority_parts split_authority(std::string_view authority) noexcept;

/// Whether the text can stand before the ':' of a URL. A single letter can't: it is a drive letter.
[[nodiscard]] bool is_scheme(std::string_view text) noexcept;

} // namespace kxbase
