#include <kxnet/transport.h>

#include "wake_pipe.h"

#include <kxbase/limits.h>

#include <atomic>

namespace kxnet {

time_point deadline_after(unsigned int timeout_ms) noexcept {
    unsigned int const effective = timeout_ms == 0 ? kxbase::default_timeout_ms : timeout_ms;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(effective);
}

struct stop_signal::state {
    wake_pipe pipe;
    std::atomic<bool> is_stopped = false;
};

stop_signal::stop_signal() : state_(std::make_unique<state>()) {}

stop_signal::~stop_signal() = default;

void stop_signal::stop() noexcept {
    state_->is_stopped = true;
    state_->pipe.wake();
}

bool stop_signal::is_stopped() const noexcept {
    return state_->is_stopped;
}

int stop_signal::descriptor() const noexcept {
    return state_->pipe.descriptor();
}

} // namespace kxnet
