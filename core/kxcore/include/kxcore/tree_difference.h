#pragma once

/// @file
/// What makes two trees differ, place by place.

#include <kxcore/property.h>

#include <cstddef>
#include <functional>
#include <string_view>

namespace kxcore {

/// Sees a place where two trees differ: its path, which is valid during the call, and what is there in each. An empty
/// handle: nothing is there. One of a pair of trees or of lists is never seen, what is in them is; a tree or list that
/// only one side has is seen once, as a whole.
using difference_visitor =
    std::function<void(std::string_view path, property_handle const& before, property_handle const& after)>;

/// Calls the visitor for every difference, depth first, keys in byte order. Trees are compared by key and lists by index,
/// so an element that is inserted makes all those behind it differ.
///
/// Values are compared as `property::operator==` does, and what both trees share is passed over without a look. It takes
/// no stack however deep the trees are.
///
/// @return the number of differences; 0 exactly when the trees are equal
KXCORE_EXPORT std::size_t visit_differences(properties const& before, properties const& after,
                                            difference_visitor const& visitor);

} // namespace kxcore
