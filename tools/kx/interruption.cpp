#include "interruption.h"

namespace kx {
namespace {

volatile std::sig_atomic_t signal_that_came = 0;

void note(int signal) {
    signal_that_came = signal;
}

} // namespace

interruption::interruption() {
    signal_that_came = 0;
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
