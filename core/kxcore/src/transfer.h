#pragma once

// Files on other machines, by URL: ftp, http, https and smb. Every wait has a time-out, what is received is bounded while
// it is received, and errors show neither user nor password nor query.

#include <cstddef>
#include <string>
#include <string_view>

namespace kxcore::transfer {

/// Whether this can reach URLs of the scheme.
[[nodiscard]] bool knows_scheme(std::string_view scheme) noexcept;

/// Receives a whole file.
///
/// @throws es::arg naming the limit "document" when it is larger than `limit` bytes, before more is received; es::call
///         when the transfer fails, also by ending early; es::arg for a login that holds an end of line
[[nodiscard]] std::string receive(std::string_view url, std::size_t limit);

/// Receives the first bytes of a file and breaks off then.
/// @throws es::call when the transfer fails before
[[nodiscard]] std::string receive_prefix(std::string_view url, std::size_t size);

/// Sends a whole file; http and https with PUT.
/// @throws es::call when the transfer fails
void send(std::string_view url, std::string_view content);

} // namespace kxcore::transfer
