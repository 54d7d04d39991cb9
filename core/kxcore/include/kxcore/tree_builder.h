#pragma once

/// @file
/// Building a whole tree from the outside in, as readers do: members are collected on one stack and each tree and list
/// is made in one piece of exactly the right size. Costs memory only for what has been added, whatever sizes a document
/// claims, and no stack.

#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <cstddef>
#include <vector>

namespace kxcore {

/// Builds one tree or one list.
class KXCORE_EXPORT tree_builder {
public:
    /// Begins the outermost tree or list; its kind is `properties` or `list`.
    explicit tree_builder(property_kind outermost);
    ~tree_builder();
    tree_builder(tree_builder const&) = delete;
    tree_builder& operator=(tree_builder const&) = delete;

    /// Adds a value to the tree or list begun last. In a list the key has no meaning.
    void add(property_key key, property_handle value) { members_.emplace_back(std::move(key), std::move(value)); }

    /// Begins a tree or a list within.
    void begin(property_key key, property_kind kind);

    /// Ends what was begun last and adds it to what is around it. Members that came out of order are sorted.
    ///
    /// @throws es::arg naming the key when a tree has it twice
    void end();

    /// Takes the value added last out again, to add another one in its place.
    [[nodiscard]] property_handle take_last() noexcept;

    /// The number of trees and lists begun and not ended, the outermost counted.
    [[nodiscard]] std::size_t depth() const noexcept { return open_.size(); }

    /// What was begun last: `properties` or `list`.
    [[nodiscard]] property_kind kind() const noexcept { return open_.back().kind; }

    /// The key that what was begun last will have in what is around it.
    [[nodiscard]] property_key const& open_key() const noexcept { return open_.back().key; }

    /// The number of members added so far to what was begun last.
    [[nodiscard]] std::size_t size() const noexcept { return members_.size() - open_.back().first; }

    /// The key added last to the tree begun last; the empty key when there is none.
    [[nodiscard]] property_key const& last_key() const noexcept;

    /// Ends the outermost; the builder is used up.
    [[nodiscard]] kxbase::ptr_refcount<property> finish();

private:
    struct open_container {
        property_key key;
        property_kind kind;
        std::size_t first;
    };

    kxbase::ptr_refcount<property> make_last();

    std::vector<property_member> members_;
    std::vector<open_container> open_;
};

} // namespace kxcore
