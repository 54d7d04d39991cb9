#pragma once

// A file descriptor with an owner.

#include <unistd.h>

#include <utility>

namespace kxcore {

class unique_fd {
public:
    explicit unique_fd(int fd = -1) noexcept : fd_(fd) {}
    unique_fd(unique_fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    unique_fd& operator=(unique_fd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~unique_fd() {
        if (fd_ >= 0) ::close(fd_);
    }
    unique_fd(unique_fd const&) = delete;
    unique_fd& operator=(unique_fd const&) = delete;

    explicit operator bool() const noexcept { return fd_ >= 0; }
    [[nodiscard]] int get() const noexcept { return fd_; }
    /// Closes at once; the result is that of close().
    int close() noexcept { return ::close(std::exchange(fd_, -1)); }

private:
    int fd_;
};

} // namespace kxcore
