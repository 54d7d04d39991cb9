// The text of a key. The same few hundred words are the keys of every document, so their texts are kept once for the
// whole process and a key is one pointer; a bound keeps foreign documents from filling memory with keys that stay.
#pragma once

#include <kxcore/export.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kxcore {

namespace detail {
struct key_block;
}

/// A key: the size of a pointer, cheap to copy, its text valid as long as any copy. Safe on all threads.
///
/// Texts within the bound of the process-wide table stay for the life of the process and are not counted; those beyond
/// it, and long ones, live as long as their keys.
class KXCORE_EXPORT property_key {
public:
    /// The key of that text.
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

    /// The text; empty for a key that was moved from.
    [[nodiscard]] std::string_view text() const noexcept;

    [[nodiscard]] friend bool operator==(property_key const& left, property_key const& right) noexcept {
        return left.bits_ == right.bits_ || left.text() == right.text();
    }
    [[nodiscard]] friend std::strong_ordering operator<=>(property_key const& left,
                                                          property_key const& right) noexcept {
        return left.bits_ == right.bits_ ? std::strong_ordering::equal : left.text() <=> right.text();
    }

    /// What the process-wide table holds, for tests and for those who watch memory.
    struct table_use {
        std::size_t keys;
        std::size_t bytes;
    };
    [[nodiscard]] static table_use get_table_use() noexcept;

private:
    friend struct detail::key_block;

    [[nodiscard]] bool is_counted() const noexcept { return (bits_ & 1U) != 0; }
    void retain() const noexcept;
    void release() const noexcept;

    /// The address of the block that holds the text; the lowest bit tells that the block is counted.
    std::uintptr_t bits_;
};

/// Why a text cannot be a key of a stored document or of the network: not UTF-8, one of { } [ ] in it, longer than the
/// limit. The empty text when it can.
[[nodiscard]] KXCORE_EXPORT std::string_view property_key_fault(std::string_view text) noexcept;

} // namespace kxcore
