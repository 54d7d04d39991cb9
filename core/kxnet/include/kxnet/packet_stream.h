#pragma once

/// @file
/// Packets over a socket, for both sides: TCP or TLS, IPv4 or IPv6, a time-out on every step.

#include <kxbase/ptr_refcount.h>
#include <kxnet/export.h>
#include <kxnet/frame.h>
#include <kxnet/packet.h>
#include <kxnet/transport.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace kxnet {

class packet_stream_parts;

/// A connection that carries packets both ways. One thread may receive while others send; those who send wait for their
/// turn. Errors of sending and receiving leave it of no use, but for those that say otherwise; it is closed with its last
/// owner.
///
/// While a frame is under way, either way, its next bytes have to come within the time-out, and 1,000 bytes a second on
/// the average beside it.
class KXNET_EXPORT packet_stream {
public:
    /// Connects to a server and greets it; the time-out is for all of it. All addresses of the host are tried in the order
    /// in which the system gives them, each with an equal share of the time that is left.
    ///
    /// @param host        a name or an IPv4 or IPv6 address
    /// @param port        a decimal number or the name of a service
    /// @param timeout_ms  0 for 30 seconds
    /// @param stop        ends it from another thread; null for none
    /// @throws timed_out, version_mismatch, connection_lost, not_secure; es::arg naming a CA file that cannot be used
    [[nodiscard]] static std::unique_ptr<packet_stream> connect(std::string const& host, std::string const& port,
                                                                transport_options const& options,
                                                                unsigned int timeout_ms,
                                                                stop_signal const* stop = nullptr);

    ~packet_stream();
    packet_stream(packet_stream const&) = delete;
    packet_stream& operator=(packet_stream const&) = delete;

    /// For the side of the server, whose streams come from a listener: agrees on TLS, if there is to be any, and exchanges
    /// hellos. Until then nothing can be sent or received.
    ///
    /// @throws timed_out, version_mismatch, connection_lost, not_secure
    void greet(unsigned int timeout_ms);

    /// Sends a packet, under its own number or another one.
    ///
    /// @throws es::arg as `frame`: nothing has been sent then, and the stream is as good as before
    /// @throws timed_out when other packets that are being sent take the whole time-out: the stream is as good as before
    /// @throws timed_out, connection_lost
    void send(kxp::packet const& packet, unsigned int timeout_ms, progress_function const& progress = {});
    void send(frame const& frame, unsigned int timeout_ms, progress_function const& progress = {});

    /// The next packet; empty when none has come whole by the deadline, and the stream is as good as before.
    ///
    /// @param timeout_ms  for the next bytes of a frame that is under way; 0 for 30 seconds
    /// @throws timed_out, connection_lost
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet> receive(time_point deadline, unsigned int timeout_ms = 0);

    /// How long a frame may be that the other side sends, behind its length; 0 for what the limit frame allows, which is so
    /// from the beginning. The values in it are limited with it (`kxbase::most_values`). A server allows strangers little:
    /// until they have logged in, what they send is read and decoded for nothing. Goes for frames that `receive` has not
    /// given yet; for whoever receives.
    void set_frame_limit(std::size_t bytes) noexcept;

    /// How many bytes of the reply with this number have come, while it has not come whole; else 0. Any thread.
    [[nodiscard]] std::size_t reply_under_way(std::uint32_t number) const noexcept;

    /// The bytes of the packet received last, or `bytes_per_value` for each value in it when that is more, because it
    /// then takes more memory; for whoever receives.
    [[nodiscard]] std::size_t received_size() const noexcept;

    /// Ends the connection at once, from any thread: whoever sends or receives is told so by a connection_lost.
    void close() noexcept;

    /// Whether it can still be sent on and received from, as far as this side has decided: a peer that has gone is noticed
    /// by sending and receiving alone. Any thread.
    [[nodiscard]] bool is_open() const noexcept;

    /// The address and port of the other side: "192.0.2.1:4711", "[::1]:4711".
    [[nodiscard]] std::string const& peer() const noexcept;

private:
    friend class listener;
    explicit packet_stream(std::unique_ptr<packet_stream_parts> parts) noexcept;

    std::unique_ptr<packet_stream_parts> parts_;
};

} // namespace kxnet
