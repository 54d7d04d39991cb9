#pragma once

// The inner syntax of URL components.

#include <string_view>

namespace kxbase {

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
