#pragma once

/// @file
/// Comparing and finding keys by their blocks: the first eight bytes decide most comparisons without touching the text.

#include <kxcore/property_key.h>

#include <bit>
#include <cstring>

namespace kxcore::detail {

/// The first eight bytes of a text as a big-endian number, zeros where it is shorter.
[[nodiscard]] inline std::uint64_t key_prefix(std::string_view text) noexcept {
    std::uint64_t prefix = 0;
    if (text.size() >= sizeof prefix) {
        std::memcpy(&prefix, text.data(), sizeof prefix);
    } else {
        // A loop over the few bytes beats a call of memcpy with a size that the compiler doesn't know.
        for (std::size_t index = 0; index < text.size(); ++index) {
            prefix |= std::uint64_t{static_cast<unsigned char>(text[index])} << (8 * index);
        }
    }
    return std::endian::native == std::endian::little || text.size() < sizeof prefix ? __builtin_bswap64(prefix)
                                                                                     : prefix;
}

/// As `property_key_fault`, with a limit that the caller has asked for already.
[[nodiscard]] std::string_view key_fault(std::string_view text, std::size_t longest_key) noexcept;

/// A text that is looked for.
struct key_probe {
    explicit key_probe(std::string_view wanted) noexcept : text(wanted), prefix(key_prefix(wanted)) {}

    std::string_view text;
    std::uint64_t prefix;
};

/// Negative, zero or positive as the block's text comes before, is, or comes after the one looked for.
[[nodiscard]] inline int compare(key_block const& block, key_probe const& probe) noexcept {
    if (block.prefix != probe.prefix) return block.prefix < probe.prefix ? -1 : 1;
    std::size_t const common = block.size < probe.text.size() ? block.size : probe.text.size();
    if (common > sizeof block.prefix) {
        int const order = std::memcmp(block.text() + sizeof block.prefix, probe.text.data() + sizeof block.prefix,
                                      common - sizeof block.prefix);
        if (order != 0) return order;
    }
    return block.size == probe.text.size() ? 0 : block.size < probe.text.size() ? -1 : 1;
}

[[nodiscard]] inline bool is_text_of(key_block const& block, std::string_view text) noexcept {
    return block.size == text.size() && std::memcmp(block.text(), text.data(), text.size()) == 0;
}

/// The same for a key, which may be the empty one.
[[nodiscard]] inline int compare_to_text(property_key const& key, key_probe const& probe) noexcept {
    key_block const* const block = key.get_block();
    if (block == nullptr) return probe.text.empty() ? 0 : -1;
    return compare(*block, probe);
}

/// As `compare`, of two keys.
[[nodiscard]] inline int compare(property_key const& left, property_key const& right) noexcept {
    key_block const* const left_block = left.get_block();
    key_block const* const right_block = right.get_block();
    if (left_block == right_block) return 0;
    if (left_block == nullptr) return -1;
    if (right_block == nullptr) return 1;
    if (left_block->prefix != right_block->prefix) return left_block->prefix < right_block->prefix ? -1 : 1;
    return left.text().compare(right.text());
}

} // namespace kxcore::detail
