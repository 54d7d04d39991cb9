#pragma once

// What connections are measured beside: bytes over a socket of the system, and over OpenSSL on one, with nothing around
// them.

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace kxbench {

using bytes_view = std::span<std::byte const>;

/// One end of a TCP connection. Blocks; one thread for each direction.
class byte_stream {
public:
    byte_stream() = default;
    virtual ~byte_stream() = default;
    byte_stream(byte_stream const&) = delete;
    byte_stream& operator=(byte_stream const&) = delete;

    /// Sends all of the bytes.
    virtual void send(bytes_view bytes) = 0;
    /// Fills the room; false when the other end has closed.
    [[nodiscard]] virtual bool receive(std::span<std::byte> room) = 0;
};

enum class e_security : unsigned char { plain, tls };

/// Listens on a free port of loopback for one client.
class byte_listener {
public:
    byte_listener();
    ~byte_listener();
    byte_listener(byte_listener const&) = delete;
    byte_listener& operator=(byte_listener const&) = delete;

    [[nodiscard]] unsigned int port() const noexcept { return port_; }

    /// The server's end, TLS agreed on.
    [[nodiscard]] std::unique_ptr<byte_stream> accept(e_security security) const;

private:
    int descriptor_;
    unsigned int port_;
};

/// The client's end, TLS agreed on with a server that is trusted.
[[nodiscard]] std::unique_ptr<byte_stream> connect_bytes(unsigned int port, e_security security);

} // namespace kxbench
