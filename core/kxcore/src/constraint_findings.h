#pragma once

/// @file
/// The walk that explains what is wrong with a tree. constraint_db::is_valid answers faster whether anything is.

#include <kxcore/constraint_finding.h>

#include <cstddef>
#include <vector>

namespace kxcore {

class constraint;
class constraint_db;
class properties;
class property;

/// What to look for.
struct finding_request {
    unsigned int flags;
    std::size_t at_most;
    bool invalid; ///< members that don't fit, and unknown ones
    bool missing; ///< required members that are not there
};

/// The findings in the order of their paths.
std::vector<finding> find_findings(constraint_db const& database, properties const& tree,
                                   finding_request const& request);

/// Whether every required member is there, in the value and in all that is nested in it.
bool is_satisfied(constraint const& by, property const& value, unsigned int flags);

} // namespace kxcore
