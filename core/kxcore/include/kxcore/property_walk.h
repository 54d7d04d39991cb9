#pragma once

/// @file
/// Walking a whole tree, leaf by leaf, to look at it or to rewrite it. The walk goes over the tree itself, with the path
/// as a label: nothing is skipped because its path is long or its key is odd. It takes no stack however deep the tree is.

#include <kxcore/property.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

namespace kxcore {

/// Sees a leaf: its path, which is valid during the call, and its value.
using leaf_visitor = std::function<void(std::string_view path, property_handle const& value)>;

/// Sees a leaf and says what stands in its place: the same handle to leave it, another one to replace it, an empty one
/// to erase it.
using leaf_rewriter = std::function<property_handle(std::string_view path, property_handle const& value)>;

/// Sees a leaf and gives what stands in its place; an empty handle leaves it.
using value_replacer = std::function<property_handle(property_handle const& value)>;

/// Sees a member or element, trees and lists included, before what is in it: its key, which is empty in a list, and its
/// value. Says what stands in its place, an empty handle to erase it; nothing to leave it, and to go into a container.
using member_rewriter =
    std::function<std::optional<property_handle>(std::string_view key, property_handle const& value)>;

/// Sees a member or element, trees and lists included, before what is in it, and says whether it goes.
using member_predicate = std::function<bool(std::string_view path, property_handle const& value)>;

/// Calls the visitor for every leaf (all values but trees and lists), depth first, keys in byte order.
KXCORE_EXPORT void visit_leaves(properties const& tree, leaf_visitor const& visitor);
KXCORE_EXPORT void visit_leaves(property_list const& list, leaf_visitor const& visitor);

/// Rewrites leaves. Trees and lists above a changed leaf are copied, everything else stays shared; who holds an earlier
/// value sees no change. What the rewriter returns is not walked in turn.
///
/// The tree changes when the walk is over: if the rewriter raises, nothing has changed.
///
/// @return the number of leaves replaced or erased
KXCORE_EXPORT std::size_t rewrite_leaves(properties& tree, leaf_rewriter const& rewriter);

/// As `rewrite_leaves` for leaves of one kind, and quicker: no path is made, and leaves of other kinds are passed over.
///
/// @return the number of leaves replaced
KXCORE_EXPORT std::size_t replace_values(properties& tree, property_kind kind, value_replacer const& replacer);

/// As `rewrite_leaves` for members and elements of every kind, and quicker: no path is made.
///
/// @return the number of members and elements replaced or erased, not counting what was in them
KXCORE_EXPORT std::size_t rewrite_members(properties& tree, member_rewriter const& rewriter);

/// Erases the members and elements that the predicate picks, each with all that is in it; otherwise as
/// `rewrite_leaves`. The paths that the predicate sees are those before anything is erased.
///
/// @return the number of members and elements erased, not counting what was in them
KXCORE_EXPORT std::size_t erase_members(properties& tree, member_predicate const& predicate);

} // namespace kxcore
