#include <kxbase/text.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <limits>

namespace kxbase {

namespace {

using replacement = std::pair<std::string const, std::string>;

/// The longest key that the text begins with, or null.
replacement const* longest_key_at(std::string_view text, std::map<std::string, std::string> const& replacements) {
    // Of two keys that fit at one place the longer one comes later in the order of the map.
    auto const found = std::find_if(replacements.rbegin(), replacements.rend(), [text](replacement const& candidate) {
        return !candidate.first.empty() && text.starts_with(candidate.first);
    });
    return found != replacements.rend() ? &*found : nullptr;
}

unsigned int digit_value(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<unsigned int>(digit - '0');
    if (digit >= 'a' && digit <= 'z') return static_cast<unsigned int>(digit - 'a') + 10;
    if (digit >= 'A' && digit <= 'Z') return static_cast<unsigned int>(digit - 'A') + 10;
    return std::numeric_limits<unsigned int>::max();
}

} // namespace

std::string string_with_format(char const* format, ...) {
    std::array<char, 512> room{};
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(room.data(), room.size(), format, arguments);
    va_end(arguments);
    std::string text;
    if (length > 0) {
        auto const size = static_cast<std::size_t>(length);
        if (size < room.size()) {
            text.assign(room.data(), size);
        } else {
            text.resize(size);
            std::vsnprintf(text.data(), size + 1, format, again);
        }
    }
    va_end(again);
    return text;
}

std::string const& string_empty_string() noexcept {
    static std::string const empty;
    return empty;
}

std::string trimmed(std::string_view text, char ch) {
    std::size_t const first = text.find_first_not_of(ch);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(ch) - first + 1));
}

std::string string_to_uppercase(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

void strutil::tokenize_string(std::string_view text, char separator, std::vector<std::string>& out, bool keep_empty) {
    if (text.empty()) return;
    for (std::size_t begin = 0; begin <= text.size();) {
        std::size_t const end = std::min(text.find(separator, begin), text.size());
        if (keep_empty || end != begin) out.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

std::string strutil::string_replaced(std::string_view text, std::map<std::string, std::string> const& replacements) {
    std::array<bool, 256> begins_key{};
    for (auto const& [key, value] : replacements)
        if (!key.empty()) begins_key[static_cast<unsigned char>(key.front())] = true;

    std::string replaced;
    replaced.reserve(text.size());
    std::size_t at = 0;
    while (at < text.size()) {
        auto const* const found =
            begins_key[static_cast<unsigned char>(text[at])] ? longest_key_at(text.substr(at), replacements) : nullptr;
        if (found == nullptr) {
            ++at;
            continue;
        }
        replaced += text.substr(0, at);
        replaced += found->second;
        text.remove_prefix(at + found->first.size());
        at = 0;
    }
    replaced += text;
    return replaced;
}

unsigned int conv::string_to_uint(std::string_view text, unsigned int base) noexcept {
    constexpr unsigned int largest = std::numeric_limits<unsigned int>::max();
    if (base < 2 || base > 36) return 0;
    unsigned int number = 0;
    for (char const c : text) {
        unsigned int const digit = digit_value(c);
        if (digit >= base) break;
        if (number > (largest - digit) / base) return largest;
        number = number * base + digit;
    }
    return number;
}

} // namespace kxbase
