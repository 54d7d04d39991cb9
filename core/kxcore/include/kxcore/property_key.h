#pragma once

/// @file
/// The text of a key. The same few hundred words are the keys of every document, so their texts are kept once for the
/// whole process and a key is one pointer; a bound keeps foreign documents from filling memory with keys that stay.

#include <kxcore/export.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kxcore {

namespace detail {

/// What a key points to; its text follows.
struct key_block {
    /// The first eight bytes of the text as a big-endian number, zeros where it is shorter: decides most comparisons.
    std::uint64_t prefix;
    std::uint32_t size;
    /// A block of the table: its number, from 0. A counted block: the number of references.
    std::uint32_t number_or_references;

    [[nodiscard]] char const* text() const noexcept { return reinterpret_cast<char const*>(this + 1); }
};

} // namespace detail

/// A key: the size of a pointer, cheap to copy, its text valid as long as any copy. Safe on all threads.
///
/// Texts within the bound of the process-wide table stay for the life of the process and are not counted; those beyond
/// it, and long ones, live as long as their keys.
class KXCORE_EXPORT property_key {
public:
    /// The empty key.
    property_key() noexcept = default;

    /// The key of that text.
    ///
    /// @throws es::arg when the text is longer than 1 GiB
    explicit property_key(std::string_view text);

    property_key(property_key const& other) noexcept : bits_(other.bits_) {
        if (is_counted()) retain();
    }
    property_key(property_key&& other) noexcept : bits_(other.bits_) { other.bits_ = 0; }
    property_key& operator=(property_key const& other) noexcept {
        property_key copy(other);
        return *this = static_cast<property_key&&>(copy);
    }
    property_key& operator=(property_key&& other) noexcept {
        std::uintptr_t const bits = bits_;
        bits_ = other.bits_;
        other.bits_ = bits;
        return *this;
    }
    ~property_key() {
        if (is_counted()) release();
    }

    /// Valid as long as any copy of the key.
    [[nodiscard]] std::string_view text() const noexcept {
        detail::key_block const* const block = get_block();
        return block == nullptr ? std::string_view() : std::string_view(block->text(), block->size);
    }

    [[nodiscard]] friend bool operator==(property_key const& left, property_key const& right) noexcept {
        return left.bits_ == right.bits_ || left.text() == right.text();
    }
    [[nodiscard]] friend std::strong_ordering operator<=>(property_key const& left,
                                                          property_key const& right) noexcept {
        return left.bits_ == right.bits_ ? std::strong_ordering::equal : left.text() <=> right.text();
    }

    /// Whether the text lies in the process-wide table.
    [[nodiscard]] bool is_shared() const noexcept { return bits_ != 0 && !is_counted(); }

    /// The block that holds the text; null for the empty key. For the model itself.
    [[nodiscard]] detail::key_block const* get_block() const noexcept {
        return reinterpret_cast<detail::key_block const*>(bits_ & ~std::uintptr_t{1});
    }

    /// What the process-wide table holds, and the most that it will.
    struct table_use {
        std::size_t keys;
        std::size_t bytes;
        std::size_t most_keys;
        std::size_t most_bytes;
    };

    /// Takes a lock.
    [[nodiscard]] static table_use get_table_use();

private:
    [[nodiscard]] bool is_counted() const noexcept { return (bits_ & 1U) != 0; }
    void retain() const noexcept;
    void release() const noexcept;

    /// The address of the block, 0 for the empty text; the lowest bit tells that the block is counted.
    std::uintptr_t bits_ = 0;
};

/// Why a text cannot be a key of a stored document or of the network: not UTF-8, one of { } [ ] in it, longer than the
/// limit. The empty text when it can.
[[nodiscard]] KXCORE_EXPORT std::string_view property_key_fault(std::string_view text);

} // namespace kxcore
