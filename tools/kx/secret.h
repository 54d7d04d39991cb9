#pragma once

/// @file
/// Passwords: from a file, from the environment or asked for at the terminal, and never from the command line, which any
/// user of the machine can read.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace kx {

class application;

/// Where the user says that the password is.
struct secret_source {
    std::string file;
};

/// Gives a command the option --password-file.
void add_password_option(CLI::App& command, secret_source& source);

/// The password: the first line of the file, else KX_PASSWORD, else what is typed at the terminal, without an echo.
///
/// @param subject whom the password is for, as the prompt says it
/// @throws es::arg when nobody can be asked, es::call for a file that can't be read
[[nodiscard]] std::string read_password(application& app, secret_source const& source, std::string_view subject);

/// The same without asking: empty when there is neither a file nor KX_PASSWORD.
[[nodiscard]] std::optional<std::string> given_password(application& app, secret_source const& source);

/// The URLs and paths of a command line, in their order, with the password that is given, where they are URLs with a user.
/// It is read once for all of them, and not at all for paths; nobody is asked.
///
/// @throws es::arg when URLs of two users or hosts would get the same password, and when there is a file for no user
[[nodiscard]] std::vector<std::string> with_given_password(application& app, secret_source const& source,
                                                           std::vector<std::string> urls);

/// For a run in which nobody logs in.
///
/// @throws es::arg when a file was given all the same
void refuse_unused_password_file(secret_source const& source);

/// A check for CLI::Option::check: a URL that is to get the given password has none on the command line.
/// @return the complaint; empty for a good value
[[nodiscard]] std::string refuse_password(std::string const& url);

/// The same for a text that gets none.
[[nodiscard]] std::string refuse_password_here(std::string const& text);

/// What is said of a password on the command line.
[[nodiscard]] std::string complaint_about_password();

/// Whether the text is a URL with a password, also one that was typed without its reserved characters encoded.
[[nodiscard]] bool holds_password(std::string_view url);

} // namespace kx
