// File systems of a test's own, which nobody else sees.
#pragma once

#include <functional>
#include <string>

namespace kx_test {

/// Runs in a child of this process, where it may mount what it likes: it is seen there alone, and goes with the child. Rights
/// for that come from root, or from a name space of users that everybody may make. A machine that does not allow such a
/// child fails the test: what is not tried here is not known to work.
///
/// @param work  gives what it finds wrong, or raises it; empty when nothing is. That is printed, and fails the test.
void in_own_mounts(std::function<std::string()> const& work);

} // namespace kx_test
