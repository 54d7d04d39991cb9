// A thread whose stack recursion over a deep tree would overflow.
#pragma once

#include <functional>

namespace kx_test {

/// Runs the work on a thread with a stack of 256 KiB (2 MiB under a sanitizer), and waits for its end. What the work raises
/// is raised here; a thread that cannot be made is a std::system_error.
void run_on_small_stack(std::function<void()> const& work);

} // namespace kx_test
