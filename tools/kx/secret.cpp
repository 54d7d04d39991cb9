#include "secret.h"

#include "application.h"
#include "arguments.h"
#include "interruption.h"
#include "shown.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace kx {
namespace {

constexpr char const* variable = "KX_PASSWORD";
constexpr std::string_view password_file = "password file";
constexpr std::string_view other_ways =
    "give it with --password-file, in the environment as KX_PASSWORD, or at a terminal when you are asked";

/// The terminal of the run, whatever its inputs and outputs are, with the echo off until it goes.
class quiet_terminal {
public:
    quiet_terminal();
    ~quiet_terminal();
    quiet_terminal(quiet_terminal const&) = delete;
    quiet_terminal& operator=(quiet_terminal const&) = delete;

    /// Writes the prompt and reads a line.
    ///
    /// @throws interrupted when a signal wants the run to end, es::arg when the line is not ended
    [[nodiscard]] std::string ask(std::string_view prompt) const;

private:
    [[nodiscard]] bool read_character(char& character) const;
    void write(std::string_view text) const;

    int terminal_;
    termios before_{};
};

quiet_terminal::quiet_terminal() : terminal_(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY)) {
    if (terminal_ < 0 || ::tcgetattr(terminal_, &before_) != 0) {
        if (terminal_ >= 0) ::close(terminal_);
        kxbase::es::arg::raise("no password: " + std::string(other_ways));
    }
    termios quiet = before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    quiet.c_lflag |= ICANON | ISIG | ECHONL;
    ::tcsetattr(terminal_, TCSAFLUSH, &quiet);
}

quiet_terminal::~quiet_terminal() {
    ::tcsetattr(terminal_, TCSAFLUSH, &before_);
    ::close(terminal_);
}

std::string quiet_terminal::ask(std::string_view prompt) const {
    write(prompt);
    std::string line;
    char character = 0;
    while (read_character(character)) {
        if (character == '\n') return line;
        line += character;
    }
    kxbase::es::arg::raise("no password was given");
}

// A wait, unlike a read, is ended by every signal; a short one also serves a signal that has come just before it.
bool quiet_terminal::read_character(char& character) const {
    for (;;) {
        pollfd waiting = {terminal_, POLLIN, 0};
        constexpr int moment_in_ms = 100;
        int const ready = ::poll(&waiting, 1, moment_in_ms);
        interruption::stop_if_asked();
        if (ready <= 0) continue;
        auto const size = ::read(terminal_, &character, 1);
        if (size < 0 && errno == EINTR) continue;
        return size == 1;
    }
}

void quiet_terminal::write(std::string_view text) const {
    while (!text.empty()) {
        auto const size = ::write(terminal_, text.data(), text.size());
        if (size < 0) return;
        text.remove_prefix(static_cast<std::size_t>(size));
    }
}

std::string in_words(login const& whose) {
    return on_one_line(whose.user + " at " + whose.host);
}

std::string asked_password(std::string_view subject) {
    interruption signals;
    try {
        quiet_terminal const terminal;
        return terminal.ask("Password for " + std::string(subject) + ": ");
    } catch (interrupted const&) {
        signals.end_if_asked();
        kxbase::es::arg::raise("no password");
    }
}

std::string path_of(std::string const& file, std::string_view what) {
    auto const url = kxbase::url_create_from_url_or_path(file, {});
    if (kxbase::url_scheme(url) != "file")
        kxbase::es::arg::raise("the " + std::string(what) + " " + shown(file) + " is no file of this machine");
    return kxbase::url_path(url, true);
}

std::optional<std::string> given_password(application& app, secret_source const& source) {
    if (!source.file.empty()) {
        warn_of_readers(app, source.file);
        return first_line_of(source.file, password_file);
    }
    char const* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody changes it
    if (value == nullptr) return std::nullopt;
    return value;
}

} // namespace

void add_password_option(CLI::App& command, secret_source& source) {
    command
        .add_option("--password-file", source.file,
                    "Take the password from the first line of a file; else it is KX_PASSWORD of the environment")
        ->type_name("FILE")
        ->check(refuse_empty);
}

// A pipe of the shell ("<(pass show mail)") is as good as a file.
std::string first_line_of(std::string const& file, std::string_view what) {
    std::string const the_file = "the " + std::string(what) + " " + shown(file);
    int const descriptor = ::open(path_of(file, what).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) kxbase::es::call::raise("cannot read " + the_file);
    constexpr std::size_t most = 4096;
    std::string content(most, '\0');
    std::size_t size = 0;
    ssize_t got = 0;
    while (size < most && (got = ::read(descriptor, content.data() + size, most - size)) > 0)
        size += static_cast<std::size_t>(got);
    ::close(descriptor);
    if (got < 0) kxbase::es::call::raise("cannot read " + the_file);
    content.resize(size);
    auto const end = content.find('\n');
    if (size == most && end == std::string::npos)
        kxbase::es::arg::raise(the_file + " begins with a line of more than 4096 bytes");
    content.resize(std::min(end, size));
    if (content.ends_with('\r')) content.pop_back();
    return content;
}

void warn_of_readers(application& app, std::string const& file) {
    struct stat status = {};
    bool const is_file = ::stat(path_of(file, password_file).c_str(), &status) == 0 && S_ISREG(status.st_mode);
    if (is_file && (status.st_mode & (S_IRGRP | S_IROTH)) != 0) app.tell_warning(file, "others can read this password");
}

std::optional<std::string> given_passwords::take(application& app, secret_source const& source, login const& whose) {
    auto known = by_file_.find(source.file);
    if (known == by_file_.end()) known = by_file_.emplace(source.file, password{given_password(app, source)}).first;
    auto& [text, owner] = known->second;
    if (!text || text->empty()) return text;
    if (owner && *owner != whose) {
        kxbase::es::arg::raise("one password cannot serve two logins, " + in_words(*owner) + " and " + in_words(whose));
    }
    owner = whose;
    return text;
}

std::string read_password(application& app, secret_source const& source, login const& whose) {
    auto given = app.passwords.take(app, source, whose);
    return given ? std::move(*given) : asked_password(in_words(whose));
}

void refuse_unused_password_file(secret_source const& source) {
    if (!source.file.empty())
        kxbase::es::arg::raise("the password file " + shown(source.file) + " is of no use: nobody logs in");
}

std::string complaint_about_password() {
    return "a password does not belong on the command line";
}

} // namespace kx
