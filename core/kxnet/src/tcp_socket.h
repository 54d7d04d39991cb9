// A TCP socket as the layers above see it: every call obeys a deadline, and usually is one call of the system.
#pragma once

#include <kxnet/transport.h>

#include <sys/socket.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace kxnet {

/// An address and a port of either family.
struct endpoint {
    sockaddr_storage address;
    socklen_t size;

    [[nodiscard]] sockaddr const* get() const noexcept { return reinterpret_cast<sockaddr const*>(&address); }
};

/// "192.0.2.1:4711", "[::1]:4711".
[[nodiscard]] std::string endpoint_text(endpoint const& of);

/// What errno says, in words.
[[nodiscard]] std::string system_error_text(int error);

/// Waits for events of poll(); false at the deadline.
///
/// @param stop  null for none
/// @throws connection_lost when stopped
[[nodiscard]] bool wait_on(int descriptor, short events, time_point deadline, stop_signal const* stop);

class tcp_socket {
public:
    /// Takes the descriptor over; -1 for none.
    explicit tcp_socket(int descriptor) noexcept : descriptor_(descriptor) {}
    tcp_socket(tcp_socket&& other) noexcept;
    tcp_socket& operator=(tcp_socket&& other) noexcept;
    ~tcp_socket();
    tcp_socket(tcp_socket const&) = delete;
    tcp_socket& operator=(tcp_socket const&) = delete;

    /// Connects to one address.
    ///
    /// @throws timed_out, connection_lost
    [[nodiscard]] static tcp_socket connect(endpoint const& to, time_point deadline, stop_signal const* stop);

    /// No delays for the sake of larger segments; a peer whose host has died is noticed within two minutes.
    void prepare() const noexcept;

    /// For a side that mostly receives with a deadline: spares a call for each wait, and costs a timer of the system.
    void expect_deadlines() noexcept;

    /// While it is set, whatever waits ends with a stop. Set and unset it before others use the socket.
    void set_stop(stop_signal const* stop) noexcept { stop_ = stop; }

    /// Whom errors name.
    void set_peer(std::string text) { peer_ = std::move(text); }

    /// Some of the bytes that have come; 0 at the end of the stream, empty at the deadline.
    ///
    /// @throws connection_lost
    [[nodiscard]] std::optional<std::size_t> receive_some(std::span<std::byte> out, time_point deadline) const;

    /// Sends some of the bytes; 0 at the deadline.
    ///
    /// @param more  whether others follow at once
    /// @throws connection_lost
    [[nodiscard]] std::size_t send_some(std::span<std::byte const> bytes, bool more, time_point deadline) const;

    /// As `wait_on`.
    [[nodiscard]] bool wait(short events, time_point deadline) const {
        return wait_on(descriptor_, events, deadline, stop_);
    }

    /// Ends both directions. From any thread, while others send and receive.
    void shut_down() const noexcept;

    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
    /// Gives the descriptor away.
    [[nodiscard]] int release() noexcept { return std::exchange(descriptor_, -1); }

private:
    [[nodiscard]] bool may_block(time_point deadline) const noexcept;

    int descriptor_;
    bool ends_waits_ = false;
    stop_signal const* stop_ = nullptr;
    std::string peer_;
};

} // namespace kxnet
