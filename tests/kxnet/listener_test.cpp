#include <kxnet/listener.h>

#include "support/scripted_node.h"

#include <gmock/gmock.h>

namespace {

using kx_test::error_of;
using testing::HasSubstr;

TEST(listener, takes_a_free_port_for_0_and_refuses_one_that_is_taken) {
    kxnet::listener const first("127.0.0.1", 0);
    EXPECT_NE(first.port(), 0u);
    EXPECT_THAT(error_of<kxbase::es::call>([&] { kxnet::listener const second("127.0.0.1", first.port()); }),
                HasSubstr("cannot listen on '127.0.0.1' port " + std::to_string(first.port())));
}

TEST(listener, refuses_an_address_of_another_host) {
    EXPECT_THAT(error_of<kxbase::es::call>([] { kxnet::listener const made("192.0.2.1", 0); }),
                HasSubstr("cannot listen on '192.0.2.1'"));
}

TEST(listener, waits_until_the_deadline) {
    kxnet::listener made("127.0.0.1", 0);
    EXPECT_GE(kx_test::milliseconds_of([&] { EXPECT_FALSE(made.accept(kxnet::deadline_after(30))); }), 30);
}

TEST(listener, is_closed_by_another_thread) {
    kxnet::listener made("127.0.0.1", 0);
    std::thread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        made.close();
    });
    EXPECT_FALSE(made.accept());
    EXPECT_FALSE(made.accept());
    closer.join();
}

TEST(listener, of_all_addresses_takes_clients_of_both_kinds) {
    kx_test::test_node const node(kx_test::echo);
    for (char const* const host : {"127.0.0.1", "::1", "localhost"}) {
        auto const client = kxnet::packet_stream::connect(host, node.port(), {}, 2000);
        kxp::packet request(2, "hello");
        request.set_request_number(1);
        client->send(request, 2000);
        auto const reply = client->receive(kxnet::deadline_after(2000));
        ASSERT_TRUE(reply) << host;
        EXPECT_EQ(reply->get_name(), "hello");
    }
}

TEST(listener, names_the_certificate_or_key_that_it_cannot_use) {
    auto const error = [](kxnet::server_options const& options) {
        return error_of<kxbase::es::arg>([&] { kxnet::listener const made("127.0.0.1", 0, options); });
    };
    EXPECT_THAT(error({"/nowhere.pem", "/nowhere.key"}), HasSubstr("certificate '/nowhere.pem': "));
    EXPECT_THAT(error({"", "/nowhere.key"}), HasSubstr("certificate '': "));
}

} // namespace
