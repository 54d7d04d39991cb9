// What is agreed on with TLS holds for one connection, from its beginning to its end.
#include <kxnet/packet_stream.h>

#include "kxnet/tls_server.h"
#include "support/certificates.h"
#include "support/scripted_node.h"
#include "support/waiting.h"

#include <gmock/gmock.h>

#include <openssl/err.h>

#include <atomic>

namespace {

using kx_test::certificates;
using kx_test::test_node;
using kx_test::tls_server;

template <auto Free>
struct freed_by {
    template <class T>
    void operator()(T* freed) const {
        Free(freed);
    }
};
using tls_context = std::unique_ptr<SSL_CTX, freed_by<&SSL_CTX_free>>;
using tls_session = std::unique_ptr<SSL_SESSION, freed_by<&SSL_SESSION_free>>;

/// A client that would like to resume what it had agreed on before.
class resuming_client {
public:
    resuming_client(tls_context const& context, std::string const& port, SSL_SESSION* before)
        : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), ssl_(SSL_new(context.get())) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(std::stoul(port)));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("no node at port " + port);
        SSL_set_fd(ssl_.get(), socket_);
        if (before != nullptr) SSL_set_session(ssl_.get(), before);
        if (SSL_connect(ssl_.get()) != 1) throw std::runtime_error("no TLS at port " + port);
        // What the node has to say of sessions comes with its first bytes.
        EXPECT_EQ(kx_test::read_from(ssl_.get(), kxnet::hello_size).size(), kxnet::hello_size);
    }
    ~resuming_client() { ::close(socket_); }
    resuming_client(resuming_client const&) = delete;
    resuming_client& operator=(resuming_client const&) = delete;

    [[nodiscard]] tls_session agreed() const { return tls_session(SSL_get1_session(ssl_.get())); }
    [[nodiscard]] bool has_resumed() const { return SSL_session_reused(ssl_.get()) == 1; }

private:
    int socket_;
    std::unique_ptr<SSL, freed_by<&SSL_free>> ssl_;
};

TEST(packet_stream_tls_sessions, are_never_resumed) {
    test_node const node(kx_test::echo, {certificates::get().good(), certificates::get().key()});
    for (int const version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        tls_context const context(SSL_CTX_new(TLS_client_method()));
        SSL_CTX_set_max_proto_version(context.get(), version);
        resuming_client const first(context, node.port(), nullptr);
        tls_session const agreed = first.agreed();
        EXPECT_EQ(SSL_SESSION_has_ticket(agreed.get()), 0) << version;
        resuming_client const second(context, node.port(), agreed.get());
        EXPECT_FALSE(second.has_resumed()) << version;
    }
}

TEST(packet_stream_tls_sessions, are_not_agreed_on_anew_when_the_server_wants_it) {
    std::atomic<int> reason = 0;
    tls_server const node(
        certificates::get().good(), certificates::get().key(),
        [&](SSL* client) {
            kx_test::send_to(client, kx_test::hello_text());
            kx_test::read_from(client, kxnet::hello_size);
            SSL_renegotiate(client);
            SSL_do_handshake(client);
            kx_test::send_to(client, kx_test::event_text("asked"));
            char byte = 0;
            ERR_clear_error();
            EXPECT_LT(SSL_read(client, &byte, 1), 1);
            reason = ERR_GET_REASON(ERR_peek_error());
        },
        [](SSL_CTX* context) { SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION); });
    auto const client =
        kxnet::packet_stream::connect("localhost", node.port(), {true, certificates::get().ca()}, 20'000);
    ASSERT_TRUE(client->receive(kxnet::deadline_after(20'000)));
    // The refusal goes out with what is sent next.
    client->send(kxp::packet(kxp::e_packet_type::event, "next"), 20'000);
    EXPECT_THROW(static_cast<void>(client->receive(kxnet::deadline_after(20'000))), kxnet::connection_lost);
    // The client may learn of the end while the server still looks why.
    EXPECT_TRUE(kx_test::soon([&] { return reason == SSL_R_NO_RENEGOTIATION; })) << reason;
}

} // namespace
