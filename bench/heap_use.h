#pragma once

#include <malloc.h>

#include <cstddef>

namespace kxbench {

/// The bytes of heap in use, the allocator's own overhead counted: what any library took by malloc or new.
[[nodiscard]] inline std::size_t heap_use() {
    auto const use = mallinfo2();
    return use.uordblks + use.hblkhd;
}

} // namespace kxbench
