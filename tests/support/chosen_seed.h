// Where a test by chance begins.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <random>

namespace kx_test {

/// The number in KX_SEED, which repeats a run; without it one that is different each time, which the test has to tell.
[[nodiscard]] inline std::uint64_t chosen_seed() {
    char const* const given = std::getenv("KX_SEED"); // NOLINT(concurrency-mt-unsafe): nobody changes it
    return given != nullptr && *given != '\0' ? std::strtoull(given, nullptr, 10) : std::random_device{}();
}

} // namespace kx_test
