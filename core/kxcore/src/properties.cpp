#include <kxcore/properties.h>

#include <kxcore/constraint.h>
#include <kxcore/network_encoding.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include "key_compare.h"
#include "shared_block.h"

#include <kxbase/errors.h>

#include <algorithm>

namespace kxcore {

namespace {

using detail::key_probe;
using detail::member_block;

struct place {
    std::size_t index;
    bool is_found;
};

place find_place(member_block* block, key_probe const& probe) noexcept;

/// The member as one of class T.
///
/// @throws es::arg naming the key and what was found
template <class T>
T const& expect(properties const& tree, std::string_view key);

} // namespace

properties::properties(kxbase::ptr_refcount<properties const> const& other) noexcept {
    if (other) *this = *other;
}

properties::properties(kxbase::ptr_refcount<properties> const& other) noexcept {
    if (other) *this = *other;
}

properties::properties(std::string_view key, property_handle value) : properties() {
    set_property(key, std::move(value));
}

properties::properties(std::string_view key1, property_handle value1, std::string_view key2, property_handle value2)
    : properties(key1, std::move(value1)) {
    set_property(key2, std::move(value2));
}

properties::properties(std::string_view key1, property_handle value1, std::string_view key2, property_handle value2,
                       std::string_view key3, property_handle value3)
    : properties(key1, std::move(value1), key2, std::move(value2)) {
    set_property(key3, std::move(value3));
}

properties::properties(properties const& other) noexcept : property(other), block_(other.block_) {
    detail::retain(block_);
}

properties::properties(properties&& other) noexcept : property(other), block_(std::exchange(other.block_, nullptr)) {}

properties& properties::operator=(properties const& other) noexcept {
    if (this == &other) return *this;
    detail::retain(other.block_);
    detail::release(std::exchange(block_, other.block_));
    return *this;
}

properties& properties::operator=(properties&& other) noexcept {
    // What this tree held may hold the other one, which therefore has to be emptied first.
    member_block* const taken = std::exchange(other.block_, nullptr);
    detail::release(std::exchange(block_, taken));
    return *this;
}

properties::~properties() {
    detail::release(block_);
}

property_kind properties::kind() const noexcept {
    return class_kind();
}

properties::const_iterator properties::begin() const noexcept {
    return block_ == nullptr ? nullptr : block_->begin();
}

properties::const_iterator properties::end() const noexcept {
    return block_ == nullptr ? nullptr : block_->end();
}

std::size_t properties::size() const noexcept {
    return block_ == nullptr ? 0 : block_->size;
}

property_member const* properties::find_member(std::string_view key) const noexcept {
    place const found = find_place(block_, key_probe(key));
    return found.is_found ? block_->begin() + found.index : nullptr;
}

property const* properties::find(std::string_view key) const noexcept {
    property_member const* const member = find_member(key);
    return member == nullptr ? nullptr : member->value().get();
}

property_handle properties::get_property(std::string_view key) const noexcept {
    place const found = find_place(block_, key_probe(key));
    return found.is_found ? block_->begin()[found.index].value() : property_handle();
}

void properties::set_property(std::string_view key, property_handle value) {
    key_probe const probe(key);
    bool const is_last = block_ == nullptr || block_->size == 0 ||
                         detail::compare_to_text(block_->begin()[block_->size - 1].key_handle(), probe) < 0;
    place const found = is_last ? place{size(), false} : find_place(block_, probe);
    if (!value) {
        if (found.is_found) member_block::remove(block_, found.index);
        return;
    }
    // A tree within itself would never end: what goes in is the tree as it is now.
    if (value.get() == this) value = kxbase::make_refcount<properties>(*this);
    detail::trim(value);
    if (found.is_found) {
        member_block::own(block_, block_->size);
        member_block::value_of(block_->begin()[found.index]).swap(value);
        return;
    }
    property_key new_key(key);
    member_block::own_for_one_more(block_);
    new (member_block::open_gap(block_, found.index)) property_member(std::move(new_key), std::move(value));
}

void properties::assign(std::vector<std::pair<std::string, property_handle>> members) {
    std::stable_sort(members.begin(), members.end(),
                     [](auto const& left, auto const& right) { return left.first < right.first; });
    properties made;
    made.reserve(members.size());
    for (auto& [key, value] : members) {
        made.set_property(key, std::move(value));
    }
    *this = std::move(made);
}

void properties::reserve(std::size_t count) {
    if (count > size()) member_block::own(block_, count);
}

std::size_t properties::erase(std::string_view key) {
    place const found = find_place(block_, key_probe(key));
    if (!found.is_found) return 0;
    member_block::remove(block_, found.index);
    return 1;
}

void properties::clear() noexcept {
    detail::release(std::exchange(block_, nullptr));
}

std::string properties::get_string_value(std::string_view key) const {
    return std::string(expect<property_string>(*this, key).value());
}

std::string properties::get_string_value(std::string_view key, std::string_view default_value) const {
    auto const* const found = property_cast<property_string>(find(key));
    return std::string(found == nullptr ? default_value : found->value());
}

bool properties::get_bool_value(std::string_view key) const {
    return expect<property_bool>(*this, key).value();
}

bool properties::get_bool_value(std::string_view key, bool default_value) const noexcept {
    auto const* const found = property_cast<property_bool>(find(key));
    return found == nullptr ? default_value : found->value();
}

std::int64_t properties::get_int_value(std::string_view key) const {
    return expect<property_int>(*this, key).value();
}

std::int64_t properties::get_int_value(std::string_view key, std::int64_t default_value) const noexcept {
    auto const* const found = property_cast<property_int>(find(key));
    return found == nullptr ? default_value : found->value();
}

kxbase::ptr_refcount<properties const> properties::get_properties_value(std::string_view key) const {
    return kxbase::ptr_refcount<properties const>(&expect<properties>(*this, key));
}

kxbase::ptr_refcount<property_list const> properties::get_list_value(std::string_view key) const {
    return kxbase::ptr_refcount<property_list const>(&expect<property_list>(*this, key));
}

kxbase::ptr_refcount<constraint const> properties::get_constraint_value(std::string_view key) const {
    return expect<property_constraint>(*this, key).value();
}

void properties::encode(encoder_network& out) const {
    out.write(*this);
}

void properties::decode(decoder_network& in) {
    *this = std::move(*in.read_properties());
}

namespace {

place find_place(member_block* block, key_probe const& probe) noexcept {
    if (block == nullptr) return {0, false};
    property_member const* const members = block->begin();
    std::size_t first = 0;
    std::size_t count = block->size;
    while (count != 0) {
        std::size_t const half = count / 2;
        int const order = detail::compare_to_text(members[first + half].key_handle(), probe);
        if (order == 0) return {first + half, true};
        if (order < 0) {
            first += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return {first, false};
}

template <class T>
T const& expect(properties const& tree, std::string_view key) {
    property const* const found = tree.find(key);
    if (T const* const value = property_cast<T>(found)) return *value;
    std::string message = "member '" + std::string(key) + "' ";
    message += found == nullptr ? "is missing" : "is of kind " + std::string(property_kind_name(found->kind()));
    message += "; expected kind " + std::string(property_kind_name(T::class_kind()));
    kxbase::es::arg::raise(message);
}

} // namespace

} // namespace kxcore
