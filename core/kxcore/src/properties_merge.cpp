#include <kxcore/properties.h>

#include "key_compare.h"
#include "shared_block.h"

#include <vector>

namespace kxcore {

namespace {

using detail::member_block;

/// Two trees under one key that remain to be merged.
struct pending_merge {
    property_handle* into;
    properties const* from;
};

/// Merges the members of one level. Pairs of trees are appended to `pending`.
void merge_level(properties& into, properties const& from, std::vector<pending_merge>& pending);

} // namespace

void properties::merge_properties(properties const& other) {
    // Holds all that is to be taken, even when `other` is a part of this tree.
    properties const source(other); // NOLINT(performance-unnecessary-copy-initialization)
    std::vector<pending_merge> pending;
    merge_level(*this, source, pending);
    while (!pending.empty()) {
        pending_merge const next = pending.back();
        pending.pop_back();
        merge_level(static_cast<properties&>(detail::own_object(*next.into)), *next.from, pending);
    }
}

namespace {

std::size_t count_new_keys(properties const& into, properties const& from) noexcept {
    std::size_t count = 0;
    property_member const* present = into.begin();
    for (property_member const& taken : from) {
        while (present != into.end() && detail::compare(present->key_handle(), taken.key_handle()) < 0) {
            ++present;
        }
        if (present == into.end() || detail::compare(present->key_handle(), taken.key_handle()) != 0) ++count;
    }
    return count;
}

void merge_value(property_handle& into, property_handle const& from, std::vector<pending_merge>& pending) {
    if (into == from) return;
    auto const* const tree = property_cast<properties>(from.get());
    if (tree != nullptr && into->kind() == property_kind::properties) {
        pending.push_back({&into, tree});
    } else {
        into = from;
    }
}

void merge_level(properties& into, properties const& from, std::vector<pending_merge>& pending) {
    if (from.empty() || from.begin() == into.begin()) return;
    std::size_t const size = into.size();
    std::size_t const merged = size + count_new_keys(into, from);
    pending.reserve(pending.size() + from.size());
    member_block*& block = member_block::of(into);
    member_block::own(block, merged);
    // From the back, each member goes straight to its place; nothing raises on the way.
    property_member* const members = block->begin();
    property_member* place = members + merged;
    property_member* present = members + size;
    property_member const* taken = from.end();
    while (taken != from.begin()) {
        int const order =
            present == members ? -1 : detail::compare((present - 1)->key_handle(), (taken - 1)->key_handle());
        --place;
        if (order < 0) {
            new (place) property_member(*--taken);
            continue;
        }
        if (place != --present) {
            std::memcpy(static_cast<void*>(place), static_cast<void const*>(present), sizeof(property_member));
        }
        if (order == 0) merge_value(member_block::value_of(*place), (--taken)->value(), pending);
    }
    block->size = static_cast<std::uint32_t>(merged);
}

} // namespace

} // namespace kxcore
