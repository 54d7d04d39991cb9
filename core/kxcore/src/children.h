#pragma once

/// @file
/// Going over what is in a tree or in a list alike.

#include "shared_block.h"

namespace kxcore::detail {

/// The members or elements of one container, from the current one to the end.
class children {
public:
    /// Of any value; one that is no container has none.
    explicit children(property const& value) noexcept : children(value, value.kind()) {}
    children(property const& value, property_kind kind) noexcept : is_tree_(kind == property_kind::properties) {
        if (is_tree_) {
            if (member_block* const block = member_block::of(static_cast<properties const&>(value))) {
                member_ = block->begin();
                end_ = block->end();
            }
        } else if (kind == property_kind::list) {
            if (list_block* const block = list_block::of(static_cast<property_list const&>(value))) {
                element_ = block->begin();
                end_ = block->end();
            }
        }
    }

    /// The number of children from the current one on.
    [[nodiscard]] std::size_t left() const noexcept {
        return is_tree_ ? static_cast<std::size_t>(static_cast<property_member const*>(end_) - member_)
                        : static_cast<std::size_t>(static_cast<property_handle const*>(end_) - element_);
    }

    [[nodiscard]] bool is_tree() const noexcept { return is_tree_; }
    [[nodiscard]] bool at_end() const noexcept {
        return (is_tree_ ? static_cast<void const*>(member_) : element_) == end_;
    }

    [[nodiscard]] property_handle const& value() const noexcept { return is_tree_ ? member_->value() : *element_; }

    /// The key of the current member; the empty key in a list.
    [[nodiscard]] property_key const& key() const noexcept { return is_tree_ ? member_->key_handle() : no_key(); }
    [[nodiscard]] static property_key const& no_key() noexcept {
        static property_key const none;
        return none;
    }

    /// Asks the processor for what a walk reads soon and what usually lies somewhere else in memory: the first values,
    /// when a container is opened.
    void prefetch_first() const noexcept {
        std::size_t const count = left();
        for (std::size_t index = 0; index < prefetched && index < count; ++index) {
            __builtin_prefetch(peek(index));
        }
    }

    /// The same at each child: a value further on, and what is in the next one.
    void prefetch_next() const noexcept {
        std::size_t const count = left();
        if (count > prefetched) __builtin_prefetch(peek(prefetched));
        if (count < 2) return;
        property const* const next = peek(1);
        property_kind const kind = next->kind();
        if (kind == property_kind::properties) {
            __builtin_prefetch(member_block::of(static_cast<properties const&>(*next)));
        } else if (kind == property_kind::list) {
            __builtin_prefetch(list_block::of(static_cast<property_list const&>(*next)));
        }
    }

    /// The index of the current child.
    [[nodiscard]] std::size_t index() const noexcept { return index_; }

    void next() noexcept {
        ++index_;
        if (is_tree_) {
            ++member_;
        } else {
            ++element_;
        }
    }

private:
    static constexpr std::size_t prefetched = 3;

    [[nodiscard]] property const* peek(std::size_t index) const noexcept {
        return is_tree_ ? member_[index].value().get() : element_[index].get();
    }

    union {
        property_member const* member_ = nullptr; // NOLINT(readability-identifier-naming): members like any other
        property_handle const* element_;          // NOLINT(readability-identifier-naming)
    };
    void const* end_ = nullptr;
    std::size_t index_ = 0;
    bool is_tree_ = false;
};

[[nodiscard]] inline bool is_container(property const& value) noexcept {
    return value.kind() == property_kind::properties || value.kind() == property_kind::list;
}

/// Whether the two are one object, or containers that share their members.
[[nodiscard]] inline bool is_same_or_shared(property const& left, property const& right) noexcept {
    if (&left == &right) return true;
    if (left.kind() != right.kind()) return false;
    if (left.kind() == property_kind::properties) {
        auto const* const members = static_cast<properties const&>(left).begin();
        return members != nullptr && members == static_cast<properties const&>(right).begin();
    }
    if (left.kind() == property_kind::list) {
        auto const* const elements = static_cast<property_list const&>(left).begin();
        return elements != nullptr && elements == static_cast<property_list const&>(right).begin();
    }
    return false;
}

[[nodiscard]] inline bool is_empty_container(property const& value) noexcept {
    return is_container(value) && children(value).at_end();
}

} // namespace kxcore::detail
