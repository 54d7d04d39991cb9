#include <kxbase/secret_names.h>

#include "percent.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace kxbase {

namespace {

constexpr std::array<std::string_view, 12> secret_words = {"password",      "passwd",    "passphrase", "passcode",
                                                           "secret",        "token",     "apikey",     "credential",
                                                           "authorization", "accesskey", "privatekey", "encryptionkey"};

constexpr std::array<std::string_view, 6> secret_parameters = {"auth", "key", "pass", "pw", "pwd", "sig"};

constexpr char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// What may stand between the letters of a word: no letter, no digit, nothing beyond ASCII, and nothing that ends the step
/// of a path.
constexpr bool is_separator(char c) {
    bool const is_letter = lower(c) >= 'a' && lower(c) <= 'z';
    bool const is_digit = c >= '0' && c <= '9';
    bool const ends_step = c == '{' || c == '}' || c == '[' || c == ']';
    return !is_letter && !is_digit && !ends_step && static_cast<unsigned char>(c) < 0x80;
}

bool begins_with(std::string_view name, std::string_view word) noexcept;
std::string letters_of(std::string_view name);

} // namespace

bool is_secret_name(std::string_view name) noexcept {
    for (; !name.empty(); name.remove_prefix(1)) {
        char const first = lower(name.front());
        if (std::any_of(secret_words.begin(), secret_words.end(),
                        [&](std::string_view word) { return word.front() == first && begins_with(name, word); }))
            return true;
    }
    return false;
}

bool is_secret_parameter(std::string_view name) {
    std::string const decoded = percent_decoded_wholly(name);
    if (is_secret_name(decoded)) return true;
    std::string const letters = letters_of(std::string_view(decoded).substr(0, decoded.find('[')));
    return letters.ends_with("signature") ||
           std::find(secret_parameters.begin(), secret_parameters.end(), letters) != secret_parameters.end();
}

bool tells_no_secret(std::string_view text) noexcept {
    return text.empty() || text.starts_with("kxvar:") || (text.size() > 2 && text.front() == '$' && text.back() == '$');
}

namespace {

/// Separators between the letters are passed over, those of a hostile name only as far as any honest one has them: each
/// byte is looked at a bounded number of times.
bool begins_with(std::string_view name, std::string_view word) noexcept {
    constexpr std::size_t most_separators = 8;
    std::size_t separators = 0;
    for (char const c : name) {
        if (word.empty()) break;
        if (lower(c) == word.front()) {
            word.remove_prefix(1);
        } else if (!is_separator(c) || ++separators > most_separators) {
            return false;
        }
    }
    return word.empty();
}

std::string letters_of(std::string_view name) {
    std::string letters;
    for (char const c : name)
        if (!is_separator(c)) letters += lower(c);
    return letters;
}

} // namespace

} // namespace kxbase
