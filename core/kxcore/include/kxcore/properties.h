#pragma once

/// @file
/// The tree: string keys to values, sorted by key. Documents, configurations, jobs and packets are trees.

#include <kxcore/property.h>
#include <kxcore/property_key.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxcore {

namespace detail {
struct member_block;
}

/// One member of a tree.
class property_member {
public:
    /// Valid as long as the member.
    [[nodiscard]] std::string_view key() const noexcept { return key_.text(); }
    [[nodiscard]] property_key const& key_handle() const noexcept { return key_; }
    [[nodiscard]] property_handle const& value() const noexcept { return value_; }

    /// For those who collect members; a tree makes its own.
    property_member(property_key key, property_handle value) noexcept
        : key_(std::move(key)), value_(std::move(value)) {}

private:
    friend struct detail::member_block;

    property_key key_;
    property_handle value_;
};

/// A tree of values.
///
/// Its members lie sorted by the bytes of their keys in one array that copies share until one side changes: copying a
/// tree of any size costs one reference, and setting a value by path copies the trees and lists on the path and
/// nothing else. Whoever got a handle out of a tree keeps the value as it was then.
///
/// A tree never holds an empty handle: setting one removes the member. Nothing that reads inserts.
///
/// Members out of key order are inserted by moving those behind; to build a tree of many thousand members at once, use
/// `assign`. Iterators and references to members are valid until the tree is changed. One thread at a time may change
/// a tree; several may read it, and trees that share members may be used by a thread each.
class KXCORE_EXPORT properties final : public property {
public:
    using property::describe;
    using property::to_string;

    using const_iterator = property_member const*;
    using iterator = const_iterator;
    class member_reference;

    [[nodiscard]] static constexpr property_kind class_kind() noexcept { return property_kind::properties; }

    /// An empty tree. The argument has no meaning; it tells this constructor from the others at the place of the call.
    explicit properties(bool = false) noexcept {}

    /// A tree with the members of another one; an empty handle gives an empty tree.
    explicit properties(kxbase::ptr_refcount<properties const> const& other) noexcept;
    explicit properties(kxbase::ptr_refcount<properties> const& other) noexcept;

    /// A tree of one to three members; a later pair of the same key wins, an empty handle makes none.
    properties(std::string_view key, property_handle value);
    properties(std::string_view key1, property_handle value1, std::string_view key2, property_handle value2);
    properties(std::string_view key1, property_handle value1, std::string_view key2, property_handle value2,
               std::string_view key3, property_handle value3);

    properties(properties const& other) noexcept;
    properties(properties&& other) noexcept;
    properties& operator=(properties const& other) noexcept;
    properties& operator=(properties&& other) noexcept;
    ~properties() override;

    // Members

    [[nodiscard]] const_iterator begin() const noexcept;
    [[nodiscard]] const_iterator end() const noexcept;
    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] bool empty() const noexcept { return size() == 0; }

    /// The member's value; empty when missing.
    [[nodiscard]] property_handle get_property(std::string_view key) const noexcept;

    /// The member's value without a reference of its own; null when missing. Valid until the tree is changed.
    [[nodiscard]] property const* find(std::string_view key) const noexcept;

    /// The member; null when missing. Valid until the tree is changed.
    [[nodiscard]] property_member const* find_member(std::string_view key) const noexcept;

    [[nodiscard]] bool is_present(std::string_view key) const noexcept { return find(key) != nullptr; }

    /// The member's value; empty when missing.
    [[nodiscard]] property_handle operator[](std::string_view key) const noexcept { return get_property(key); }

    /// For reading and for setting: `tree["name"] = value`. Reading inserts nothing.
    [[nodiscard]] member_reference operator[](std::string_view key) noexcept;

    /// Sets the member, in the place of one that has the key; an empty handle removes it.
    ///
    /// Any key can be set; documents and the network hold only keys of valid UTF-8 without { } [ ].
    void set_property(std::string_view key, property_handle value);

    /// Replaces all members. They may come in any order; the last of equal keys wins, empty handles make no member.
    void assign(std::vector<std::pair<std::string, property_handle>> members);

    /// Makes room for `count` members in all.
    void reserve(std::size_t count);

    /// Removes the member.
    ///
    /// @return the number removed: 0 or 1
    std::size_t erase(std::string_view key);

    void clear() noexcept;

    /// Sets every member of `other` into this tree. Where both have a tree under a key the two are merged in the same
    /// way; everything else replaces what was there whole, lists too. What is taken are the objects of `other` itself;
    /// neither `other` nor anybody who holds a part of this tree sees a change.
    void merge_properties(properties const& other);

    // Members of a kind. A special is a kind of its own: none of these looks behind one.

    /// The text of a string.
    ///
    /// @throws es::arg naming the key and what was found when the member is missing or of another kind
    [[nodiscard]] std::string get_string_value(std::string_view key) const;

    /// The same; the default, and no error, when the member is missing or of another kind.
    [[nodiscard]] std::string get_string_value(std::string_view key, std::string_view default_value) const;

    /// The value of a bool.
    ///
    /// @throws es::arg as `get_string_value`
    [[nodiscard]] bool get_bool_value(std::string_view key) const;

    /// The same; the default, and no error, when the member is missing or of another kind.
    [[nodiscard]] bool get_bool_value(std::string_view key, bool default_value) const noexcept;

    /// The value of an integer.
    ///
    /// @throws es::arg as `get_string_value`
    [[nodiscard]] std::int64_t get_int_value(std::string_view key) const;

    /// The same; the default, and no error, when the member is missing or of another kind.
    [[nodiscard]] std::int64_t get_int_value(std::string_view key, std::int64_t default_value) const noexcept;

    /// The nested tree.
    ///
    /// @throws es::arg as `get_string_value`
    [[nodiscard]] kxbase::ptr_refcount<properties const> get_properties_value(std::string_view key) const;

    /// The list.
    ///
    /// @throws es::arg as `get_string_value`
    [[nodiscard]] kxbase::ptr_refcount<property_list const> get_list_value(std::string_view key) const;

    /// The constraint that the member carries.
    ///
    /// @throws es::arg as `get_string_value`
    [[nodiscard]] kxbase::ptr_refcount<constraint const> get_constraint_value(std::string_view key) const;

    // By path: a key, then any number of {key} and [n]. See kxcore/references.h.

    /// The value that the path names; empty when a step is missing or of another kind, and for a malformed path.
    [[nodiscard]] property_handle get_referenced_property(std::string_view path) const;

    /// The same without a reference of its own; null when missing. Valid until the tree is changed.
    [[nodiscard]] property const* find_referenced(std::string_view path) const;

    /// Sets the value that the path names; an empty handle removes it, and removing what is not there does nothing.
    /// An index equal to the size of its list appends, removing an element closes the gap.
    ///
    /// @throws es::arg naming the path, with the tree unchanged, when the path is malformed or longer than 4,096
    ///         characters, a step before the last is missing or of another kind, or an index is beyond the list
    void set_referenced_property(std::string_view path, property_handle value);

    /// The same, making missing trees on the way; it never makes a list. With an empty handle it makes nothing.
    void set_create_referenced_property(std::string_view path, property_handle value);

    /// Appends the path of every leaf: every value but trees and lists, depth first, keys in byte order. Empty trees
    /// and lists have none.
    ///
    /// To look at leaves or to rewrite them use kxcore/property_walk.h, which also reaches what no path can name.
    ///
    /// @throws es::arg when the paths together would pass the limit expansion; those before it stay appended
    void get_leaf_references(std::list<std::string>& paths) const;

    /// Appends the path of every leaf of one kind.
    void get_leaf_references(property_kind kind, std::list<std::string>& paths) const;

    /// Erases the key at every depth, in trees within lists too.
    ///
    /// @return the number of members erased
    std::size_t recursive_erase_ids(std::string_view key);

    // Encoding

    /// Writes the whole tree to the network encoding; see `property::encode`.
    void encode(encoder_network& out) const override;

    /// Reads a whole tree from the network encoding in the place of what this one holds.
    ///
    /// @throws es::arg naming the byte offset, what was expected and what was found; this tree is as it was
    void decode(decoder_network& in);

    [[nodiscard]] property_kind kind() const noexcept override;
    [[nodiscard]] kxbase::ptr_refcount<property> clone() const override;
    void to_string(std::string& out) const override;
    void describe(std::string& out) const override;

private:
    friend struct detail::member_block;

    /// The members, shared between copies until one of them changes; null before the first.
    detail::member_block* block_ = nullptr;
};

/// What `tree[key]` gives for a tree that can be changed: stands for the member, and for nothing beyond the expression.
class properties::member_reference {
public:
    /// Sets the member; an empty handle removes it.
    template <class T>
    member_reference& operator=(kxbase::ptr_refcount<T> const& value) {
        tree_.set_property(key_, property_handle(value));
        return *this;
    }
    member_reference& operator=(std::nullptr_t) {
        tree_.set_property(key_, property_handle());
        return *this;
    }
    member_reference& operator=(member_reference const& other) {
        tree_.set_property(key_, other.get_handle());
        return *this;
    }

    /// The member's value; empty when missing.
    [[nodiscard]] property_handle get_handle() const noexcept { return tree_.get_property(key_); }
    operator property_handle() const noexcept { return get_handle(); }

    [[nodiscard]] property const* get() const noexcept { return tree_.find(key_); }
    [[nodiscard]] property const* operator->() const noexcept { return get(); }
    [[nodiscard]] property const& operator*() const noexcept { return *get(); }
    explicit operator bool() const noexcept { return get() != nullptr; }

private:
    friend class properties;
    member_reference(properties& tree, std::string_view key) noexcept : tree_(tree), key_(key) {}
    member_reference(member_reference const&) = default;

public:
    ~member_reference() = default;

private:
    properties& tree_;
    std::string_view key_;
};

inline properties::member_reference properties::operator[](std::string_view key) noexcept {
    return {*this, key};
}

} // namespace kxcore
