#include <kxnet/listener.h>

#include "support/captured_report.h"
#include "support/scripted_node.h"
#include "support/waiting.h"

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

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
    std::jthread const closer([&, self = kx_test::this_thread()] {
        EXPECT_TRUE(kx_test::soon([&] { return kx_test::is_waiting(self); }));
        made.close();
    });
    EXPECT_FALSE(made.accept());
    EXPECT_FALSE(made.accept());
}

/// No descriptor is left in the process as long as it lives, but those that are given back.
class no_descriptors {
public:
    no_descriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        int const first = ::dup(0);
        rlimit const few = {static_cast<rlim_t>(first) + 20, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int each = first; each >= 0; each = ::dup(0))
            taken_.push_back(each);
    }
    ~no_descriptors() {
        for (int const each : taken_)
            ::close(each);
        ::setrlimit(RLIMIT_NOFILE, &before_);
    }
    no_descriptors(no_descriptors const&) = delete;
    no_descriptors& operator=(no_descriptors const&) = delete;

    void give_one_back() {
        ::close(taken_.back());
        taken_.pop_back();
    }

private:
    rlimit before_ = {};
    std::vector<int> taken_;
};

/// Connected to a port of this host, and nothing more.
class bare_client {
public:
    explicit bare_client(unsigned int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~bare_client() { ::close(socket_); }
    bare_client(bare_client const&) = delete;
    bare_client& operator=(bare_client const&) = delete;

private:
    int socket_;
};

TEST(listener, that_has_no_room_for_a_client_says_so_and_takes_it_when_there_is) {
    kx_test::captured_report const log;
    kxbase::report("", 0, "test", 0, 7, "seen");
    kxnet::listener made("127.0.0.1", 0);
    bare_client const client(made.port());
    EXPECT_FALSE(made.is_full());
    // What holds is looked at afterwards: without a descriptor the undefined-behaviour sanitizer knows no types.
    int taken = 0;
    bool was_full = false;
    long long took = 0;
    bool is_taken_then = false;
    {
        no_descriptors full;
        took = kx_test::milliseconds_of([&] {
            for (int i = 0; i != 3; ++i)
                if (made.accept()) ++taken;
        });
        was_full = made.is_full();
        full.give_one_back();
        is_taken_then = made.accept(kxnet::deadline_after(20'000)) != nullptr;
    }
    EXPECT_EQ(taken, 0);
    EXPECT_TRUE(was_full);
    EXPECT_GE(took, 150) << "each is to wait a moment";
    EXPECT_LT(took, 10'000) << "none is to wait for a client";
    EXPECT_TRUE(is_taken_then);
    EXPECT_FALSE(made.is_full());
    EXPECT_THAT(log.messages(), testing::ElementsAre("seen", "no client can be taken: Too many open files"));
}

TEST(listener, waits_for_room_no_longer_than_it_may) {
    kx_test::captured_report const log;
    kxbase::report("", 0, "test", 0, 7, "seen");
    kxnet::listener made("127.0.0.1", 0);
    bare_client const client(made.port());
    bool is_taken = false;
    long long shortest = std::numeric_limits<long long>::max();
    {
        no_descriptors const full;
        // On a busy machine most may take longer, for want of a processor.
        for (int i = 0; i != 200 && shortest >= 45; ++i)
            shortest = std::min(shortest, kx_test::milliseconds_of([&] {
                                    is_taken = is_taken || made.accept(kxnet::deadline_after(5)) != nullptr;
                                }));
    }
    EXPECT_FALSE(is_taken);
    EXPECT_LT(shortest, 45);
}

TEST(listener, of_all_addresses_takes_clients_of_both_kinds) {
    kx_test::test_node const node(kx_test::echo);
    for (char const* const host : {"127.0.0.1", "::1", "localhost"}) {
        auto const client = kxnet::packet_stream::connect(host, node.port(), {}, 20'000);
        kxp::packet request(2, "hello");
        request.set_request_number(1);
        client->send(request, 20'000);
        auto const reply = client->receive(kxnet::deadline_after(20'000));
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
