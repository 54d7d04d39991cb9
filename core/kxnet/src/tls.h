// TLS as a transformation of bytes: it never touches a socket, so nobody holds its lock while waiting for a peer.
#pragma once

#include <kxnet/transport.h>

#include <kxbase/buffer.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace kxnet {

/// Certificates, and what they are for. Shared by all connections of a listener.
class tls_context {
public:
    /// For a client.
    /// @throws es::arg naming the CA file when it cannot be used
    explicit tls_context(transport_options const& options);
    /// For a server.
    /// @throws es::arg naming the file that cannot be used
    explicit tls_context(server_options const& options);
    ~tls_context();
    tls_context(tls_context const&) = delete;
    tls_context& operator=(tls_context const&) = delete;

private:
    friend class tls_session;
    struct state;
    std::unique_ptr<state> state_;
};

/// One side of a connection. One thread may encrypt while another one decrypts.
class tls_session {
public:
    /// The side of a client, which wants the server to be this host: a name or an address.
    tls_session(std::shared_ptr<tls_context const> const& context, std::string const& host);
    /// The side of a server.
    explicit tls_session(std::shared_ptr<tls_context const> const& context);
    ~tls_session();
    tls_session(tls_session const&) = delete;
    tls_session& operator=(tls_session const&) = delete;

    /// Takes what has come from the peer.
    void feed(std::span<std::byte const> bytes);

    /// Goes on with the handshake as far as the bytes fed allow.
    ///
    /// @param out  gets what has to be sent to the peer now, also when it raises
    /// @return whether the handshake is done; else it wants more bytes
    /// @throws not_secure
    [[nodiscard]] bool handshake(kxbase::buffer& out);

    /// Appends to `out` what makes the peer read these bytes.
    /// @throws connection_lost
    void encrypt(std::span<std::byte const> plain, kxbase::buffer& out);

    /// Appends to `out` what tells the peer that nothing will follow.
    void end(kxbase::buffer& out);

    /// The next bytes that the peer has sent; 0 when that takes more bytes than have been fed, or at the peer's end.
    /// @throws connection_lost
    [[nodiscard]] std::size_t decrypt(std::span<std::byte> out);

    /// Whether the peer has said that nothing will follow.
    [[nodiscard]] bool has_ended() const noexcept;

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxnet
