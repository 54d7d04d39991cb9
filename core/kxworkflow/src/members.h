#pragma once

/// @file
/// Reading members of a wanted kind, with errors that name the place.

#include <kxbase/errors.h>
#include <kxcore/properties.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kxworkflow {

using properties_handle = kxbase::ptr_refcount<kxcore::properties const>;

struct task_record;

/// Where something was found, for errors. Of a task the text is made only when there is an error, since every task of
/// every workflow is looked at.
class place {
public:
    place(std::string_view text) noexcept : text_(text) {}    // NOLINT(google-explicit-constructor): a text is a place
    place(std::string const& text) noexcept : text_(text) {}  // NOLINT(google-explicit-constructor): as above
    place(char const* text) noexcept : text_(text) {}         // NOLINT(google-explicit-constructor): as above
    place(task_record const& task) noexcept : task_(&task) {} // NOLINT(google-explicit-constructor): as above
    /// An entry of a workflow's list of tasks.
    place(std::size_t index, kxcore::properties const& task) noexcept : index_(index), document_(&task) {}

    [[nodiscard]] std::string text() const;

private:
    std::string_view text_;
    task_record const* task_ = nullptr;
    std::size_t index_ = 0;
    kxcore::properties const* document_ = nullptr;
};

/// Raises "PLACE: \"KEY\" is of kind FOUND, not WANTED".
[[noreturn]] void raise_wrong_kind(place const& where, std::string_view key, kxcore::property_kind found,
                                   kxcore::property_kind wanted);

/// The member, or null when it is missing.
///
/// @throws es::arg naming place and key when it is of another kind
template <class T>
[[nodiscard]] T const* find_member(kxcore::properties const& tree, std::string_view key, place const& where) {
    kxcore::property const* const found = tree.find(key);
    if (found == nullptr) return nullptr;
    T const* const wanted = kxcore::property_cast<T>(found);
    if (wanted == nullptr) raise_wrong_kind(where, key, found->kind(), T::class_kind());
    return wanted;
}

/// The member.
///
/// @throws es::arg naming place and key when it is missing or of another kind
template <class T>
[[nodiscard]] T const& require_member(kxcore::properties const& tree, std::string_view key, place const& where) {
    if (T const* const found = find_member<T>(tree, key, where)) return *found;
    kxbase::es::arg::raise(where.text() + ": \"" + std::string(key) + "\" is missing");
}

/// The tree under a key, to be changed: a copy that shares its members; empty when it is missing.
///
/// @throws es::arg naming place and key when there is something of another kind
[[nodiscard]] kxcore::properties copy_subtree(kxcore::properties const& tree, std::string_view key, place const& where);

/// Sets or, with an empty handle, removes a member of the tree under a key. A tree that is missing is made; one that
/// is left without members goes.
void set_in_subtree(kxcore::properties& tree, std::string_view subtree, std::string_view member,
                    kxcore::property_handle value, place const& where);

/// Raises es::arg unless the text can be a key: not empty, valid UTF-8, none of { } [ ].
///
/// @param what what the text is, for the message: "output"
void require_key(std::string_view text, std::string_view what, place const& where);

} // namespace kxworkflow
