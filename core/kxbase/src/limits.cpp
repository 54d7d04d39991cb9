#include <kxbase/limits.h>

#include <array>
#include <atomic>
#include <mutex>

namespace kxbase {

namespace {

constexpr std::array<std::size_t limits::*, 8> members = {
    &limits::document, &limits::frame, &limits::expansion, &limits::nesting,
    &limits::string,   &limits::key,   &limits::members,   &limits::path,
};
static_assert(sizeof(limits) == members.size() * sizeof(std::size_t), "a limit is missing from the table");

/// One set of limits that is read without a lock. The version is odd while a writer is at work; a reader who met one,
/// or who finds another version at the end than at the beginning, reads again.
class shared_limits {
public:
    shared_limits() noexcept { store({}); }

    [[nodiscard]] limits load() const noexcept {
        limits loaded;
        for (;;) {
            unsigned int const before = version_.load(std::memory_order_acquire);
            for (std::size_t i = 0; i < members.size(); ++i)
                loaded.*members[i] = values_[i].load(std::memory_order_acquire);
            if (before % 2 == 0 && version_.load(std::memory_order_relaxed) == before) return loaded;
        }
    }

    limits exchange(limits const& changed) noexcept {
        std::lock_guard const held(writers_);
        limits const before = load();
        store(changed);
        return before;
    }

private:
    void store(limits const& changed) noexcept {
        unsigned int const version = version_.load(std::memory_order_relaxed);
        version_.store(version + 1, std::memory_order_relaxed);
        for (std::size_t i = 0; i < members.size(); ++i)
            values_[i].store(changed.*members[i], std::memory_order_release);
        version_.store(version + 2, std::memory_order_release);
    }

    std::mutex writers_;
    std::atomic<unsigned int> version_ = 0;
    std::array<std::atomic<std::size_t>, members.size()> values_{};
};

shared_limits& the_limits() noexcept {
    static shared_limits instance;
    return instance;
}

} // namespace

limits current_limits() noexcept {
    return the_limits().load();
}

limits set_limits(limits const& changed) noexcept {
    return the_limits().exchange(changed);
}

} // namespace kxbase
