#include "url_password.h"

#include "application.h"

#include <kxbase/url_parts.h>
#include <kxbase/urls.h>

#include <algorithm>

namespace kx {
namespace {

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

// The authority of a URL and all behind it, where a password with reserved characters would go on.
bool is_password_before(std::string_view server, std::string_view rest) {
    auto const colon = server.rfind(':');
    if (colon == std::string_view::npos || server.ends_with(']') || rest.find('@') == std::string_view::npos)
        return false;
    auto const port = server.substr(colon + 1);
    return port.empty() || !std::ranges::all_of(port, [](char ch) { return ch >= '0' && ch <= '9'; });
}

// That of any URL in it: one may be a parameter of another.
bool has_password(std::string_view text) {
    constexpr std::string_view mark = "://";
    for (auto at = text.find(mark); at != std::string_view::npos; at = text.find(mark, at)) {
        at += mark.size();
        auto const end = std::min(text.find_first_of("/?#", at), text.size());
        auto server = text.substr(at, end - at);
        auto const host = server.rfind('@') + 1;
        auto const colon = server.substr(0, host).find(':');
        if (colon != std::string_view::npos && colon + 2 != host) return true;
        server.remove_prefix(host);
        if (is_password_before(server, text.substr(end))) return true;
    }
    return false;
}

} // namespace

std::vector<std::string> with_given_password(application& app, secret_source const& source,
                                             std::vector<std::string> urls) {
    if (std::ranges::none_of(urls, has_user)) {
        refuse_unused_password_file(source);
        return urls;
    }
    bool is_given = false;
    for (auto& url : urls) {
        if (!has_user(url)) continue;
        auto const password =
            app.passwords.take(app, source, {kxbase::url_user(url, true), kxbase::url_host(url, true)});
        if (!password || password->empty()) continue;
        url = with_password(url, *password);
        is_given = true;
    }
    if (!is_given && !source.file.empty()) app.tell_warning(source.file, "there is no password in its first line");
    return urls;
}

std::string refuse_password(std::string const& url) {
    if (!holds_password(url)) return "";
    return complaint_about_password() +
           "; write the URL without it and give it with --password-file or in the environment as KX_PASSWORD";
}

std::string refuse_password_of_location(std::string const& url) {
    if (!holds_password(url)) return "";
    return complaint_about_password() + "; write the URL without it and give it in the environment as KX_PASSWORD";
}

std::string refuse_password_here(std::string const& text) {
    return holds_password(text) ? complaint_about_password() : "";
}

// What a message would hide counts, but for a port with an '@' further on, an empty password, and the secrets of queries:
// a source may have no other URL.
bool holds_password(std::string_view text) {
    if (kxbase::split_url(text).has_authority) return has_password(text);
    constexpr std::string_view ends = " \t\r\n\"'<>";
    while (!text.empty()) {
        auto const size = std::min(text.find_first_of(ends), text.size());
        if (has_password(text.substr(0, size))) return true;
        text.remove_prefix(std::min(size + 1, text.size()));
    }
    return false;
}

} // namespace kx
