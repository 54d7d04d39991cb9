#pragma once

/// @file
/// Passwords in URLs: none comes from the command line, and the one that is given goes into the URL of the user that it
/// belongs to.

#include "secret.h"

#include <string>
#include <string_view>
#include <vector>

namespace kx {

/// The URLs and paths of a command line, in their order, with the password that is given, where they are URLs with a user.
/// It is not read at all for paths; nobody is asked.
///
/// @throws es::arg when URLs of two users or hosts would get the same password, and when there is a file for no user
[[nodiscard]] std::vector<std::string> with_given_password(application& app, secret_source const& source,
                                                           std::vector<std::string> urls);

/// A check for CLI::Option::check: a URL that is to get the given password has none on the command line.
/// @return the complaint; empty for a good value
[[nodiscard]] std::string refuse_password(std::string const& url);

/// The same for a URL that gets the password of the environment alone.
[[nodiscard]] std::string refuse_password_of_location(std::string const& url);

/// The same for a text that gets none.
[[nodiscard]] std::string refuse_password_here(std::string const& text);

/// Whether the text is a URL with a password, also one that was typed without its reserved characters encoded, or has
/// such a URL in it.
[[nodiscard]] bool holds_password(std::string_view text);

} // namespace kx
