#include <kxbase/utf8.h>

#include "utf8_character.h"

#include <cstdint>
#include <cstring>

namespace kxbase {

namespace {

constexpr std::uint64_t high_bits = 0x8080808080808080u;

bool is_ascii_block(char const* block) noexcept {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    std::memcpy(&low, block, sizeof low);
    std::memcpy(&high, block + sizeof low, sizeof high);
    return ((low | high) & high_bits) == 0;
}

} // namespace

bool is_valid_utf8(std::string_view text) noexcept {
    return valid_utf8_prefix(text) == text.size();
}

std::size_t valid_utf8_prefix(std::string_view text) noexcept {
    constexpr std::size_t block = 2 * sizeof(std::uint64_t);
    std::size_t at = 0;
    while (at < text.size()) {
        // Most texts are ASCII from end to end.
        while (text.size() - at >= block && is_ascii_block(text.data() + at))
            at += block;
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
