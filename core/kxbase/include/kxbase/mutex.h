#pragma once

/// @file
/// A mutex that const objects can lock, and the scope that holds it.

#include <kxbase/export.h>

#include <mutex>

namespace kxbase {

/// A mutex, recursive when made so: the thread that holds it may then take it again.
class KXBASE_EXPORT mutex {
public:
    explicit mutex(bool recursive) noexcept : recursive_(recursive) {}
    mutex(mutex const&) = delete;
    mutex& operator=(mutex const&) = delete;
    ~mutex() = default;

    /// Waits until nobody else holds the mutex, and takes it. A plain one must not be held by this thread already.
    void lock() const;
    /// Gives it back, as often as it was taken.
    void unlock() const noexcept;

private:
    bool recursive_;
    mutable std::mutex plain_mutex_;
    mutable std::recursive_mutex recursive_mutex_;
};

/// Holds a mutex from its beginning to its end.
class [[nodiscard]] scoped_lock {
public:
    explicit scoped_lock(mutex const& held) : held_(held) { held_.lock(); }
    scoped_lock(scoped_lock const&) = delete;
    scoped_lock& operator=(scoped_lock const&) = delete;
    ~scoped_lock() { held_.unlock(); }

private:
    mutex const& held_;
};

} // namespace kxbase
