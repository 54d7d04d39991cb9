#pragma once

/// @file
/// What a run does when the user presses Ctrl-C or the system asks it to end: it comes to a place where it can stop, tidies
/// up, and then ends as it was asked to.

#include <array>
#include <csignal>
#include <exception>

namespace kx {

/// The run was asked to end. No error of the input, so none of the library's families.
class interrupted : public std::exception {
public:
    [[nodiscard]] char const* what() const noexcept override { return "interrupted"; }
};

/// While it lives, SIGINT, SIGTERM and SIGHUP are noted instead of ending the process; what was ignored stays ignored.
/// One at a time.
class interruption {
public:
    interruption();
    ~interruption();
    interruption(interruption const&) = delete;
    interruption& operator=(interruption const&) = delete;

    /// For places where the work can stop.
    ///
    /// @throws interrupted when one of the signals has come
    static void stop_if_asked();

    /// How many of them have come: a user who presses Ctrl-C again is in a hurry. Any thread.
    [[nodiscard]] static int times_asked();

    /// Ends the process by the signal that has come, with the handling that was there before; returns when none has.
    void end_if_asked();

private:
    void restore();

    static constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, signals.size()> before_{};
    bool is_installed_ = true;
};

} // namespace kx
