// URLs as they are shown: without what is secret in them.

#include <kxbase/secret_names.h>
#include <kxbase/url_parts.h>
#include <kxbase/urls.h>

#include <algorithm>
#include <cstddef>

namespace kxbase {

namespace {

constexpr std::string_view mask = "***";
constexpr std::string_view blanks = " \t\r\n";

bool may_hold_url_secret(std::string_view text);
std::string_view one_line_of(std::string_view text);
bool is_url_whole(std::string_view line);
std::string words_without_secrets(std::string_view text);
void append_without_password(std::string_view text, std::size_t slashes, std::string& out);
void append_without_secret_parameters(std::string_view text, std::string& out);
void append_word(std::string_view word, std::string& out);
std::size_t slashes_of_password(std::string_view word);

} // namespace

std::string url_protected_output(std::string_view url) {
    // Also for a text that lost its scheme, or has one that is none: what looks like a password is not shown.
    std::size_t const slashes = url.find("//");
    std::string without_password;
    append_without_password(url, slashes, without_password);
    if (slashes == std::string_view::npos && !split_url(url).is_url()) return without_password;
    std::string safe;
    append_without_secret_parameters(without_password, safe);
    return words_without_secrets(safe);
}

std::string without_url_secrets(std::string_view text) {
    if (!may_hold_url_secret(text)) return std::string(text);
    std::string_view const line = one_line_of(text);
    if (!split_url(line).is_url()) return words_without_secrets(text);
    if (is_url_whole(line)) return url_protected_output(text);
    std::string safe;
    append_without_secret_parameters(text, safe);
    return words_without_secrets(safe);
}

namespace {

/// Nearly no text may.
bool may_hold_url_secret(std::string_view text) {
    return text.find("//") != std::string_view::npos || text.find_first_of("?#") != std::string_view::npos;
}

/// Without the blanks around it; empty when it has several lines. A password may hold a blank, a line end none.
std::string_view one_line_of(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    return text.find_first_of("\r\n") == std::string_view::npos ? text : std::string_view();
}

/// "Note: see http://host:80/ and write to me@example.com" begins with what could be a scheme, and is a sentence: only an
/// authority, or that there is no blank at all, tells a URL.
bool is_url_whole(std::string_view line) {
    return split_url(line).has_authority || line.find_first_of(blanks) == std::string_view::npos;
}

std::string words_without_secrets(std::string_view text) {
    constexpr std::string_view ends = " \t\r\n\"'<>";
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        std::size_t const size = std::min(text.find_first_of(ends), text.size());
        append_word(text.substr(0, size), out);
        text.remove_prefix(size);
        std::size_t const between = std::min(text.find_first_not_of(ends), text.size());
        out += text.substr(0, between);
        text.remove_prefix(between);
    }
    return out;
}

/// Where a password was typed with an '@', '/', '?' or '#' in it, nothing tells its end but the last '@' of all; better to
/// hide too much.
void append_without_password(std::string_view text, std::size_t slashes, std::string& out) {
    std::size_t const colon = slashes == std::string_view::npos ? slashes : text.find_first_of(":/?#", slashes + 2);
    std::size_t const at = text.rfind('@');
    bool const has_password =
        colon != std::string_view::npos && text[colon] == ':' && at != std::string_view::npos && at > colon;
    if (!has_password) {
        out += text;
        return;
    }
    out += text.substr(0, colon + 1);
    out += mask;
    out += text.substr(at);
}

void append_without_secret_parameters(std::string_view text, std::string& out) {
    constexpr std::string_view begins = "?#&;";
    std::size_t at = std::min(text.find_first_of("?#"), text.size());
    out += text.substr(0, at);
    while (at < text.size()) {
        std::size_t const name = at + 1;
        std::size_t const sign = std::min(text.find_first_of("=?#&;", name), text.size());
        std::size_t next = sign;
        out += text.substr(at, sign - at);
        if (sign < text.size() && text[sign] == '=') {
            out += '=';
            std::size_t const value = sign + 1;
            bool const is_secret = is_secret_parameter(text.substr(name, sign - name));
            next = std::min(text.find_first_of(is_secret ? "&#" : begins, value), text.size());
            out += is_secret && next != value ? mask : text.substr(value, next - value);
        }
        at = next;
    }
}

/// A text without blanks, in which a URL may begin anywhere.
void append_word(std::string_view word, std::string& out) {
    if (word.find("://") == std::string_view::npos) {
        out += word;
        return;
    }
    std::string without_password;
    append_without_password(word, slashes_of_password(word), without_password);
    std::size_t const rest = without_password.find("://");
    out += without_password.substr(0, rest);
    append_without_secret_parameters(std::string_view(without_password).substr(rest), out);
}

/// The slashes before the first authority with a ':' in it.
std::size_t slashes_of_password(std::string_view word) {
    for (std::size_t at = word.find("://"); at != std::string_view::npos; at = word.find("://", at + 3)) {
        std::size_t const colon = word.find_first_of(":/?#", at + 3);
        if (colon != std::string_view::npos && word[colon] == ':') return at + 1;
    }
    return std::string_view::npos;
}

} // namespace

} // namespace kxbase
