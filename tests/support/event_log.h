// What happens on other threads, as lines that a test waits for.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace kx_test {

/// Any thread may add lines and look at them.
class event_log {
public:
    void add(std::string line) {
        {
            std::lock_guard const lock(guard_);
            lines_.push_back(std::move(line));
        }
        changed_.notify_all();
    }

    [[nodiscard]] std::vector<std::string> lines() const {
        std::lock_guard const lock(guard_);
        return lines_;
    }

    /// All lines, for what a failed test says.
    [[nodiscard]] std::string text() const {
        std::lock_guard const lock(guard_);
        std::string text;
        for (auto const& line : lines_)
            text += "\n  " + line;
        return text;
    }

    /// How often a line is there.
    [[nodiscard]] std::size_t count(std::string const& line) const {
        std::lock_guard const lock(guard_);
        return count_of(line);
    }

    /// Waits until a line is there, as often as told.
    /// @return false when it isn't within the time
    [[nodiscard]] bool wait_for(std::string const& line, std::size_t times = 1,
                                std::chrono::seconds patience = std::chrono::seconds(20)) const {
        std::unique_lock lock(guard_);
        // Each line once: whoever adds thousands waits meanwhile.
        std::size_t seen = 0, found = 0;
        return changed_.wait_for(lock, patience, [&] {
            for (; seen != lines_.size(); ++seen)
                found += lines_[seen] == line ? 1U : 0U;
            return found >= times;
        });
    }

private:
    [[nodiscard]] std::size_t count_of(std::string const& line) const {
        return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
    }

    std::mutex mutable guard_;
    std::condition_variable mutable changed_;
    std::vector<std::string> lines_;
};

} // namespace kx_test
