#pragma once

/// @file
/// Passwords: from a file, from the environment or asked for at the terminal, and never from the command line, which any
/// user of the machine can read.

#include <optional>
#include <string>
#include <string_view>

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

/// A URL or path of the command line with the password that is given, where it is a URL with a user. Nobody is asked.
[[nodiscard]] std::string with_given_password(application& app, secret_source const& source, std::string const& url);

/// A check for CLI::Option::check: no URL of the command line has a password.
/// @return the complaint; empty for a good value
[[nodiscard]] std::string refuse_password(std::string const& url);

/// What is said of a password on the command line.
[[nodiscard]] std::string complaint_about_password();

/// Whether the text is a URL with a password, also one that was typed without its reserved characters encoded.
[[nodiscard]] bool holds_password(std::string_view url);

} // namespace kx
