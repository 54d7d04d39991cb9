#pragma once

#include <cstddef>

namespace kxbench {

/// How far the memory of this process climbs above what it held at the beginning, as the kernel counts it: whatever
/// allocator and library took it. One at a time.
class memory_peak {
public:
    /// Gives free memory back first, so that none is taken from what was used before.
    memory_peak();

    /// The bytes since then, at the most.
    [[nodiscard]] std::size_t bytes() const;

    /// The bytes since then, now.
    [[nodiscard]] std::size_t held() const;

private:
    std::size_t before_;
};

} // namespace kxbench
