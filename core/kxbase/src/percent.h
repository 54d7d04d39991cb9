#pragma once

// Percent-encoding of URL components, and its inverse that loses nothing.

#include <cstdint>
#include <string>
#include <string_view>

namespace kxbase {

enum class e_component : std::uint8_t {
    path,     ///< keeps '/'
    file,     ///< one element of a path
    query,    ///< keeps '=', '&' and well-formed %XX
    fragment, ///< all that stands behind the first '#'
    host,     ///< a name, or an address in brackets
};

/// The text with every byte that the component can't hold as %XX. What `percent_decoded` leaves encoded stays as it is.
[[nodiscard]] std::string percent_encoded(std::string_view text, e_component component);

/// The text with every %XX undone, but for those that encoding could not tell apart again: "%2F" in a path; "%26",
/// "%3D" and "%2B" in a query; and a '%' whose text behind it would then read as one of these, or, in a query, as any
/// %XX. Texts that mean different things stay different. A malformed '%' stands for itself.
[[nodiscard]] std::string percent_decoded(std::string_view text, e_component component);

/// Whether the component holds every character of the text as it is, and the text nothing encoded.
[[nodiscard]] bool is_percent_encoding_free(std::string_view text, e_component component) noexcept;

/// The text with every %XX undone, for what is only read: users, passwords, hosts.
[[nodiscard]] std::string percent_decoded_wholly(std::string_view text);

} // namespace kxbase
