#include <kxnet/packet_stream.h>

#include "kxnet/tls_server.h"
#include "support/certificates.h"
#include "support/scripted_node.h"
#include "support/waiting.h"

#include <kxbase/buffer.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kx_test::certificates;
using kx_test::echo;
using kx_test::error_of;
using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::test_node;
using kx_test::tls_server;
using kxnet::not_secure;
using kxnet::packet_stream;
using testing::HasSubstr;

kxnet::server_options with(std::string const& certificate) {
    return {certificate, certificates::get().key()};
}

kxnet::transport_options trusting(std::string const& ca) {
    return {true, ca};
}

/// For what answers, however busy the machine is.
constexpr unsigned int patience = 20'000;

std::unique_ptr<packet_stream> connected(std::string const& port, std::string const& host = "localhost") {
    return packet_stream::connect(host, port, trusting(certificates::get().ca()), patience);
}

void expect_echo(packet_stream& client, std::uint32_t number, std::size_t size) {
    kxp::packet request(2, "echo");
    request.set_request_number(number);
    request.set_property("blob", kx_test::blob_of(size));
    std::jthread sender([&] { client.send(request, patience); });
    auto const reply = client.receive(kxnet::deadline_after(patience));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->get_request_number(), number);
    EXPECT_TRUE(reply->get_properties() == request.get_properties());
}

TEST(packet_stream_tls, carries_packets_of_any_size) {
    test_node const node(echo, with(certificates::get().good()));
    auto const client = connected(node.port());
    std::uint32_t number = 0;
    for (std::size_t const size : {0u, 1u, 16'384u, 65'535u, 65'536u, 5'000'000u})
        expect_echo(*client, ++number, size);
}

TEST(packet_stream_tls, knows_hosts_by_name_and_by_address) {
    test_node const node(echo, with(certificates::get().good()));
    for (char const* const host : {"localhost", "127.0.0.1", "::1"})
        expect_echo(*connected(node.port(), host), 1, 10);
}

TEST(packet_stream_tls, refuses_certificates_that_are_not_to_be_trusted) {
    struct refusal {
        std::string certificate;
        char const* reason;
    };
    certificates const& all = certificates::get();
    refusal const refusals[] = {
        {all.expired(), "the certificate of 'localhost' is not to be trusted: certificate has expired"},
        {all.of_another_host(), "the certificate of 'localhost' is not to be trusted: hostname mismatch"},
        {all.foreign(), "the certificate of 'localhost' is not to be trusted: unable to get local issuer certificate"},
    };
    for (refusal const& each : refusals) {
        test_node const node(echo, with(each.certificate));
        EXPECT_THAT(error_of<not_secure>([&] { static_cast<void>(connected(node.port())); }), HasSubstr(each.reason));
        ASSERT_TRUE(kx_test::soon([&] { return node.endings().size() == 1; }));
        EXPECT_NE(node.endings().at(0), "done");
    }
    test_node const node(echo, with(all.of_another_host()));
    EXPECT_THAT(error_of<not_secure>([&] { static_cast<void>(connected(node.port(), "127.0.0.1")); }),
                HasSubstr("the certificate of '127.0.0.1' is not to be trusted: IP address mismatch"));
}

TEST(packet_stream_tls, trusts_the_system_alone_when_no_file_is_given) {
    test_node const node(echo, with(certificates::get().good()));
    EXPECT_THAT(error_of<not_secure>([&] {
                    static_cast<void>(packet_stream::connect("localhost", node.port(), trusting(""), patience));
                }),
                HasSubstr("not to be trusted: unable to get local issuer certificate"));
}

TEST(packet_stream_tls, names_the_file_of_authorities_that_it_cannot_use) {
    EXPECT_THAT(error_of<kxbase::es::arg>(
                    [] { static_cast<void>(packet_stream::connect("localhost", "1", trusting("/nowhere.pem"), 100)); }),
                HasSubstr("CA file '/nowhere.pem': "));
}

TEST(packet_stream_tls, never_goes_on_without_it) {
    test_node const plain(echo);
    EXPECT_THAT(error_of<not_secure>([&] { static_cast<void>(connected(plain.port())); }),
                HasSubstr("the peer does not speak TLS"));
    ASSERT_TRUE(kx_test::soon([&] { return plain.endings().size() == 1; }));
    EXPECT_THAT(plain.endings().at(0), HasSubstr("wants TLS"));

    test_node const encrypted(echo, with(certificates::get().good()));
    EXPECT_THAT(error_of<not_secure>(
                    [&] { static_cast<void>(packet_stream::connect("localhost", encrypted.port(), {}, patience)); }),
                HasSubstr("wants TLS"));
    ASSERT_TRUE(kx_test::soon([&] { return encrypted.endings().size() == 1; }));
    EXPECT_THAT(encrypted.endings().at(0), HasSubstr("the peer does not speak TLS"));
}

TEST(packet_stream_tls, waits_for_the_handshake_no_longer_than_it_may) {
    fault_server const node(kx_test::silent());
    EXPECT_THROW(
        static_cast<void>(packet_stream::connect("127.0.0.1", node.port(), trusting(certificates::get().ca()), 100)),
        kxnet::timed_out);
}

TEST(packet_stream_tls, survives_an_end_in_the_middle_of_the_handshake) {
    fault_server const node([](fault_connection& client) { static_cast<void>(client.read(100)); });
    EXPECT_THROW(static_cast<void>(connected(node.port(), "127.0.0.1")), kxnet::connection_lost);
}

/// Sends what holds no data, again and again, until the client has gone.
enum class e_empty_record { ticket, key_update, key_update_with_answer };

void send_without_data(SSL* client, e_empty_record kind) {
    bool is_sent = true;
    while (is_sent && !kx_test::has_gone(client)) {
        int const answer =
            kind == e_empty_record::key_update_with_answer ? SSL_KEY_UPDATE_REQUESTED : SSL_KEY_UPDATE_NOT_REQUESTED;
        is_sent =
            (kind == e_empty_record::ticket ? SSL_new_session_ticket(client) : SSL_key_update(client, answer)) == 1 &&
            SSL_do_handshake(client) == 1;
    }
}

/// A flood that a client meets behind the hello, or in its place.
struct flood {
    bool is_greeted;
    e_empty_record kind;
};

/// Whether the client met the flood. On a busy machine TLS may take all of its time, or the flood may be none.
bool meets(flood const& which) {
    std::atomic<std::uint64_t> sent = 0;
    tls_server const node(certificates::get().good(), certificates::get().key(), [&](SSL* client) {
        if (which.is_greeted) kx_test::send_to(client, kx_test::hello_text());
        send_without_data(client, which.kind);
        sent = BIO_number_written(SSL_get_wbio(client));
    });
    std::string error = "does not greet in time";
    long long const took = kx_test::milliseconds_of([&] {
        if (!which.is_greeted) {
            error = error_of<kxnet::timed_out>([&] {
                static_cast<void>(
                    packet_stream::connect("127.0.0.1", node.port(), trusting(certificates::get().ca()), 1000));
            });
            return;
        }
        auto const client = connected(node.port(), "127.0.0.1");
        EXPECT_FALSE(client->receive(kxnet::deadline_after(1000)));
    });
    EXPECT_LT(took, 15'000);
    if (error.find("does not answer in time") != std::string::npos) return false;
    EXPECT_THAT(error, HasSubstr("does not greet in time"));
    EXPECT_TRUE(kx_test::soon([&] { return sent != 0; }));
    return sent > 5000;
}

TEST(packet_stream_tls, keeps_to_its_deadlines_while_records_without_data_come) {
    for (bool const is_greeted : {false, true}) {
        for (auto const kind : {e_empty_record::ticket, e_empty_record::key_update}) {
            bool is_met = false;
            for (int i = 0; i != 10 && !is_met && !HasFailure(); ++i)
                is_met = meets({is_greeted, kind});
            EXPECT_TRUE(is_met) << "the flood is to be one";
        }
    }
}

TEST(packet_stream_tls, loses_a_peer_that_wants_new_keys_over_and_over) {
    tls_server const node(certificates::get().good(), certificates::get().key(), [](SSL* client) {
        kx_test::send_to(client, kx_test::hello_text());
        send_without_data(client, e_empty_record::key_update_with_answer);
    });
    auto const client = connected(node.port(), "127.0.0.1");
    EXPECT_EQ(error_of<kxnet::connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); }),
              "TLS: the peer asks for new keys over and over");
}

TEST(packet_stream_tls, is_told_of_the_end) {
    test_node const node([](packet_stream&) {}, with(certificates::get().good()));
    auto const client = connected(node.port());
    EXPECT_THAT(error_of<kxnet::connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); }),
                HasSubstr("has closed the connection"));
}

TEST(packet_stream_tls, is_closed_by_another_thread) {
    test_node const node(echo, with(certificates::get().good()));
    auto const client = connected(node.port());
    std::jthread const closer([&, self = kx_test::this_thread()] {
        EXPECT_TRUE(kx_test::soon([&] { return kx_test::is_waiting(self); }));
        client->close();
    });
    EXPECT_THROW(static_cast<void>(client->receive(kxnet::no_deadline)), kxnet::connection_lost);
}

} // namespace
