// The protected texts of wrapped credentials: AES-256-GCM with a fresh nonce and the key of the
// key file that the process context names. The key is read for the occasion and wiped afterwards;
// nothing keeps it.
#pragma once

#include <kxcore/export.h>

#include <string>
#include <string_view>

namespace kxbase {
class buffer;
}

namespace kxcore::credentials {

/// Protects the user and the password of a URL; the rest stays readable and is protected against
/// changes. The key file is made when it is missing.
///
/// @return a text that `unwrap_url` takes back to the same URL, byte for byte
/// @throws es::arg when there is no usable key file; es::call when it cannot be read or made
[[nodiscard]] KXCORE_EXPORT std::string wrap_url(std::string_view url);

/// Protects a text whole. The key file is made when it is missing. Errors as wrap_url.
[[nodiscard]] KXCORE_EXPORT std::string wrap_text(std::string_view text);

/// Takes back what wrap_url or wrap_text protected.
///
/// @throws es::arg when the text is not a protected one, was changed, or was protected with
///         another key or by the other function; the message holds nothing of it
[[nodiscard]] KXCORE_EXPORT std::string unwrap_url(std::string_view protected_url);
[[nodiscard]] KXCORE_EXPORT std::string unwrap_text(std::string_view protected_text);

/// The readable part of a protected URL: the URL without user and password. Needs no key; the
/// empty text when it is not a protected URL. Whether it was changed is not checked.
[[nodiscard]] KXCORE_EXPORT std::string readable_url(std::string_view protected_url);

} // namespace kxcore::credentials
