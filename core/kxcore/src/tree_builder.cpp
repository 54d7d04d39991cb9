#include <kxcore/tree_builder.h>

#include "key_compare.h"
#include "shared_block.h"

#include <kxbase/errors.h>

#include <algorithm>
#include <iterator>

namespace kxcore {

namespace {

using detail::list_block;
using detail::member_block;

/// @throws es::arg naming the key that comes twice
void sort(std::span<property_member> members);

} // namespace

tree_builder::tree_builder(property_kind outermost) {
    open_.push_back({property_key(), outermost, 0});
}

tree_builder::~tree_builder() = default;

void tree_builder::begin(property_key key, property_kind kind) {
    open_.push_back({std::move(key), kind, members_.size()});
}

void tree_builder::end() {
    kxbase::ptr_refcount<property> made = make_last();
    property_key key = std::move(open_.back().key);
    open_.pop_back();
    members_.emplace_back(std::move(key), std::move(made));
}

property_key const& tree_builder::last_key() const noexcept {
    static property_key const none;
    return size() == 0 ? none : members_.back().key_handle();
}

property_handle tree_builder::take_last() noexcept {
    property_handle value = std::move(member_block::value_of(members_.back()));
    members_.pop_back();
    return value;
}

kxbase::ptr_refcount<property> tree_builder::finish() {
    kxbase::ptr_refcount<property> made = make_last();
    open_.pop_back();
    return made;
}

kxbase::ptr_refcount<property> tree_builder::make_last() {
    auto const first = members_.begin() + static_cast<std::ptrdiff_t>(open_.back().first);
    auto const size = static_cast<std::size_t>(members_.end() - first);
    kxbase::ptr_refcount<property> made;
    if (open_.back().kind == property_kind::properties) {
        auto tree = kxbase::make_refcount<properties>();
        if (size != 0) {
            sort({first, members_.end()});
            member_block*& block = member_block::of(*tree);
            block = member_block::make(size);
            std::uninitialized_move_n(first, size, block->begin());
            block->size = static_cast<std::uint32_t>(size);
        }
        made = std::move(tree);
    } else {
        auto list = kxbase::make_refcount<property_list>();
        if (size != 0) {
            list_block*& block = list_block::of(*list);
            block = list_block::make(size);
            property_handle* place = block->begin();
            for (auto member = first; member != members_.end(); ++member) {
                new (place++) property_handle(std::move(member_block::value_of(*member)));
            }
            block->size = static_cast<std::uint32_t>(size);
        }
        made = std::move(list);
    }
    members_.erase(first, members_.end());
    return made;
}

namespace {

void sort(std::span<property_member> members) {
    auto const is_before = [](property_member const& left, property_member const& right) noexcept {
        return detail::compare(left.key_handle(), right.key_handle()) < 0;
    };
    auto const is_not_before = [&](property_member const& left, property_member const& right) noexcept {
        return !is_before(left, right);
    };
    if (std::adjacent_find(members.begin(), members.end(), is_not_before) == members.end()) return;
    std::stable_sort(members.begin(), members.end(), is_before);
    auto const twice = std::adjacent_find(members.begin(), members.end(), is_not_before);
    if (twice != members.end()) {
        kxbase::es::arg::raise("the key '" + std::string(twice->key()) + "' comes twice in one tree");
    }
}

} // namespace

} // namespace kxcore
