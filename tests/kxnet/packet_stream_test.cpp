#include <kxnet/packet_stream.h>

#include "support/held_resources.h"
#include "support/scripted_node.h"
#include "support/server_process.h"
#include "support/waiting.h"

#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

#include <future>

namespace {

using kx_test::echo;
using kx_test::error_of;
using kx_test::event_text;
using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::hello_text;
using kx_test::milliseconds_of;
using kx_test::test_node;
using kxnet::connection_lost;
using kxnet::packet_stream;
using kxnet::timed_out;
using testing::HasSubstr;

/// For what answers, however busy the machine is.
constexpr unsigned int patience = 20'000;

std::unique_ptr<packet_stream> connected(std::string const& port, unsigned int timeout_ms = patience) {
    return packet_stream::connect("127.0.0.1", port, {}, timeout_ms);
}

kxp::packet request_of(std::string_view name, std::uint32_t number) {
    kxp::packet made(2, name);
    made.set_request_number(number);
    return made;
}

kxp::packet request_of_values(std::size_t count) {
    auto const list = kxbase::make_refcount<kxcore::property_list>();
    for (std::size_t i = 0; i != count; ++i)
        list->push_back(kxcore::property_bool::create(true));
    kxp::packet made = request_of("many", 1);
    made.set_property("list", kxbase::ptr_refcount<kxcore::property>(list));
    return made;
}

kxp::packet large_request(std::size_t size) {
    kxp::packet made = request_of("large", 1);
    made.set_property("blob", kx_test::blob_of(size));
    return made;
}

TEST(packet_stream, carries_packets_both_ways) {
    test_node const node(echo);
    auto const client = connected(node.port());
    EXPECT_EQ(client->peer(), "127.0.0.1:" + node.port());
    for (std::uint32_t number = 1; number != 50; ++number) {
        kxp::packet request = request_of("say it", number);
        request.set_property("n", kxcore::property_int::create(number));
        client->send(request, patience);
        auto const event = client->receive(kxnet::deadline_after(patience));
        auto const reply = client->receive(kxnet::deadline_after(patience));
        ASSERT_TRUE(event && reply);
        EXPECT_EQ(event->get_name(), "it");
        EXPECT_EQ(reply->get_request_number(), number);
        EXPECT_EQ(reply->get_properties().get_int_value("n"), number);
        EXPECT_GT(client->received_size(), 10u);
    }
}

TEST(packet_stream, carries_a_large_packet_and_tells_how_far_it_is) {
    test_node const node(echo);
    auto const client = connected(node.port());
    kxp::packet const request = large_request(20'000'000);
    std::uint64_t last = 0;
    std::uint64_t total = 0;
    std::jthread reader([&] {
        auto const reply = client->receive(kxnet::deadline_after(patience));
        ASSERT_TRUE(reply);
        EXPECT_TRUE(reply->get_properties() == request.get_properties());
    });
    client->send(request, patience, [&](std::uint64_t sent, std::uint64_t all) {
        EXPECT_GT(sent, last);
        last = sent;
        total = all;
    });
    EXPECT_EQ(last, total);
    EXPECT_GT(total, 20'000'000u);
}

TEST(packet_stream, is_of_no_use_after_its_sender_gave_up_on_a_frame) {
    test_node const node(echo);
    auto const client = connected(node.port());
    struct gave_up {};
    EXPECT_THROW(
        client->send(large_request(20'000'000), patience, [](std::uint64_t, std::uint64_t) { throw gave_up(); }),
        gave_up);
    EXPECT_FALSE(client->is_open());
    std::string const reason = "a packet to " + client->peer() + " was given up while it was sent";
    EXPECT_EQ(error_of<connection_lost>([&] { client->send(request_of("x", 2), patience); }), reason);
    EXPECT_EQ(error_of<connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); }), reason);
    EXPECT_TRUE(kx_test::soon([&] { return !node.endings().empty(); }));
    EXPECT_THAT(node.endings().at(0), HasSubstr("in the middle of a frame"));
}

TEST(packet_stream, gives_nothing_at_the_deadline_and_goes_on) {
    test_node const node(echo);
    auto const client = connected(node.port());
    EXPECT_FALSE(client->receive(kxnet::deadline_after(20)));
    // Beyond the time that a receive call blocks on its own.
    EXPECT_GE(milliseconds_of([&] { EXPECT_FALSE(client->receive(kxnet::deadline_after(150))); }), 150);
    client->send(request_of("x", 1), patience);
    EXPECT_TRUE(client->receive(kxnet::deadline_after(patience)));
}

TEST(packet_stream, sends_nothing_of_a_packet_that_is_refused) {
    test_node const node(echo);
    auto const client = connected(node.port());
    EXPECT_THROW(client->send(kxp::packet(2, "unnumbered"), patience), kxbase::es::arg);
    client->send(request_of("x", 1), patience);
    EXPECT_EQ(client->receive(kxnet::deadline_after(patience))->get_name(), "x");
}

// What goes wrong while connecting.

TEST(packet_stream, is_refused_where_nobody_listens) {
    kx_test::deaf_port const nobody;
    EXPECT_EQ(error_of<connection_lost>([&] { static_cast<void>(connected(nobody.port())); }),
              "127.0.0.1:" + nobody.port() + ": Connection refused");
}

/// A node that sends a text to each client, and then nothing.
fault_server::behaviour saying(std::string text) {
    return [text = std::move(text)](fault_connection& client) {
        client.send(text);
        client.stall();
    };
}

TEST(packet_stream, waits_for_a_hello_no_longer_than_it_may) {
    for (std::string const& beginning : {std::string(), hello_text().substr(0, 11)}) {
        fault_server const node(saying(beginning));
        long long const took = milliseconds_of([&] {
            EXPECT_THAT(error_of<timed_out>([&] { static_cast<void>(connected(node.port(), 100)); }),
                        HasSubstr("does not greet in time"));
        });
        EXPECT_GE(took, 100);
        EXPECT_LT(took, 10'000);
    }
}

TEST(packet_stream, is_not_held_by_a_hello_of_a_byte_at_a_time) {
    fault_server const node([](fault_connection& client) {
        for (char const c : hello_text()) {
            std::this_thread::sleep_for(std::chrono::seconds(2));
            if (!client.send(std::string(1, c))) return;
        }
    });
    EXPECT_THROW(static_cast<void>(connected(node.port(), 200)), timed_out);
}

TEST(packet_stream, tells_what_it_has_met_in_the_place_of_a_node) {
    EXPECT_THAT(error_of<kxnet::version_mismatch>([] {
                    fault_server const node(saying(hello_text(2)));
                    static_cast<void>(connected(node.port()));
                }),
                HasSubstr("speaks version 2 of the protocol, this side version 1"));
    EXPECT_THAT(error_of<connection_lost>([] {
                    fault_server const node(saying("220 ready\r\n"));
                    static_cast<void>(connected(node.port()));
                }),
                HasSubstr("does not speak this protocol"));
    EXPECT_THAT(error_of<kxnet::not_secure>([] {
                    fault_server const node(saying("\x15\x03\x01"));
                    static_cast<void>(connected(node.port()));
                }),
                HasSubstr("wants TLS"));
}

TEST(packet_stream, survives_an_end_and_a_reset_at_every_byte_of_the_hello) {
    std::size_t const before = kx_test::count_descriptors();
    for (std::size_t size = 0; size != kxnet::hello_size; ++size) {
        for (bool const is_reset : {false, true}) {
            fault_server const node([&](fault_connection& client) {
                static_cast<void>(client.read(kxnet::hello_size));
                client.send(hello_text().substr(0, size));
                if (is_reset) client.cut();
            });
            EXPECT_THROW(static_cast<void>(connected(node.port())), connection_lost) << size;
        }
    }
    EXPECT_EQ(kx_test::count_descriptors(), before);
}

TEST(packet_stream, is_stopped_while_it_connects) {
    fault_server const node(kx_test::silent());
    kxnet::stop_signal stop;
    std::jthread const stopper([&, self = kx_test::this_thread()] {
        EXPECT_TRUE(kx_test::soon([&] { return kx_test::is_waiting(self); }));
        stop.stop();
    });
    EXPECT_THAT(error_of<connection_lost>(
                    [&] { static_cast<void>(packet_stream::connect("127.0.0.1", node.port(), {}, 0, &stop)); }),
                HasSubstr("closed by this side"));
}

// What goes wrong later.

/// A node that greets, sends a text, and then does nothing more, or goes.
fault_server::behaviour sending(std::string text, bool goes) {
    return [text = std::move(text), goes](fault_connection& client) {
        if (kx_test::greet(client) && client.send(text) && !goes) client.stall();
    };
}

TEST(packet_stream, tells_a_frame_cut_short_from_the_end) {
    std::string const event = event_text("e");
    for (std::size_t size = 0; size <= event.size(); ++size) {
        fault_server const node(sending(event.substr(0, size), true));
        auto const client = connected(node.port());
        if (size == event.size()) {
            EXPECT_TRUE(client->receive(kxnet::no_deadline));
        }
        bool const is_whole = size == 0 || size == event.size();
        std::string const error =
            error_of<connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); });
        EXPECT_THAT(error, HasSubstr("has closed the connection")) << size;
        EXPECT_EQ(error.find("in the middle of a frame") == std::string::npos, is_whole) << size;
    }
}

TEST(packet_stream, gives_up_on_a_frame_that_does_not_go_on) {
    fault_server const node(sending(event_text("e").substr(0, 6), false));
    auto const client = connected(node.port());
    EXPECT_THAT(error_of<timed_out>([&] { static_cast<void>(client->receive(kxnet::no_deadline, 50)); }),
                HasSubstr("does not go on with a frame in time"));
    EXPECT_THROW(static_cast<void>(client->receive(kxnet::no_deadline)), connection_lost);
}

TEST(packet_stream, gives_up_on_a_frame_that_comes_too_slowly) {
    kxp::packet const sent(kxp::e_packet_type::event, "e", kxcore::properties("data", kx_test::blob_of(20'000)));
    fault_server const node([text = kx_test::text_of(kxnet::frame(sent))](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        for (char const c : text) { // for more than six minutes
            if (!client.send(std::string(1, c))) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    auto const client = connected(node.port());
    EXPECT_THROW(static_cast<void>(client->receive(kxnet::deadline_after(patience), 100)), timed_out);
}

TEST(packet_stream, grants_the_time_that_the_first_bytes_of_a_frame_have_earned) {
    kxp::packet const sent(kxp::e_packet_type::event, "e", kxcore::properties("data", kx_test::blob_of(20'000)));
    fault_server const node([text = kx_test::text_of(kxnet::frame(sent))](fault_connection& client) {
        // Ten thousand bytes are worth ten seconds; what follows takes longer than the time-out.
        std::size_t at = 10'000;
        if (!kx_test::greet(client) || !client.send(text.substr(0, at))) return;
        for (unsigned int i = 0; i != 10; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            if (!client.send(text.substr(at++, 1))) return;
        }
        client.send(text.substr(at));
        client.stall();
    });
    auto const client = connected(node.port());
    auto const come = client->receive(kxnet::no_deadline, 4000);
    ASSERT_TRUE(come);
    EXPECT_EQ(come->get_properties(), sent.get_properties());
}

/// A node that greets, sends some bytes, and others when it is told to.
class hesitant_node {
public:
    hesitant_node(std::string first, std::string second)
        : server_([this, first = std::move(first), second = std::move(second)](fault_connection& client) {
              if (!kx_test::greet(client) || !client.send(first)) return;
              go_on_.get_future().wait();
              client.send(second);
              client.stall();
          }) {}
    hesitant_node(hesitant_node const&) = delete;
    hesitant_node& operator=(hesitant_node const&) = delete;
    ~hesitant_node() {
        if (!is_told_) go_on(); // a test that failed waits for nobody
    }

    [[nodiscard]] std::string port() const { return server_.port(); }
    void go_on() {
        is_told_ = true;
        go_on_.set_value();
    }

private:
    std::promise<void> go_on_;
    bool is_told_ = false;
    fault_server server_;
};

TEST(packet_stream, does_not_blame_its_peer_for_the_time_in_which_nobody_receives) {
    std::string const event = event_text("e");
    hesitant_node node(event.substr(0, 6), event.substr(6));
    auto const client = connected(node.port());
    EXPECT_FALSE(client->receive(kxnet::deadline_after(100), 1000));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // longer than a frame may stand still
    EXPECT_FALSE(client->receive(kxnet::deadline_after(10), 1000));
    node.go_on();
    EXPECT_TRUE(client->receive(kxnet::no_deadline, patience));
}

TEST(packet_stream, blames_nobody_when_the_time_of_its_caller_was_over_first) {
    std::string const event = event_text("e");
    hesitant_node const node(event.substr(0, 6), event.substr(6));
    auto const client = connected(node.port());
    EXPECT_FALSE(client->receive(kxnet::deadline_after(100), patience));
    // The frame has stood still for longer than it may, but who calls so late looks no more.
    EXPECT_FALSE(client->receive(std::chrono::steady_clock::now() - std::chrono::hours(1), 50));
    EXPECT_THAT(error_of<timed_out>([&] { static_cast<void>(client->receive(kxnet::deadline_after(patience), 50)); }),
                HasSubstr("does not go on with a frame in time"))
        << "the frame has no hour more for that";
}

TEST(packet_stream, knows_of_a_reply_as_soon_as_its_first_bytes_have_come) {
    std::string const reply = kx_test::text_of(kxnet::frame(kxp::packet(1, "a long reply"), 7));
    hesitant_node node(reply.substr(0, 12), reply.substr(12));
    auto const client = connected(node.port());
    EXPECT_TRUE(kx_test::soon([&] {
        EXPECT_FALSE(client->receive(kxnet::deadline_after(1)));
        return client->reply_under_way(7) == 12;
    }));
    EXPECT_EQ(client->reply_under_way(8), 0u);
    node.go_on();
    EXPECT_TRUE(client->receive(kxnet::deadline_after(patience)));
    EXPECT_EQ(client->reply_under_way(7), 0u);
}

TEST(packet_stream, keeps_to_its_deadline_while_bytes_come_all_the_time) {
    std::atomic<bool> is_over = false;
    // A frame of 64 MiB, the most that there is.
    fault_server const node([&](fault_connection& client) {
        if (!kx_test::greet(client) || !client.send(std::string("\x04\0\0\0\x03", 5))) return;
        std::string const piece(1000, '\0');
        while (!is_over && client.send(piece)) {
        }
    });
    auto const client = connected(node.port());
    long long const took = milliseconds_of([&] { EXPECT_FALSE(client->receive(kxnet::deadline_after(50))); });
    is_over = true;
    EXPECT_GE(took, 50);
    EXPECT_LT(took, 10'000);
}

TEST(packet_stream, goes_on_with_a_frame_after_a_deadline_in_its_middle) {
    std::string const event = event_text("e");
    hesitant_node node(event.substr(0, 6), event.substr(6));
    auto const client = connected(node.port());
    EXPECT_FALSE(client->receive(kxnet::deadline_after(20)));
    node.go_on();
    auto const late = client->receive(kxnet::deadline_after(patience));
    ASSERT_TRUE(late);
    EXPECT_EQ(late->get_name(), "e");
}

TEST(packet_stream, refuses_frames_that_are_none) {
    std::string broken = event_text("e");
    broken[4] = 9;
    for (std::string const& bytes : {std::string("\xff\xff\xff\xff", 4), std::string("\0\0\0\1", 4), broken}) {
        fault_server const node(sending(bytes, false));
        auto const client = connected(node.port());
        EXPECT_THAT(error_of<connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); }),
                    HasSubstr("sent what cannot be read: "));
    }
}

TEST(packet_stream, of_a_server_allows_strangers_few_values_until_it_knows_them) {
    test_node const node([](packet_stream& client) {
        client.set_frame_limit(90'000);
        for (;;) {
            auto const request = client.receive(kxnet::no_deadline);
            if (request->get_name() == "login") client.set_frame_limit(0);
            client.send(request->make_reply(), patience);
        }
    });
    auto const stranger = connected(node.port());
    stranger->send(request_of_values(14'999), patience);
    EXPECT_TRUE(stranger->receive(kxnet::deadline_after(patience)));
    stranger->send(request_of_values(15'000), patience);
    EXPECT_THROW(static_cast<void>(stranger->receive(kxnet::no_deadline)), connection_lost);
    ASSERT_TRUE(kx_test::soon([&] { return node.endings().size() == 1; }));
    EXPECT_THAT(node.endings().at(0), HasSubstr("expected at most 15000 values in all (limit frame), found more"));

    auto const known = connected(node.port());
    known->send(request_of("login", 1), patience);
    known->send(request_of_values(15'000), patience);
    EXPECT_EQ(known->receive(kxnet::deadline_after(patience))->get_name(), "login");
    EXPECT_EQ(known->receive(kxnet::deadline_after(patience))->get_name(), "many");
}

TEST(packet_stream, tells_what_has_come_by_its_values_when_they_take_more_than_its_bytes) {
    test_node const node(echo);
    auto const client = connected(node.port());
    for (auto const& [sent, size] :
         {std::pair{request_of_values(1999), std::size_t{12'000}}, std::pair{large_request(1000), std::size_t{1000}}}) {
        client->send(sent, patience);
        auto const reply = client->receive(kxnet::deadline_after(patience));
        ASSERT_TRUE(reply);
        EXPECT_GE(client->received_size(), size);
        EXPECT_LT(client->received_size(), size + 100);
    }
}

TEST(packet_stream, of_a_server_allows_strangers_less_until_it_knows_them) {
    test_node const node([](packet_stream& client) {
        client.set_frame_limit(1000);
        for (;;) {
            auto const request = client.receive(kxnet::no_deadline);
            if (request->get_name() == "login") client.set_frame_limit(0);
            client.send(request->make_reply(), patience);
        }
    });
    auto const stranger = connected(node.port());
    stranger->send(large_request(2000), patience);
    EXPECT_THAT(error_of<connection_lost>([&] { static_cast<void>(stranger->receive(kxnet::no_deadline)); }),
                HasSubstr(node.port()));
    ASSERT_TRUE(kx_test::soon([&] { return node.endings().size() == 1; }));
    EXPECT_THAT(node.endings().at(0), HasSubstr("at most 1000 are allowed (limit frame)"));

    auto const known = connected(node.port());
    known->send(request_of("login", 1), patience);
    known->send(large_request(2000), patience);
    EXPECT_EQ(known->receive(kxnet::deadline_after(patience))->get_name(), "login");
    EXPECT_EQ(known->receive(kxnet::deadline_after(patience))->get_name(), "large");
}

/// A node that greets, and reads nothing as long as it lives.
class deaf_node {
public:
    ~deaf_node() { end_.set_value(); }
    [[nodiscard]] std::string port() const { return server_.port(); }

private:
    std::promise<void> end_;
    fault_server server_{[end = end_.get_future().share()](fault_connection& client) {
        kx_test::greet(client);
        end.wait();
    }};
};

TEST(packet_stream, gives_up_on_a_peer_that_takes_nothing) {
    deaf_node const node;
    auto const client = connected(node.port());
    EXPECT_THAT(error_of<timed_out>([&] { client->send(large_request(50'000'000), 100); }),
                HasSubstr("does not take what is sent in time"));
}

TEST(packet_stream, lets_others_wait_for_their_turn_no_longer_than_they_may) {
    deaf_node const node;
    auto const client = connected(node.port());
    std::atomic<bool> has_begun = false;
    std::jthread sender([&] {
        EXPECT_THROW(
            client->send(large_request(50'000'000), 0, [&](std::uint64_t, std::uint64_t) { has_begun = true; }),
            connection_lost);
    });
    ASSERT_TRUE(kx_test::soon([&] { return has_begun.load(); }));
    EXPECT_THAT(error_of<timed_out>([&] { client->send(request_of("x", 2), 20); }), HasSubstr("others take the time"));
    client->close();
}

TEST(packet_stream, is_closed_by_another_thread_while_it_receives_and_sends) {
    deaf_node const node;
    auto const client = connected(node.port());
    std::jthread sender([&] { EXPECT_THROW(client->send(large_request(50'000'000), 0), connection_lost); });
    std::jthread const closer([&, self = kx_test::this_thread()] {
        EXPECT_TRUE(kx_test::soon([&] { return kx_test::is_waiting(self); }));
        client->close();
    });
    EXPECT_THAT(error_of<connection_lost>([&] { static_cast<void>(client->receive(kxnet::no_deadline)); }),
                HasSubstr("closed by this side"));
}

TEST(packet_stream, tells_the_server_what_a_client_was) {
    test_node const node(echo);
    auto const ending_after = [&](std::string const& bytes) {
        std::size_t const before = node.endings().size();
        static_cast<void>(kx_test::received_from(static_cast<unsigned int>(std::stoul(node.port())), 12, bytes));
        EXPECT_TRUE(kx_test::soon([&] { return node.endings().size() > before; }));
        return node.endings().back();
    };
    EXPECT_THAT(ending_after("GET / HTTP/1.1\r\n"), HasSubstr("does not speak this protocol"));
    EXPECT_THAT(ending_after(hello_text(9)), HasSubstr("speaks version 9"));
    EXPECT_THAT(ending_after("\x16\x03\x01\x02"), HasSubstr("wants TLS"));
}

} // namespace
