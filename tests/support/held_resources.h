// What a process holds of the system's: threads and descriptors.
#pragma once

#include "support/waiting.h"

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>

namespace kx_test {

/// How many threads this process has. One that was joined may count for a moment longer.
[[nodiscard]] inline std::size_t count_threads() {
    auto const each = std::filesystem::directory_iterator("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(each), end(each)));
}

/// How many descriptors this process has.
[[nodiscard]] inline std::size_t count_descriptors() {
    auto const each = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(each), end(each)));
}

/// What this process holds while nothing is under way, to be compared with what it holds afterwards.
class held_resources {
public:
    /// Waits for the threads that have just been joined: to the system they live a little longer.
    held_resources() {
        std::string ended;
        // With the first thread the thread sanitizer starts one of its own, which stays.
        std::thread([&ended] { ended = this_thread(); }).join();
        static_cast<void>(soon([&ended] { return !std::filesystem::exists("/proc/self/task/" + ended); }));
        threads_ = count_threads();
        descriptors_ = count_descriptors();
    }

    [[nodiscard]] std::size_t threads() const { return threads_; }

    /// Whether there is no more, at once or within twenty seconds.
    [[nodiscard]] bool are_all_soon() const {
        return soon([this] { return count_threads() <= threads_ && count_descriptors() <= descriptors_; });
    }

    friend std::ostream& operator<<(std::ostream& out, held_resources const& before) {
        return out << count_threads() << " threads and " << count_descriptors() << " descriptors, before "
                   << before.threads_ << " and " << before.descriptors_;
    }

private:
    std::size_t threads_ = 0;
    std::size_t descriptors_ = 0;
};

} // namespace kx_test
