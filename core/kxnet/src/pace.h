// How fast a frame has to go: its next bytes within the time-out, and 1,000 bytes a second on the average beside it.
#pragma once

#include <kxnet/transport.h>

#include <kxbase/limits.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace kxnet {

class pace {
public:
    /// A frame begins.
    void begin(time_point now) noexcept {
        began_ = latest_ = looking_since_ = now;
        bytes_ = 0;
        is_running_ = true;
    }

    /// Some of it has gone.
    void advance(std::size_t bytes, time_point now) noexcept {
        bytes_ += bytes;
        latest_ = now;
    }

    /// From then on nobody looks for its next bytes. A time before somebody began to look counts as that time.
    void pause(time_point when) noexcept { paused_ = std::max(when, looking_since_); }

    /// Somebody looks again: the time between is not the peer's.
    void resume(time_point now) noexcept {
        began_ += now - paused_;
        latest_ += now - paused_;
        looking_since_ = now;
    }

    void end() noexcept { is_running_ = false; }
    [[nodiscard]] bool is_running() const noexcept { return is_running_; }

    /// When the next bytes have to have gone.
    [[nodiscard]] time_point deadline(unsigned int timeout_ms) const noexcept {
        std::chrono::milliseconds const timeout(timeout_ms == 0 ? kxbase::default_timeout_ms : timeout_ms);
        // Each byte is worth the time that it takes at the least rate.
        std::chrono::milliseconds const earned(bytes_ * 1000 / kxbase::least_frame_rate);
        return std::min(latest_ + timeout, began_ + timeout + earned);
    }

private:
    time_point began_{};
    time_point latest_{};
    time_point looking_since_{};
    time_point paused_{};
    std::size_t bytes_ = 0;
    bool is_running_ = false;
};

} // namespace kxnet
