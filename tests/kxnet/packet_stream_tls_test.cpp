#include <kxnet/packet_stream.h>

#include "support/certificates.h"
#include "support/scripted_node.h"

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
using kxnet::not_secure;
using kxnet::packet_stream;
using testing::HasSubstr;

kxnet::server_options with(std::string const& certificate) {
    return {certificate, certificates::get().key()};
}

kxnet::transport_options trusting(std::string const& ca) {
    return {true, ca};
}

std::unique_ptr<packet_stream> connected(std::string const& port, std::string const& host = "localhost") {
    return packet_stream::connect(host, port, trusting(certificates::get().ca()), 3000);
}

void expect_echo(packet_stream& client, std::uint32_t number, std::size_t size) {
    kxp::packet request(2, "echo");
    request.set_request_number(number);
    request.set_property("blob", kx_test::blob_of(size));
    std::jthread sender([&] { client.send(request, 5000); });
    auto const reply = client.receive(kxnet::deadline_after(10'000));
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
    EXPECT_THAT(error_of<not_secure>(
                    [&] { static_cast<void>(packet_stream::connect("localhost", node.port(), trusting(""), 3000)); }),
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
                    [&] { static_cast<void>(packet_stream::connect("localhost", encrypted.port(), {}, 3000)); }),
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

TEST(packet_stream_tls, is_told_of_the_end) {
    test_node const node([](packet_stream&) {}, with(certificates::get().good()));
    auto const client = connected(node.port());
    EXPECT_THAT(error_of<kxnet::connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); }),
                HasSubstr("has closed the connection"));
}

TEST(packet_stream_tls, is_closed_by_another_thread) {
    test_node const node(echo, with(certificates::get().good()));
    auto const client = connected(node.port());
    std::jthread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        client->close();
    });
    EXPECT_THROW(static_cast<void>(client->receive(kxnet::no_deadline)), kxnet::connection_lost);
}

} // namespace
