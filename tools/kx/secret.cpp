#include "secret.h"

#include "application.h"
#include "arguments.h"
#include "interruption.h"
#include "shown.h"

#include <kxbase/errors.h>
#include <kxbase/url_parts.h>
#include <kxbase/urls.h>
#include <kxcore/ioutil.h>

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

std::string asked_password(std::string_view subject) {
    interruption signals;
    try {
        quiet_terminal const terminal;
        return terminal.ask("Password for " + on_one_line(subject) + ": ");
    } catch (interrupted const&) {
        signals.end_if_asked();
        kxbase::es::arg::raise("no password");
    }
}

// A pipe of the shell ("<(pass show mail)") is as good as a file.
std::string password_of(application& app, std::string const& file) {
    struct stat status = {};
    auto const url = kxbase::url_create_from_url_or_path(file, {});
    if (kxbase::url_scheme(url) != "file")
        kxbase::es::arg::raise("the password file " + shown(file) + " is no file of this machine");
    std::string const path = kxbase::url_path(url, true);
    bool const is_file = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    if (is_file && (status.st_mode & (S_IRGRP | S_IROTH)) != 0) app.tell_warning(file, "others can read this password");
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) kxbase::es::call::raise("cannot read the password file " + shown(file));
    constexpr std::size_t most = 4096;
    std::string content(most, '\0');
    std::size_t size = 0;
    ssize_t got = 0;
    while (size < most && (got = ::read(descriptor, content.data() + size, most - size)) > 0)
        size += static_cast<std::size_t>(got);
    ::close(descriptor);
    if (got < 0) kxbase::es::call::raise("cannot read the password file " + shown(file));
    content.resize(size);
    auto const end = content.find('\n');
    if (size == most && end == std::string::npos)
        kxbase::es::arg::raise("the password file " + shown(file) + " begins with a line of more than 4096 bytes");
    content.resize(std::min(end, size));
    if (content.ends_with('\r')) content.pop_back();
    return content;
}

std::string encoded(std::string_view password) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (char const ch : password) {
        auto const byte = static_cast<unsigned char>(ch);
        if (plain.find(ch) != std::string_view::npos)
            text += ch;
        else
            text += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
    return text;
}

bool has_user(std::string const& url) {
    return !kxbase::url_user(url, false).empty();
}

std::string with_password(std::string const& url, std::string_view password) {
    auto parts = kxbase::split_url(url);
    std::string authority(parts.authority);
    auto const end_of_user = authority.rfind('@');
    if (authority.find(':') == end_of_user - 1) authority.erase(end_of_user - 1, 1);
    authority.insert(authority.rfind('@'), ':' + encoded(password));
    parts.authority = authority;
    return kxbase::join_url(parts);
}

} // namespace

void add_password_option(CLI::App& command, secret_source& source) {
    command
        .add_option("--password-file", source.file,
                    "Take the password from the first line of a file; else it is KX_PASSWORD of the environment")
        ->type_name("FILE")
        ->check(refuse_empty);
}

std::optional<std::string> given_password(application& app, secret_source const& source) {
    if (!source.file.empty()) return password_of(app, source.file);
    char const* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody changes it
    if (value == nullptr) return std::nullopt;
    return value;
}

std::string read_password(application& app, secret_source const& source, std::string_view subject) {
    auto given = given_password(app, source);
    return given ? std::move(*given) : asked_password(subject);
}

std::vector<std::string> with_given_password(application& app, secret_source const& source,
                                             std::vector<std::string> urls) {
    auto const first = std::ranges::find_if(urls, has_user);
    if (first == urls.end()) {
        refuse_unused_password_file(source);
        return urls;
    }
    auto const password = given_password(app, source);
    if (!password || password->empty()) {
        if (!source.file.empty()) app.tell_warning(source.file, "there is no password in its first line");
        return urls;
    }
    auto const login = [](std::string const& url) {
        return std::pair(kxbase::url_user(url, true), kxbase::url_host(url, true));
    };
    if (std::any_of(first, urls.end(), [&](auto const& url) { return has_user(url) && login(url) != login(*first); }))
        kxbase::es::arg::raise("one password cannot serve two logins: the URLs differ in user or host");
    for (auto& url : urls)
        if (has_user(url)) url = with_password(url, *password);
    return urls;
}

void refuse_unused_password_file(secret_source const& source) {
    if (!source.file.empty())
        kxbase::es::arg::raise("the password file " + shown(source.file) + " is of no use: nobody logs in");
}

std::string refuse_password(std::string const& url) {
    if (!holds_password(url)) return "";
    return complaint_about_password() +
           "; write the URL without it and give it with --password-file or in the environment as KX_PASSWORD";
}

std::string refuse_password_here(std::string const& text) {
    return holds_password(text) ? complaint_about_password() : "";
}

std::string complaint_about_password() {
    return "a password does not belong on the command line";
}

// What a message would hide counts, but for a port with an '@' further on, and an empty password.
bool holds_password(std::string_view url) {
    if (kxbase::url_scheme(url).empty()) return false;
    if (!kxbase::url_password(url, false).empty()) return true;
    auto parts = kxbase::split_url(url);
    if (auto const user = parts.authority.rfind('@'); user != std::string_view::npos) {
        parts.authority.remove_prefix(user + 1);
        return holds_password(kxbase::join_url(parts));
    }
    if (kxbase::url_protected_output(url) == url) return false;
    auto const colon = parts.authority.rfind(':');
    auto const port = colon == std::string_view::npos ? std::string_view() : parts.authority.substr(colon + 1);
    return port.empty() || !std::ranges::all_of(port, [](char ch) { return ch >= '0' && ch <= '9'; });
}

} // namespace kx
