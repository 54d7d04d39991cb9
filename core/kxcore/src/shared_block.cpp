#include "shared_block.h"

namespace kxcore::detail {

namespace {

/// The blocks of this thread that wait for their end. While one is taken apart, those that lose their last reference
/// on the way join the chain instead of being taken apart inside one another.
constinit thread_local block_header* t_dead = nullptr;
constinit thread_local bool t_is_burying = false;

void take_apart(block_header* block) noexcept {
    if (block->holds_members) {
        auto* const members = static_cast<member_block*>(block);
        std::destroy(members->begin(), members->end());
    } else {
        auto* const elements = static_cast<list_block*>(block);
        std::destroy(elements->begin(), elements->end());
    }
    std::free(block);
}

} // namespace

void bury(block_header* block) noexcept {
    block->next_dead = t_dead;
    t_dead = block;
    if (t_is_burying) return;
    t_is_burying = true;
    while (t_dead != nullptr) {
        block_header* const next = t_dead;
        t_dead = next->next_dead;
        take_apart(next);
    }
    t_is_burying = false;
}

void trim(property_handle const& value) noexcept {
    property_kind const kind = value->kind();
    if ((kind != property_kind::properties && kind != property_kind::list) || value->is_shared()) return;
    auto& owned = const_cast<property&>(*value);
    if (kind == property_kind::properties) {
        member_block::trim(member_block::of(static_cast<properties&>(owned)));
    } else {
        list_block::trim(list_block::of(static_cast<property_list&>(owned)));
    }
}

property& own_object(property_handle& handle) {
    if (handle->is_shared()) {
        if (auto const* const tree = property_cast<properties>(handle.get())) {
            handle = kxbase::make_refcount<properties>(*tree);
        } else {
            handle = kxbase::make_refcount<property_list>(static_cast<property_list const&>(*handle));
        }
    }
    // Handles in trees are to constant values because values are constant once shared; this one is not.
    return const_cast<property&>(*handle);
}

} // namespace kxcore::detail
