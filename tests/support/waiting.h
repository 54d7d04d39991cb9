// Waiting for what others do.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace kx_test {

/// Looks again and again until the condition holds.
/// @return false when it doesn't within `patience`
template <typename Condition>
[[nodiscard]] bool soon(Condition const& condition, std::chrono::seconds patience = std::chrono::seconds(20)) {
    auto const end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// How many milliseconds a call takes.
template <typename Call>
[[nodiscard]] long long milliseconds_of(Call const& call) {
    auto const begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
}

/// The calling thread, for `is_waiting`: its name in /proc/self/task.
[[nodiscard]] inline std::string this_thread() {
    return std::filesystem::read_symlink("/proc/thread-self").filename().string();
}

/// Whether a thread waits for something outside of it, as one does that has come to a read or a poll.
///
/// @param stat  its file of that name in /proc
[[nodiscard]] inline bool is_waiting_at(std::string const& stat) {
    std::string text;
    std::getline(std::ifstream(stat), text);
    // The name, which may hold anything, stands in parentheses.
    std::size_t const behind_name = text.rfind(')');
    return behind_name != std::string::npos && behind_name + 2 < text.size() && text[behind_name + 2] == 'S';
}

/// The same of a thread of this process.
[[nodiscard]] inline bool is_waiting(std::string const& thread) {
    return is_waiting_at("/proc/self/task/" + thread + "/stat");
}

} // namespace kx_test
