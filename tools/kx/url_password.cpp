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
