#pragma once

/// @file
/// What everybody who opens or serves connections needs: options, time-outs, and the errors that are told apart.

#include <kxbase/errors.h>
#include <kxnet/export.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kxnet {

/// How a client reaches a server. With TLS (1.2 or later) the server's certificate must be trusted and name the host or
/// address that was asked for, a dot at the end of its name aside; there is no way round it, and never a connection without
/// TLS in its place.
struct transport_options {
    bool tls = false;
    /// The certificates to trust, as a PEM file; empty for those that the system trusts. Those in a file replace the
    /// system's. Without TLS it has no meaning.
    std::string ca_file;
    /// The host name that the certificate must be for, where that is not the host that is asked for: a node that was found on
    /// the network is reached at its address. Empty where it is.
    std::string certificate_name = {};
};

/// How a server is reached: with TLS when a certificate is given, which then is the only way.
struct server_options {
    std::string certificate_file; ///< PEM, with the certificates between it and the one that clients trust
    std::string key_file;         ///< PEM, its private key, not encrypted
};

using time_point = std::chrono::steady_clock::time_point;

/// The deadline of a step that begins now: `timeout_ms` milliseconds, or the default of 30 seconds for 0.
[[nodiscard]] KXNET_EXPORT time_point deadline_after(unsigned int timeout_ms) noexcept;

/// No deadline.
inline constexpr time_point no_deadline = time_point::max();

/// Told while a frame is sent: how many of its bytes are on their way. It may throw: the frame stays incomplete then, the
/// connection is of no use any more, and the error passes on.
using progress_function = std::function<void(std::uint64_t sent, std::uint64_t total)>;

/// A step took longer than its time-out, or fell below 1,000 bytes a second.
class KXNET_EXPORT timed_out : public kxbase::es::call {
public:
    using call::call;
};

/// The peer speaks another version of the protocol.
class KXNET_EXPORT version_mismatch : public kxbase::es::call {
public:
    using call::call;
};

/// The connection cannot be made, or has come to its end: refused, reset, closed, or broken by bytes that are none of the
/// protocol's.
class KXNET_EXPORT connection_lost : public kxbase::es::call {
public:
    using call::call;
};

/// One side wants TLS and the other does not, or the certificate is not to be trusted.
class KXNET_EXPORT not_secure : public kxbase::es::call {
public:
    using call::call;
};

/// Ends what waits, from any thread: a connect that is under way. Once stopped it stays so.
class KXNET_EXPORT stop_signal {
public:
    /// @throws es::call when the process has no descriptors left
    stop_signal();
    ~stop_signal();
    stop_signal(stop_signal const&) = delete;
    stop_signal& operator=(stop_signal const&) = delete;

    /// Ends what waits, now and from now on.
    void stop() noexcept;
    /// Whether `stop` has been called.
    [[nodiscard]] bool is_stopped() const noexcept;
    /// Readable once stopped: for poll().
    [[nodiscard]] int descriptor() const noexcept;

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxnet
