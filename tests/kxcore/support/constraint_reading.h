#pragma once

/// @file
/// Short ways to read the tree form of constraints in tests.

#include "constraint_values.h"

#include <kxcore/constraint_codec.h>
#include <kxcore/constraint_db.h>

namespace kxcore::constraint_tests {

inline rule read(value const& form) {
    return constraint_from_tree(static_cast<properties const&>(*form));
}

/// Reads a form that stands as the only member of a database.
inline rule read_form(value const& form) {
    auto const whole = read(tree({{"type", str("database")}, {"members", tree({{"m", form}})}}));
    return static_cast<constraint_db const&>(*whole).get_constraint("m");
}

} // namespace kxcore::constraint_tests
