#include <kxcore/property_list.h>

#include "shared_block.h"

#include <kxbase/errors.h>

#include <utility>

namespace kxcore {

namespace {

using detail::list_block;

void refuse_empty(property_handle const& value) {
    if (!value) kxbase::es::arg::raise("a list cannot hold an empty handle");
}

} // namespace

property_list::property_list(property_handle const& value, std::size_t count) : property_list() {
    if (count == 0) return;
    refuse_empty(value);
    list_block::own(block_, count);
    std::uninitialized_fill_n(block_->begin(), count, value);
    block_->size = static_cast<std::uint32_t>(count);
}

property_list::property_list(property_handle const& first, property_handle const& second, property_handle const& third)
    : property_list() {
    refuse_empty(first);
    refuse_empty(second);
    refuse_empty(third);
    list_block::own(block_, 3);
    push_back(first);
    push_back(second);
    push_back(third);
}

property_list::property_list(property_list const& other) noexcept : property(other), block_(other.block_) {
    detail::retain(block_);
}

property_list::property_list(property_list&& other) noexcept
    : property(other), block_(std::exchange(other.block_, nullptr)) {}

property_list& property_list::operator=(property_list const& other) noexcept {
    if (this == &other) return *this;
    detail::retain(other.block_);
    detail::release(std::exchange(block_, other.block_));
    return *this;
}

property_list& property_list::operator=(property_list&& other) noexcept {
    // What this list held may hold the other one, which therefore has to be emptied first.
    list_block* const taken = std::exchange(other.block_, nullptr);
    detail::release(std::exchange(block_, taken));
    return *this;
}

property_list::~property_list() {
    detail::release(block_);
}

property_kind property_list::kind() const noexcept {
    return class_kind();
}

property_list::const_iterator property_list::begin() const noexcept {
    return block_ == nullptr ? nullptr : block_->begin();
}

property_list::const_iterator property_list::end() const noexcept {
    return block_ == nullptr ? nullptr : block_->end();
}

std::size_t property_list::size() const noexcept {
    return block_ == nullptr ? 0 : block_->size;
}

property_handle property_list::get_element(std::size_t index) const noexcept {
    return index < size() ? begin()[index] : property_handle();
}

void property_list::reserve(std::size_t count) {
    if (count > size()) list_block::own(block_, count);
}

void property_list::push_back(property_handle value) {
    refuse_empty(value);
    // A list within itself would never end: what goes in is the list as it is now.
    if (value.get() == this) value = kxbase::make_refcount<property_list>(*this);
    detail::trim(value);
    list_block::own_for_one_more(block_);
    new (list_block::open_gap(block_, block_->size)) property_handle(std::move(value));
}

void property_list::append(property_list const& other) {
    // Holds the elements, even when `other` is this list.
    property_list const source(other); // NOLINT(performance-unnecessary-copy-initialization)
    if (source.empty()) return;
    list_block::own(block_, size() + source.size());
    std::uninitialized_copy(source.begin(), source.end(), block_->end());
    block_->size += static_cast<std::uint32_t>(source.size());
}

void property_list::set_element(std::size_t index, property_handle value) {
    if (index > size()) {
        kxbase::es::arg::raise("index " + std::to_string(index) + " is beyond a list of " + std::to_string(size()));
    }
    if (!value) {
        erase(index);
    } else if (index == size()) {
        push_back(std::move(value));
    } else {
        if (value.get() == this) value = kxbase::make_refcount<property_list>(*this);
        list_block::own(block_, block_->size);
        block_->begin()[index].swap(value);
    }
}

std::size_t property_list::erase(std::size_t index) {
    if (index >= size()) return 0;
    list_block::remove(block_, index);
    return 1;
}

void property_list::clear() noexcept {
    detail::release(std::exchange(block_, nullptr));
}

} // namespace kxcore
