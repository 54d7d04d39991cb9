// What code under test asks the heap for.
#pragma once

#include <cstddef>

namespace kx_test {

/// Adds up what this thread asks the heap for during its life, through malloc, calloc, realloc and new. What is given
/// back is not taken off. One at a time in a thread.
class heap_watch {
public:
    heap_watch() noexcept;
    ~heap_watch();

    heap_watch(heap_watch const&) = delete;
    heap_watch& operator=(heap_watch const&) = delete;

    /// The bytes asked for so far.
    [[nodiscard]] std::size_t bytes() const noexcept;
};

} // namespace kx_test
