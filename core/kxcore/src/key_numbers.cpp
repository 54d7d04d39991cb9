#include "key_numbers.h"

namespace kxcore {

void key_numbers::add(property_key const& key) {
    keys_.push_back(key);
    auto const number = static_cast<std::uint32_t>(keys_.size());
    if (is_counted(key)) {
        counted_[key.text()] = number;
        return;
    }
    std::size_t const slot = slot_of(key);
    if (slot >= shared_.size()) shared_.resize(slot + slot / 2 + 16);
    shared_[slot] = number;
}

void key_numbers::cut(std::size_t size) noexcept {
    for (; keys_.size() > size; keys_.pop_back()) {
        property_key const& key = keys_.back();
        if (is_counted(key)) {
            counted_.erase(key.text());
        } else if (slot_of(key) < shared_.size()) {
            shared_[slot_of(key)] = 0;
        }
    }
}

std::uint64_t key_numbers::find_counted(property_key const& key) const {
    auto const found = counted_.find(key.text());
    return found == counted_.end() ? 0 : found->second;
}

} // namespace kxcore
