#pragma once

/// @file
/// Trees as indented text for people: one line per value, so that two of them can be compared by `diff`.

#include <kxcore/property_walk.h>

#include <string>
#include <string_view>

namespace kx {

/// The members of the tree, in byte order of their keys. Strings stand in double quotes, bools and ints as they are,
/// other kinds between angle brackets; elements of lists begin with a dash.
[[nodiscard]] std::string to_text(kxcore::properties const& tree);

/// A copy of the tree as it may be shown, `kxcore::credentials::without_secrets`. Of a job, also without the original that
/// it keeps, when that holds any secret.
[[nodiscard]] kxcore::properties without_credentials(kxcore::properties const& tree);

/// Calls the visitor for every leaf of a part of a tree, with its path in the tree.
void visit_leaves_below(std::string_view path, kxcore::property_handle const& value,
                        kxcore::leaf_visitor const& visitor);

} // namespace kx
