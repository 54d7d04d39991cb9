// Waiting for what others do.
#pragma once

#include <chrono>
#include <thread>

namespace kx_test {

/// Looks again and again until the condition holds.
/// @return false when it doesn't within `patience`
template <typename Condition>
[[nodiscard]] bool holds_soon(Condition const& condition, std::chrono::seconds patience = std::chrono::seconds(20)) {
    auto const end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

} // namespace kx_test
