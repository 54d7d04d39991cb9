#pragma once

// The user information of a URL ("user:password@"), taken out and put back byte for byte. Nothing is decoded, and what
// is no URL with an authority has none.

#include <string>
#include <string_view>

namespace kxcore {

struct url_without_user_info {
    std::string readable;
    /// With the '@' that ends it; empty when there is none.
    std::string user_info;
};

[[nodiscard]] url_without_user_info without_user_info(std::string_view url);

/// The inverse: `readable` must be what without_user_info() gave.
[[nodiscard]] std::string with_user_info(std::string_view readable, std::string_view user_info);

/// The URL for messages: without user information, query and fragment, all of which may hold secrets.
[[nodiscard]] std::string url_for_messages(std::string_view url);

} // namespace kxcore
