#pragma once

/// @file
/// What trees and lists keep their members in: one block of memory, shared by copies until one of them changes, and
/// taken apart without recursion however deep its members are nested.

#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace kxcore::detail {

/// The head of every block.
struct block_header {
    struct counts {
        std::uint32_t references;
        std::uint32_t capacity;
    };
    union {
        counts alive;
        /// A block that nobody refers to any more waits in a chain until its turn comes.
        block_header* next_dead;
    };
    std::uint32_t size;
    bool holds_members;

    [[nodiscard]] std::atomic_ref<std::uint32_t> references() noexcept {
        return std::atomic_ref<std::uint32_t>(alive.references);
    }
};

/// Takes apart a block that nobody refers to any more, and all blocks that this leaves without a reference.
void bury(block_header* block) noexcept;

inline void retain(block_header* block) noexcept {
    if (block != nullptr) block->references().fetch_add(1, std::memory_order_relaxed);
}

inline void release(block_header* block) noexcept {
    if (block == nullptr) return;
    // The only owner needs no atomic decrement: nobody else is left who could race with it.
    if (block->references().load(std::memory_order_acquire) == 1 ||
        block->references().fetch_sub(1, std::memory_order_acq_rel) == 1)
        bury(block);
}

[[nodiscard]] inline bool is_shared(block_header* block) noexcept {
    return block->references().load(std::memory_order_acquire) != 1;
}

/// A block of elements that can be moved by copying their bytes: handles and keys are single pointers that nothing
/// points back to. Functions that change a block take the pointer of its owner and replace it when the block is shared
/// or too small; they change nothing when memory runs out.
template <class Block, class Element>
struct block_of : block_header {
    [[nodiscard]] Element* begin() noexcept { return reinterpret_cast<Element*>(this + 1); }
    [[nodiscard]] Element* end() noexcept { return begin() + size; }

    /// A block of no elements yet, with one reference.
    [[nodiscard]] static Block* make(std::size_t capacity);

    /// Makes the block the owner's own, with room for `capacity` elements.
    static void own(Block*& block, std::size_t capacity);

    /// The same with room for one more element, growing by half.
    static void own_for_one_more(Block*& block);

    /// Gives back the room that the block has to spare, if it is the owner's own.
    static void trim(Block*& block) noexcept;

    /// Opens a gap of one element, whose bytes are unset, in an owned block with room for it.
    [[nodiscard]] static void* open_gap(Block* block, std::size_t index) noexcept;

    /// Destroys an element of an owned block and closes the gap.
    static void remove(Block*& block, std::size_t index);
};

struct member_block : block_of<member_block, property_member> {
    static constexpr bool holds = true;

    [[nodiscard]] static member_block*& of(properties& tree) noexcept { return tree.block_; }
    [[nodiscard]] static member_block* of(properties const& tree) noexcept { return tree.block_; }
    [[nodiscard]] static property_handle& value_of(property_member& member) noexcept { return member.value_; }
    [[nodiscard]] static property_handle& value_of(property_member* member) noexcept { return member->value_; }
};

struct list_block : block_of<list_block, property_handle> {
    static constexpr bool holds = false;

    [[nodiscard]] static list_block*& of(property_list& list) noexcept { return list.block_; }
    [[nodiscard]] static list_block* of(property_list const& list) noexcept { return list.block_; }
    [[nodiscard]] static property_handle& value_of(property_handle* element) noexcept { return *element; }
};

/// Gives back the spare room of a tree or list that is about to be put into another one, where it stays as it is: if the
/// handle is the only one, nobody has a pointer into it.
void trim(property_handle const& value) noexcept;

/// Makes the tree or list behind a handle, which lies in a block of the caller's own, an object that nobody else sees. A
/// copy shares its members; they are copied when their turn comes.
[[nodiscard]] property& own_object(property_handle& handle);

template <class Block, class Element>
Block* block_of<Block, Element>::make(std::size_t capacity) {
    if (capacity > UINT32_MAX) throw std::bad_alloc();
    void* const memory = std::malloc(sizeof(Block) + capacity * sizeof(Element));
    if (memory == nullptr) throw std::bad_alloc();
    auto* const block = new (memory) Block;
    block->alive = {1, static_cast<std::uint32_t>(capacity)};
    block->size = 0;
    block->holds_members = Block::holds;
    return block;
}

template <class Block, class Element>
void block_of<Block, Element>::own(Block*& block, std::size_t capacity) {
    if (block == nullptr) {
        block = make(capacity);
    } else if (is_shared(block)) {
        Block* const copy = make(capacity < block->size ? block->size : capacity);
        std::uninitialized_copy(block->begin(), block->end(), copy->begin());
        copy->size = block->size;
        release(block);
        block = copy;
    } else if (block->alive.capacity < capacity) {
        if (capacity > UINT32_MAX) throw std::bad_alloc();
        void* const memory = std::realloc(static_cast<void*>(block), sizeof(Block) + capacity * sizeof(Element));
        if (memory == nullptr) throw std::bad_alloc();
        block = static_cast<Block*>(memory);
        block->alive.capacity = static_cast<std::uint32_t>(capacity);
    }
}

template <class Block, class Element>
void block_of<Block, Element>::own_for_one_more(Block*& block) {
    constexpr std::size_t smallest = 4;
    std::size_t const size = block == nullptr ? 0 : block->size;
    if (block != nullptr && !is_shared(block) && size < block->alive.capacity) return;
    own(block, size + size / 2 < smallest ? smallest : size + size / 2);
}

template <class Block, class Element>
void block_of<Block, Element>::trim(Block*& block) noexcept {
    if (block == nullptr || block->alive.capacity == block->size || is_shared(block)) return;
    void* const memory = std::realloc(static_cast<void*>(block), sizeof(Block) + block->size * sizeof(Element));
    if (memory == nullptr) return;
    block = static_cast<Block*>(memory);
    block->alive.capacity = block->size;
}

template <class Block, class Element>
void* block_of<Block, Element>::open_gap(Block* block, std::size_t index) noexcept {
    Element* const place = block->begin() + index;
    std::memmove(static_cast<void*>(place + 1), static_cast<void const*>(place),
                 (block->size - index) * sizeof(Element));
    ++block->size;
    return place;
}

template <class Block, class Element>
void block_of<Block, Element>::remove(Block*& block, std::size_t index) {
    own(block, block->size);
    Element* const place = block->begin() + index;
    // The element goes when the block is whole again: its end may run code of others, which may look at the tree.
    alignas(Element) std::byte removed[sizeof(Element)];
    std::memcpy(removed, static_cast<void const*>(place), sizeof(Element));
    std::memmove(static_cast<void*>(place), static_cast<void const*>(place + 1),
                 (block->size - index - 1) * sizeof(Element));
    --block->size;
    std::destroy_at(std::launder(reinterpret_cast<Element*>(removed)));
}

} // namespace kxcore::detail
