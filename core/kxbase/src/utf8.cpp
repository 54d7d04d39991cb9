#include <kxbase/utf8.h>

#include "utf8_character.h"

#include <cstdint>
#include <cstring>

namespace kxbase {

namespace {

constexpr std::size_t word = sizeof(std::uint64_t);
constexpr std::size_t block = 2 * word;

std::uint64_t high_bits(char const* bytes) noexcept {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes, word);
    return value & 0x8080808080808080u;
}

bool is_ascii_block(char const* bytes) noexcept {
    return (high_bits(bytes) | high_bits(bytes + word)) == 0;
}

/// Whether the last bytes of a text, less than a block of which are left, are ASCII; false where it takes too long to
/// say. Looks at some bytes twice rather than at each alone.
bool ends_in_ascii(std::string_view text) noexcept {
    char const* const end = text.data() + text.size();
    if (text.size() >= block) return is_ascii_block(end - block);
    return text.size() >= word && (high_bits(text.data()) | high_bits(end - word)) == 0;
}

} // namespace

bool is_valid_utf8(std::string_view text) noexcept {
    return valid_utf8_prefix(text) == text.size();
}

std::size_t valid_utf8_prefix(std::string_view text) noexcept {
    std::size_t at = 0;
    while (at < text.size()) {
        // Most texts are ASCII from end to end.
        while (text.size() - at >= block && is_ascii_block(text.data() + at))
            at += block;
        if (text.size() - at < block && ends_in_ascii(text)) return text.size();
        // Up to the next block boundary one by one, so that a single accent does not slow down all that follows.
        for (std::size_t const end = at + block; at < end && at < text.size();) {
            char32_t character = 0;
            std::size_t const length = utf8_character(text.substr(at), character);
            if (length == 0) return at;
            at += length;
        }
    }
    return at;
}

} // namespace kxbase
