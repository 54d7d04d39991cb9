#include "interruption.h"

#include <atomic>

namespace kx {
namespace {

// Other threads look at them while the handler runs on any: they have to be atomic, and free of locks for the handler.
std::atomic<int> signal_that_came = 0;
std::atomic<int> signals_so_far = 0;
static_assert(std::atomic<int>::is_always_lock_free);

void note(int signal) {
    signal_that_came = signal;
    ++signals_so_far;
}

} // namespace

interruption::interruption() {
    signal_that_came = 0;
    signals_so_far = 0;
    struct sigaction noting = {};
    noting.sa_handler = note;
    sigemptyset(&noting.sa_mask);
    noting.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i != signals.size(); ++i) {
        ::sigaction(signals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) ::sigaction(signals[i], &noting, nullptr);
    }
}

interruption::~interruption() {
    restore();
}

void interruption::stop_if_asked() {
    if (signal_that_came != 0) throw interrupted();
}

int interruption::times_asked() {
    return signals_so_far;
}

void interruption::end_if_asked() {
    restore();
    if (signal_that_came != 0) static_cast<void>(std::raise(signal_that_came));
}

void interruption::restore() {
    if (!is_installed_) return;
    is_installed_ = false;
    for (std::size_t i = 0; i != signals.size(); ++i)
        ::sigaction(signals[i], &before_[i], nullptr);
}

} // namespace kx
