#pragma once

/// @file
/// Going over what is in a tree or in a list alike.

#include "shared_block.h"

namespace kxcore::detail {

/// The members or elements of one container, from the current one to the end.
class children {
public:
    /// Of any value; one that is no container has none.
    explicit children(property const& value) noexcept {
        if (value.kind() == property_kind::properties) {
            auto const& tree = static_cast<properties const&>(value);
            is_tree_ = true;
            member_ = tree.begin();
            end_ = tree.end();
        } else if (value.kind() == property_kind::list) {
            auto const& list = static_cast<property_list const&>(value);
            element_ = list.begin();
            end_ = list.end();
        }
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
    union {
        property_member const* member_;
        property_handle const* element_ = nullptr;
    };
    void const* end_ = nullptr;
    std::size_t index_ = 0;
    bool is_tree_ = false;
};

[[nodiscard]] inline bool is_container(property const& value) noexcept {
    return value.kind() == property_kind::properties || value.kind() == property_kind::list;
}

[[nodiscard]] inline bool is_empty_container(property const& value) noexcept {
    return is_container(value) && children(value).at_end();
}

} // namespace kxcore::detail
