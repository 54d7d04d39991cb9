#pragma once

/// @file
/// Passwords: from a file, from the environment or asked for at the terminal, and never from the command line, which any
/// user of the machine can read.

#include <map>
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

/// Who logs in where.
struct login {
    std::string user;
    std::string host;

    friend bool operator==(login const&, login const&) = default;
};

/// The passwords that are given to a run, by a file or by KX_PASSWORD. Each is read once and serves one login: it must not
/// reach another host because that stands on the same command line.
class given_passwords {
public:
    /// The first line of the file, else KX_PASSWORD; empty when there is neither.
    ///
    /// @throws es::arg when it serves another login already, es::call for a file that can't be read
    [[nodiscard]] std::optional<std::string> take(application& app, secret_source const& source, login const& whose);

private:
    struct password {
        std::optional<std::string> text;
        std::optional<login> owner = std::nullopt;
    };

    std::map<std::string, password> by_file_;
};

/// Gives a command the option --password-file.
void add_password_option(CLI::App& command, secret_source& source);

/// The first line of a file, or of a pipe of the shell, for a value that is kept off the command line. At most 4096 bytes.
///
/// @param what  what the file is, in errors: "password file"
/// @throws es::arg for a URL of another machine and for a longer line, es::call when it can't be read
[[nodiscard]] std::string first_line_of(std::string const& file, std::string_view what);

/// Warns when others can read a file with a password.
void warn_of_readers(application& app, std::string const& file);

/// The password that is given, else what is typed at the terminal, without an echo.
///
/// @throws es::arg when nobody can be asked, and what given_passwords::take() throws
[[nodiscard]] std::string read_password(application& app, secret_source const& source, login const& whose);

/// For a run in which nobody logs in.
///
/// @throws es::arg when a file was given all the same
void refuse_unused_password_file(secret_source const& source);

/// What is said of a password on the command line.
[[nodiscard]] std::string complaint_about_password();

} // namespace kx
