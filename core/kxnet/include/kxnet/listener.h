#pragma once

/// @file
/// The side of the server: where clients come in.

#include <kxnet/export.h>
#include <kxnet/packet_stream.h>
#include <kxnet/transport.h>

#include <memory>
#include <string>

namespace kxnet {

/// Listens on a port. One thread accepts; any thread may close.
class KXNET_EXPORT listener {
public:
    /// @param address  an IPv4 or IPv6 address or a name; empty for all of this host, of both kinds
    /// @param port     0 for a free one
    /// @throws es::call naming address and port when they cannot be listened on
    /// @throws es::arg naming the file when the certificate or its key cannot be used
    listener(std::string const& address, unsigned int port, server_options const& options = {});
    ~listener();
    listener(listener const&) = delete;
    listener& operator=(listener const&) = delete;

    /// The port that is listened on.
    [[nodiscard]] unsigned int port() const noexcept;

    /// The next client, not greeted yet: call `packet_stream::greet` on a thread that a silent client may hold. Empty when
    /// none has come by the deadline, once closed, and when the system refuses to let a client in: that is logged, and
    /// given 50 ms, so that a caller may call again at once. Clients that wait outside are not lost.
    [[nodiscard]] std::unique_ptr<packet_stream> accept(time_point deadline = no_deadline);

    /// Whether the last `accept` was refused for want of descriptors or memory, which clients that are let go give back.
    /// One line of the log tells of it, until a client has been taken again. Any thread.
    [[nodiscard]] bool is_full() const noexcept;

    /// From now on nobody is accepted; whoever waits in `accept` gets an empty result. Streams that it gave live on.
    void close() noexcept;

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxnet
