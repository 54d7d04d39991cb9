#pragma once

/// @file
/// The numbers that keys get in one network encoding, in the order in which they first come.

#include <kxcore/property_key.h>

#include <string_view>
#include <unordered_map>
#include <vector>

namespace kxcore {

class key_numbers {
public:
    /// The number of the key, from 1; 0 when it is new.
    [[nodiscard]] std::uint64_t find(property_key const& key) const {
        if (is_counted(key)) return find_counted(key);
        std::size_t const slot = slot_of(key);
        return slot < shared_.size() ? shared_[slot] : 0;
    }

    /// Gives a new key the next number.
    void add(property_key const& key);

    /// The key of a number; null when there is none.
    [[nodiscard]] property_key const* key_of(std::uint64_t number) const noexcept {
        return number == 0 || number > keys_.size() ? nullptr : &keys_[number - 1];
    }

    [[nodiscard]] std::size_t size() const noexcept { return keys_.size(); }

    /// Forgets all but the first keys.
    void cut(std::size_t size) noexcept;

private:
    [[nodiscard]] static bool is_counted(property_key const& key) noexcept {
        return !key.is_shared() && key.get_block() != nullptr;
    }

    /// Where a shared key has its place among the shared ones; the empty key is the first of them.
    [[nodiscard]] static std::size_t slot_of(property_key const& key) noexcept {
        return key.get_block() == nullptr ? 0 : std::size_t{key.get_block()->number_or_references} + 1;
    }

    [[nodiscard]] std::uint64_t find_counted(property_key const& key) const;

    std::vector<property_key> keys_;
    std::vector<std::uint32_t> shared_;
    /// By texts that `keys_` holds.
    std::unordered_map<std::string_view, std::uint32_t> counted_;
};

} // namespace kxcore
