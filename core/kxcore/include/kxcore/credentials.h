#pragma once

/// @file
/// Credentials in trees: which leaves are one, which are shown to nobody, and the protected texts that wrapped ones carry.
/// Documents wrap fewer leaves than are hidden, since what they wrap is part of their form. Protection is
/// AES-256-GCM with a fresh nonce and the key of the key file that the process context names; the key is read for the
/// occasion and wiped afterwards, nothing keeps it.

#include <kxcore/export.h>
#include <kxcore/fwd.h>
#include <kxcore/property.h>

#include <string>
#include <string_view>

namespace kxcore::credentials {

/// What there is to protect in a leaf.
enum class e_content {
    none, ///< nothing
    url,  ///< a URL with a user or a password: `property_special::create_wrapped_urlupp` wraps it
    text, ///< the whole text: `property_special::create_wrapped_encrypted` wraps it
};

/// What has to be wrapped before a tree is written as a document, judged by the text of the leaf's path.
///
/// A string under a path that contains "url}" is a URL, and nothing unless it has a user or a password; any other
/// string under a path that contains "password}" is a text. These are plain substring tests, wherever they hit.
/// Everything else is nothing: other kinds of value, and what is wrapped already.
///
/// @param path the path of the leaf from the root of the document, as `visit_leaves` gives it
[[nodiscard]] KXCORE_EXPORT e_content content_to_wrap(std::string_view path, property const& value);

/// Whether there is something to protect in a URL: a user or a password.
[[nodiscard]] KXCORE_EXPORT bool holds_login(std::string_view url);

/// What a document stores of such a URL in the clear: all but the user and the password, byte for byte.
[[nodiscard]] KXCORE_EXPORT std::string without_login(std::string_view url);

/// Whether the value that stands at a path is secret as a whole: when a step of the path is called so
/// (`kxbase::is_secret_name`), any value but a bool, which tells too little, and a special, which shows no credential.
[[nodiscard]] KXCORE_EXPORT bool is_secret_at(std::string_view path, property const& value);

/// The tree as it may be shown: asterisks for what is secret by the name of its member or of one above it, whatever its
/// kind, and "***" for the secrets of URLs in texts (`kxbase::without_url_secrets`). Keys stay, and so does what is within
/// binaries and constraints. Takes time in proportion to the tree, and no stack.
[[nodiscard]] KXCORE_EXPORT properties without_secrets(properties const& tree);

/// The same for a part of a tree, which stands at a path there.
[[nodiscard]] KXCORE_EXPORT property_handle without_secrets(std::string_view path, property_handle const& value);

/// Whether a tree holds what must not lie in a file in the clear: what `without_secrets` changes, unless it is an empty
/// text or an empty binary; a URL with a user; a wrapped credential. It stops at the first.
[[nodiscard]] KXCORE_EXPORT bool holds_credentials(properties const& tree);

/// Protects the user and the password of a URL; the rest stays readable and is protected against changes. The key file
/// is made when it is missing.
///
/// @return a text that `unwrap_url` takes back to the same URL, byte for byte
/// @throws es::arg when there is no usable key file; es::call when it cannot be read or made
[[nodiscard]] KXCORE_EXPORT std::string wrap_url(std::string_view url);

/// Protects a text whole. The key file is made when it is missing.
///
/// @throws es::arg when there is no usable key file; es::call when it cannot be read or made
[[nodiscard]] KXCORE_EXPORT std::string wrap_text(std::string_view text);

/// Takes back what `wrap_url` protected.
///
/// @throws es::arg when the text is not a protected URL, was changed, or was protected with another key, and when there
///         is no usable key file; the message holds nothing of the text. es::call when the key file cannot be read
[[nodiscard]] KXCORE_EXPORT std::string unwrap_url(std::string_view protected_url);

/// Takes back what `wrap_text` protected. Errors as `unwrap_url`.
[[nodiscard]] KXCORE_EXPORT std::string unwrap_text(std::string_view protected_text);

/// The readable part of a protected URL: the URL without user and password. Needs no key, and does not check whether it
/// was changed; the empty text when it is not a protected URL.
[[nodiscard]] KXCORE_EXPORT std::string readable_url(std::string_view protected_url);

} // namespace kxcore::credentials
