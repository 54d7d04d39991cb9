#pragma once

/// @file
/// Reading members of a wanted kind, with errors that name the place.

#include <kxbase/errors.h>
#include <kxcore/properties.h>

#include <string>
#include <string_view>

namespace kxworkflow {

using properties_handle = kxbase::ptr_refcount<kxcore::properties const>;

/// Raises "PLACE: \"KEY\" is of kind FOUND, not WANTED".
[[noreturn]] void raise_wrong_kind(std::string_view place, std::string_view key, kxcore::property_kind found,
                                   kxcore::property_kind wanted);

/// The member, or null when it is missing.
///
/// @throws es::arg naming place and key when it is of another kind
template <class T>
[[nodiscard]] T const* find_member(kxcore::properties const& tree, std::string_view key, std::string_view place) {
    kxcore::property const* const found = tree.find(key);
    if (found == nullptr) return nullptr;
    T const* const wanted = kxcore::property_cast<T>(found);
    if (wanted == nullptr) raise_wrong_kind(place, key, found->kind(), T::class_kind());
    return wanted;
}

/// The member.
///
/// @throws es::arg naming place and key when it is missing or of another kind
template <class T>
[[nodiscard]] T const& require_member(kxcore::properties const& tree, std::string_view key, std::string_view place) {
    if (T const* const found = find_member<T>(tree, key, place)) return *found;
    kxbase::es::arg::raise(std::string(place) + ": \"" + std::string(key) + "\" is missing");
}

/// The tree under a key, to be changed: a copy that shares its members; empty when it is missing.
///
/// @throws es::arg naming place and key when there is something of another kind
[[nodiscard]] kxcore::properties copy_subtree(kxcore::properties const& tree, std::string_view key,
                                              std::string_view place);

/// Sets or, with an empty handle, removes a member of the tree under a key. A tree that is missing is made; one that
/// is left without members goes.
void set_in_subtree(kxcore::properties& tree, std::string_view subtree, std::string_view member,
                    kxcore::property_handle value, std::string_view place);

/// Raises es::arg unless the text can be a key: not empty, valid UTF-8, none of { } [ ].
///
/// @param what what the text is, for the message: "output"
void require_key(std::string_view text, std::string_view what, std::string_view place);

} // namespace kxworkflow
