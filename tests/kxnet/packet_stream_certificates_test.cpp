#include <kxnet/packet_stream.h>

#include "kxnet/tls_server.h"
#include "support/certificates.h"
#include "support/scripted_node.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <fstream>
#include <future>
#include <sstream>

namespace {

using kx_test::certificates;
using kx_test::echo;
using kx_test::error_of;
using kx_test::test_node;
using kx_test::tls_server;
using kxnet::not_secure;
using kxnet::packet_stream;
using testing::HasSubstr;

std::unique_ptr<packet_stream> connected(std::string const& port, std::string const& host = "localhost") {
    return packet_stream::connect(host, port, {true, certificates::get().ca()}, 20'000);
}

std::string text_of_file(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// All that a node sends until it ends the connection, to one who sends some bytes and stays.
std::string answer_of(test_node const& node, std::string const& sent) {
    int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    timeval const patience = {20, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(std::stoul(node.port())));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::send(socket, sent.data(), sent.size(), MSG_NOSIGNAL), static_cast<ssize_t>(sent.size()));
    std::string all;
    char byte = 0;
    errno = 0;
    while (::recv(socket, &byte, 1, 0) == 1)
        all += byte;
    EXPECT_NE(errno, EAGAIN) << "the node is to end the connection";
    ::close(socket);
    return all;
}

struct judged {
    char const* name;
    std::string file;
    char const* host;
    char const* why; ///< null when it is good
};

std::vector<judged> judged_certificates() {
    certificates const& all = certificates::get();
    std::string const local = "subjectAltName=DNS:localhost,IP:127.0.0.1";
    // Signed by a certificate that may not sign; the node sends both.
    std::string const no_authority =
        all.made("no-authority", "basicConstraints=critical,CA:FALSE", "-days 2", "ca", "x");
    std::string const chain = all.made("below", local, "-days 2", "no-authority");
    std::ofstream(chain, std::ios::app) << text_of_file(no_authority);
    return {
        {"good", all.made("table-good", local), "localhost", nullptr},
        {"wildcard for a name without a dot", all.made("wild", "subjectAltName=DNS:*"), "localhost",
         "hostname mismatch"},
        {"partial wildcard", all.made("part", "subjectAltName=DNS:local*"), "localhost", "hostname mismatch"},
        {"common name alone", all.made("cn", "keyUsage=digitalSignature", "-days 2", "ca", "localhost"), "localhost",
         "hostname mismatch"},
        {"address among the names", all.made("name", "subjectAltName=DNS:127.0.0.1"), "127.0.0.1",
         "IP address mismatch"},
        {"not valid any more", all.expired(), "localhost", "certificate has expired"},
        {"not valid yet", all.not_valid_yet(), "localhost", "certificate is not yet valid"},
        {"for clients", all.made("client", local + "\nextendedKeyUsage=clientAuth"), "localhost",
         "unsuitable certificate purpose"},
        {"by one that is no authority", chain, "localhost", "invalid CA certificate"},
        {"by a stranger", all.foreign(), "localhost", "unable to get local issuer certificate"},
    };
}

TEST(packet_stream_certificates, are_trusted_or_told_why_not) {
    for (judged const& each : judged_certificates()) {
        test_node const node(echo, {each.file, certificates::get().key()});
        if (each.why == nullptr) {
            EXPECT_TRUE(connected(node.port(), each.host));
            continue;
        }
        EXPECT_EQ(error_of<not_secure>([&] { static_cast<void>(connected(node.port(), each.host)); }),
                  std::string("the certificate of '") + each.host + "' is not to be trusted: " + each.why)
            << each.name;
    }
}

TEST(packet_stream_certificates, go_with_their_key_or_are_refused_at_once) {
    certificates const& all = certificates::get();
    EXPECT_EQ(error_of<kxbase::es::arg>([&] {
                  kxnet::listener const made("127.0.0.1", 0, {all.good(), all.foreign_key()});
              }),
              "key '" + all.foreign_key() + "': key values mismatch");
    EXPECT_EQ(error_of<kxbase::es::arg>([&] {
                  kxnet::listener const made("127.0.0.1", 0, {all.good(), all.key_of_another_kind()});
              }),
              "key '" + all.key_of_another_kind() + "': different key types");
    EXPECT_THAT(error_of<kxbase::es::arg>([&] {
                    kxnet::listener const made("127.0.0.1", 0, {all.good(), all.encrypted_key()});
                }),
                HasSubstr("key '" + all.encrypted_key() + "': "));
    EXPECT_THAT(error_of<kxbase::es::arg>([&] {
                    kxnet::listener const made("127.0.0.1", 0, {all.key(), all.key()});
                }),
                HasSubstr("certificate '" + all.key() + "': "));
}

TEST(packet_stream_certificates, are_asked_for_by_the_name_of_the_host_and_never_by_an_address) {
    for (char const* const host : {"localhost", "127.0.0.1"}) {
        std::promise<std::string> asked;
        tls_server const node(certificates::get().good(), certificates::get().key(), [&](SSL* client) {
            char const* const name = SSL_get_servername(client, TLSEXT_NAMETYPE_host_name);
            kx_test::send_to(client, kx_test::hello_text());
            kx_test::read_from(client, kxnet::hello_size);
            asked.set_value(name == nullptr ? "" : name);
        });
        EXPECT_TRUE(packet_stream::connect(host, node.port(), {true, certificates::get().ca()}, 20'000));
        EXPECT_EQ(asked.get_future().get(), host == std::string("localhost") ? "localhost" : "");
    }
}

TEST(packet_stream_certificates, fit_whole_names_with_a_dot_at_their_end) {
    std::promise<std::string> asked;
    tls_server const node(certificates::get().good(), certificates::get().key(), [&](SSL* client) {
        kx_test::send_to(client, kx_test::hello_text());
        kx_test::read_from(client, kxnet::hello_size);
        asked.set_value(SSL_get_servername(client, TLSEXT_NAMETYPE_host_name));
    });
    auto const connected_as_whole_name = [](std::string const& port) {
        return packet_stream::connect("127.0.0.1", port, {true, certificates::get().ca(), "localhost."}, 20'000);
    };
    ASSERT_TRUE(connected_as_whole_name(node.port()));
    EXPECT_EQ(asked.get_future().get(), "localhost");
    test_node const other(echo, {certificates::get().of_another_host(), certificates::get().key()});
    EXPECT_EQ(error_of<not_secure>([&] { static_cast<void>(connected_as_whole_name(other.port())); }),
              "the certificate of 'localhost' is not to be trusted: hostname mismatch");
}

TEST(packet_stream_certificates, are_for_the_name_that_is_given_where_the_host_is_reached_otherwise) {
    certificates const& all = certificates::get();
    test_node const node(echo, {all.of_another_host(), all.key()});
    auto const connected_as = [&](std::string const& name) {
        return packet_stream::connect("127.0.0.1", node.port(), {true, all.ca(), name}, 20'000);
    };
    EXPECT_TRUE(connected_as("node.example"));
    EXPECT_TRUE(connected_as("node.example."));
    EXPECT_EQ(error_of<not_secure>([&] { static_cast<void>(connected_as("example")); }),
              "the certificate of 'example' is not to be trusted: hostname mismatch");
    EXPECT_EQ(error_of<not_secure>([&] { static_cast<void>(connected_as("")); }),
              "the certificate of '127.0.0.1' is not to be trusted: IP address mismatch");
}

TEST(packet_stream_certificates, name_no_host_that_stands_for_many) {
    EXPECT_EQ(error_of<kxbase::es::call>([] { static_cast<void>(connected("1", ".example")); }).find("'.example'"), 0u);
}

// Old versions.

TEST(packet_stream_certificates, are_not_looked_at_over_old_versions_of_tls) {
    for (int const version : {TLS1_VERSION, TLS1_1_VERSION}) {
        tls_server const node(
            certificates::get().good(), certificates::get().key(), [](SSL*) {},
            [=](SSL_CTX* context) {
                SSL_CTX_set_security_level(context, 0);
                SSL_CTX_set_min_proto_version(context, version);
                SSL_CTX_set_max_proto_version(context, version);
            });
        EXPECT_THAT(error_of<not_secure>([&] { static_cast<void>(connected(node.port(), "127.0.0.1")); }),
                    HasSubstr("TLS: "));
    }
}

/// The first bytes of a client that knows no later version than TLS 1.1.
TEST(packet_stream_certificates, are_not_shown_over_old_versions_of_tls) {
    test_node const node(echo, {certificates::get().good(), certificates::get().key()});
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> const context(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
    std::unique_ptr<SSL, decltype(&SSL_free)> const client(SSL_new(context.get()), &SSL_free);
    SSL_set_connect_state(client.get());
    BIO* const in = BIO_new(BIO_s_mem());
    BIO* const out = BIO_new(BIO_s_mem());
    SSL_set_bio(client.get(), in, out);
    EXPECT_EQ(SSL_do_handshake(client.get()), -1);
    std::string hello(BIO_ctrl_pending(out), '\0');
    ASSERT_GT(BIO_read(out, hello.data(), static_cast<int>(hello.size())), 0);
    EXPECT_EQ(answer_of(node, hello), std::string("\x15\3\2\0\2\2\x46", 7)) << "the fatal alert \"protocol version\"";
    ASSERT_TRUE(kx_test::soon([&] { return node.endings().size() == 1; }));
    EXPECT_THAT(node.endings().at(0), HasSubstr("TLS: unsupported protocol"));
}

// The exact bytes for those who mean something else.

TEST(packet_stream_certificates, are_wanted_in_words_that_both_sides_know) {
    test_node const node(echo, {certificates::get().good(), certificates::get().key()});
    EXPECT_EQ(answer_of(node, kx_test::hello_text()), std::string("\x15\3\1\0\2\2\x46", 7));
}

TEST(packet_stream_certificates, are_not_spoken_of_by_a_node_without_them) {
    test_node const node(echo);
    EXPECT_EQ(answer_of(node, std::string("\x16\3\1\0\x10", 5) + std::string(16, '\1')), kx_test::hello_text());
}

} // namespace
