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
    /// The number of the key, from 1; one that is new gets the next.
    [[nodiscard]] std::uint64_t number_of(property_key const& key, bool& is_new);

    /// The key of a number; null when there is none.
    [[nodiscard]] property_key const* key_of(std::uint64_t number) const noexcept {
        return number == 0 || number > keys_.size() ? nullptr : &keys_[number - 1];
    }

    [[nodiscard]] std::size_t size() const noexcept { return keys_.size(); }

    /// Forgets all but the first keys.
    void cut(std::size_t size) noexcept;

private:
    /// Where a shared key has its place among the shared ones; the empty key is the first of them.
    [[nodiscard]] static std::size_t slot_of(property_key const& key) noexcept {
        return key.get_block() == nullptr ? 0 : std::size_t{key.get_block()->number_or_references} + 1;
    }

    std::vector<property_key> keys_;
    std::vector<std::uint32_t> shared_;
    std::unordered_map<std::string_view, std::uint32_t> counted_;
};

inline std::uint64_t key_numbers::number_of(property_key const& key, bool& is_new) {
    bool const is_counted = !key.is_shared() && key.get_block() != nullptr;
    std::size_t const slot = is_counted ? 0 : slot_of(key);
    if (!is_counted && slot >= shared_.size()) shared_.resize(slot + slot / 2 + 16);
    std::uint32_t& number = is_counted ? counted_[key.text()] : shared_[slot];
    is_new = number == 0;
    if (is_new) {
        // Holds the text of a counted key, which the map goes by.
        keys_.push_back(key);
        number = static_cast<std::uint32_t>(keys_.size());
    }
    return number;
}

inline void key_numbers::cut(std::size_t size) noexcept {
    for (; keys_.size() > size; keys_.pop_back()) {
        property_key const& key = keys_.back();
        if (key.is_shared() || key.get_block() == nullptr) {
            shared_[slot_of(key)] = 0;
        } else {
            counted_.erase(key.text());
        }
    }
}

} // namespace kxcore
