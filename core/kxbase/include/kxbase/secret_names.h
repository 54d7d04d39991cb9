#pragma once

/// @file
/// What is a secret, judged by what it is called: the one rule for everything that is shown, logged or lies in a file. It
/// knows names, not contents: a secret under an innocent name is none for it.

#include <kxbase/export.h>

#include <string_view>

namespace kxbase {

/// Whether something of that name holds a secret: a member, a variable, a setting. A property path is one, too, when it
/// has a step of such a name: what is in a secret is secret.
///
/// That is a name with one of these in it: password, passwd, passphrase, passcode, secret, token, credential,
/// authorization, api-key, access-key, private-key, encryption-key. Case does not count, nor do up to eight ASCII
/// characters between the letters that are no letter, digit, bracket or brace. So "smtp-password", "API_TOKEN",
/// "passPhrase" and "clients[0]{secret}" are, and "author", "keywords", "two-pass" and "key-url" are not; "token-count"
/// and "secretary" are, which is on the safe side.
[[nodiscard]] KXBASE_EXPORT bool is_secret_name(std::string_view name) noexcept;

/// Whether the parameter of a URL that is called so holds a secret: `is_secret_name`, or one of the short names that mean
/// one there, as a whole (auth, key, pass, pw, pwd, sig), or one that ends in "signature".
///
/// @param name as it stands in the URL, percent-encoded
[[nodiscard]] KXBASE_EXPORT bool is_secret_parameter(std::string_view name);

/// Whether a text under the name of a secret tells nothing of it: an empty one, and a variable that the secret is to come
/// from ("$encoder.name$", "kxvar:/#uuid").
[[nodiscard]] KXBASE_EXPORT bool tells_no_secret(std::string_view text) noexcept;

} // namespace kxbase
