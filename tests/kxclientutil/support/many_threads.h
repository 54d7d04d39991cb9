// Work done by several threads at once, for the sanitizers to watch.
#pragma once

#include <latch>
#include <thread>
#include <vector>

namespace kx_test {

/// Runs `work` in eight threads that begin together, several times in each.
template <typename Work>
void run_in_threads(Work const& work) {
    constexpr int count = 8;
    std::latch begin(count);
    std::vector<std::jthread> threads;
    for (int index = 0; index < count; ++index)
        threads.emplace_back([&] {
            begin.arrive_and_wait();
            for (int round = 0; round < 5; ++round)
                work();
        });
}

} // namespace kx_test
