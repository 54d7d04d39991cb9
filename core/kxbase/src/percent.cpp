#include "percent.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

namespace kxbase {

namespace {

constexpr std::string_view hex_digits = "0123456789ABCDEF";
constexpr std::string_view letters_and_digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view marks = "-._~"
                                   "!$&'()*+,;="; // unreserved marks, and delimiters that delimit nothing of ours

/// The characters that a component holds as they are, beside letters, digits and marks.
struct component_rule {
    e_component component;
    std::string_view more;
};

constexpr std::array<component_rule, 5> rules = {{
    {e_component::path, ":@/"},
    {e_component::file, ":@"},
    {e_component::query, ":@/?"},
    {e_component::fragment, ":@/?"},
    {e_component::host, ""},
}};

using byte_set = std::array<bool, 256>;

constexpr byte_set make_held(std::string_view more) {
    byte_set held{};
    for (std::string_view const part : {letters_and_digits, marks, more})
        for (char const c : part)
            held[static_cast<unsigned char>(c)] = true;
    return held;
}

constexpr std::array<byte_set, rules.size()> make_held_sets() {
    std::array<byte_set, rules.size()> sets{};
    for (component_rule const& rule : rules)
        sets[static_cast<std::size_t>(rule.component)] = make_held(rule.more);
    return sets;
}

constexpr auto held_sets = make_held_sets();
constexpr byte_set held_in_address = make_held(":[]");

byte_set const& held_in(std::string_view text, e_component component);
std::size_t kept_length(std::string_view text, e_component component);
std::size_t encoded_slash_length(std::string_view text);
bool stays_encoded(char c, e_component component);
std::optional<char> encoded_character(std::string_view text);
std::optional<unsigned int> hex_value(char digit);

void append_encoded(char c, std::string& out) {
    auto const byte = static_cast<unsigned char>(c);
    out += '%';
    out += hex_digits[byte >> 4];
    out += hex_digits[byte & 0x0f];
}

} // namespace

std::string percent_encoded(std::string_view text, e_component component) {
    byte_set const& held = held_in(text, component);
    std::string encoded;
    encoded.reserve(text.size());
    while (!text.empty()) {
        auto const* const end =
            std::find_if(text.begin(), text.end(), [&held](char c) { return !held[static_cast<unsigned char>(c)]; });
        encoded.append(text.begin(), end);
        text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
        if (text.empty()) break;
        std::size_t const kept = kept_length(text, component);
        if (kept != 0)
            encoded += text.substr(0, kept);
        else
            append_encoded(text.front(), encoded);
        text.remove_prefix(std::max<std::size_t>(kept, 1));
    }
    return encoded;
}

std::string percent_decoded(std::string_view text, e_component component) {
    if (text.find('%') == std::string_view::npos) return std::string(text);
    // From the end, since whether a '%' stays encoded depends on the decoded text behind it. `decoded` ends with that
    // text's beginning, at every step, and is turned round at last.
    std::string decoded;
    decoded.reserve(text.size());
    auto const mistaken = [&] {
        std::array<char, 2> behind{};
        if (decoded.size() < 2) return false;
        if (component == e_component::query) {
            behind = {decoded[decoded.size() - 1], decoded[decoded.size() - 2]};
            return hex_value(behind[0]) && hex_value(behind[1]);
        }
        if (component != e_component::path && component != e_component::file) return false;
        std::size_t at = decoded.size();
        while (at >= 2 && decoded[at - 1] == '2' && decoded[at - 2] == '5')
            at -= 2;
        return at >= 2 && decoded[at - 1] == '2' && (decoded[at - 2] == 'F' || decoded[at - 2] == 'f');
    };
    auto const put_before = [&](std::string_view piece) { decoded.append(piece.rbegin(), piece.rend()); };

    while (!text.empty()) {
        std::string_view const last = text.substr(text.size() - std::min<std::size_t>(text.size(), 3));
        std::optional<char> const encoded = encoded_character(last);
        char const c = encoded ? *encoded : text.back();
        std::size_t const length = encoded ? last.size() : 1;
        if (encoded && stays_encoded(c, component))
            put_before(last);
        else if (c == '%' && mistaken())
            put_before("%25");
        else
            decoded += c;
        text.remove_suffix(length);
    }
    std::reverse(decoded.begin(), decoded.end());
    return decoded;
}

bool is_percent_encoding_free(std::string_view text, e_component component) noexcept {
    byte_set const& held = held_in(text, component);
    return std::all_of(text.begin(), text.end(), [&held](char c) { return held[static_cast<unsigned char>(c)]; });
}

std::string percent_decoded_wholly(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    while (!text.empty()) {
        std::optional<char> const encoded = encoded_character(text.substr(0, 3));
        decoded += encoded ? *encoded : text.front();
        text.remove_prefix(encoded ? 3 : 1);
    }
    return decoded;
}

namespace {

byte_set const& held_in(std::string_view text, e_component component) {
    if (component == e_component::host && text.starts_with('[') && text.ends_with(']')) return held_in_address;
    return held_sets[static_cast<std::size_t>(component)];
}

/// The length of what `percent_decoded` left encoded at the text's beginning, or 0.
std::size_t kept_length(std::string_view text, e_component component) {
    switch (component) {
    case e_component::path:
    case e_component::file: return encoded_slash_length(text);
    case e_component::query: return encoded_character(text.substr(0, 3)) ? 3 : 0;
    default: return 0;
    }
}

/// "%2F", or "%25" and any number of "25" before a "2F": the forms in which a slash, or the text of one, stays encoded.
std::size_t encoded_slash_length(std::string_view text) {
    if (!text.starts_with('%')) return 0;
    std::size_t at = 1;
    while (text.substr(at, 2) == "25")
        at += 2;
    std::string_view const slash = text.substr(at, 2);
    return slash == "2F" || slash == "2f" ? at + 2 : 0;
}

bool stays_encoded(char c, e_component component) {
    switch (component) {
    case e_component::path:
    case e_component::file: return c == '/';
    case e_component::query: return c == '&' || c == '=' || c == '+';
    default: return false;
    }
}

/// What a text of the form %XX stands for.
std::optional<char> encoded_character(std::string_view text) {
    if (text.size() != 3 || text[0] != '%') return std::nullopt;
    auto const high = hex_value(text[1]);
    auto const low = hex_value(text[2]);
    if (!high || !low) return std::nullopt;
    return static_cast<char>(static_cast<unsigned char>(*high * 16 + *low));
}

std::optional<unsigned int> hex_value(char digit) {
    char const upper = digit >= 'a' && digit <= 'f' ? static_cast<char>(digit - 'a' + 'A') : digit;
    std::size_t const value = hex_digits.find(upper);
    if (value == std::string_view::npos) return std::nullopt;
    return static_cast<unsigned int>(value);
}

} // namespace

} // namespace kxbase
