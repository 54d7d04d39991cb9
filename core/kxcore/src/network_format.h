#pragma once

/// @file
/// The bytes of the network encoding, as docs/network-encoding.md describes them. Every value begins with a tag; the
/// common small ones are in the tag itself. Numbers are varints: seven bits a byte, the lowest first, the highest bit
/// set in all bytes but the last.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kxcore::network {

// Tags of their own.
inline constexpr unsigned int tag_false = 0x00;
inline constexpr unsigned int tag_true = 0x01;
inline constexpr unsigned int tag_text = 0x02;       ///< varint size, bytes of valid UTF-8
inline constexpr unsigned int tag_raw = 0x03;        ///< varint size, bytes that are not valid UTF-8
inline constexpr unsigned int tag_int = 0x04;        ///< varint of the zigzag form
inline constexpr unsigned int tag_binary = 0x05;     ///< varint size, bytes
inline constexpr unsigned int tag_properties = 0x06; ///< varint count, members
inline constexpr unsigned int tag_list = 0x07;       ///< varint count, values
inline constexpr unsigned int tag_special =
    0x08; ///< type, sub-type, kind of value: a byte each; the text as a string value
inline constexpr unsigned int tag_constraint = 0x09; ///< the tree form as a value

// Ranges of tags that hold a number below their size. A longer tag for such a number is not read.
inline constexpr unsigned int tag_short_text = 0x40;
inline constexpr unsigned int tag_short_int = 0x80;
inline constexpr unsigned int tag_short_properties = 0xC0;
inline constexpr unsigned int tag_short_list = 0xE0;
inline constexpr std::uint64_t short_texts = 64;
inline constexpr std::uint64_t short_ints = 64;
inline constexpr std::uint64_t short_properties = 32;
inline constexpr std::uint64_t short_lists = 32;

/// Before each member of a tree: the number of its key, counted from 1 in the order in which keys first come, or this
/// and then the size and bytes of a key that comes for the first time.
inline constexpr std::uint64_t new_key = 0;

inline constexpr std::size_t longest_varint = 10;

[[nodiscard]] constexpr std::uint64_t zigzag(std::int64_t value) noexcept {
    return (static_cast<std::uint64_t>(value) << 1U) ^ static_cast<std::uint64_t>(value >> 63);
}

[[nodiscard]] constexpr std::int64_t unzigzag(std::uint64_t value) noexcept {
    return static_cast<std::int64_t>((value >> 1U) ^ (~(value & 1U) + 1));
}

/// Whether all bytes are ASCII, which most texts are and which is quicker to tell than valid UTF-8.
[[nodiscard]] inline bool is_ascii(std::string_view text) noexcept {
    constexpr std::uint64_t high_bits = 0x8080'8080'8080'8080U;
    char const* at = text.data();
    std::size_t left = text.size();
    std::uint64_t seen = 0;
    for (; left >= sizeof seen; left -= sizeof seen, at += sizeof seen) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, sizeof word);
        seen |= word;
    }
    for (; left != 0; --left, ++at) {
        seen |= static_cast<unsigned char>(*at);
    }
    return (seen & high_bits) == 0;
}

/// Copies a short text and tells whether all of it is ASCII.
[[nodiscard]] inline bool copy_ascii(std::byte* to, std::string_view text) noexcept {
    constexpr std::uint64_t high_bits = 0x8080'8080'8080'8080U;
    constexpr std::size_t step = sizeof(std::uint64_t);
    char const* const from = text.data();
    std::size_t const size = text.size();
    std::uint64_t seen = 0;
    auto const copy_word = [&](std::size_t at) noexcept {
        std::uint64_t word = 0;
        std::memcpy(&word, from + at, step);
        std::memcpy(to + at, &word, step);
        seen |= word;
    };
    if (size >= step) {
        for (std::size_t at = 0; at + step < size; at += step) {
            copy_word(at);
        }
        // The last word may overlap the one before.
        copy_word(size - step);
    } else {
        for (std::size_t at = 0; at < size; ++at) {
            to[at] = static_cast<std::byte>(from[at]);
            seen |= static_cast<unsigned char>(from[at]);
        }
    }
    return (seen & high_bits) == 0;
}

} // namespace kxcore::network
