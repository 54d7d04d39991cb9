#include <kxcapi/connection.h>

#include "kxcapi/recording_handler.h"
#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/held_resources.h"
#include "support/scripted_node.h"

#include <kxbase/limits.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace {

using kx_test::count_threads;
using kx_test::echo;
using kx_test::error_of;
using kx_test::event_text;
using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::held_resources;
using kx_test::milliseconds_of;
using kx_test::recording_handler;
using kx_test::soon;
using kx_test::test_node;
using kxbase::es::call;
using kxcapi::connection;
using kxcapi::result_code;
using testing::ElementsAre;
using testing::HasSubstr;

using connection_handle = kxbase::ptr_refcount<connection>;

connection_handle connected(std::string const& port, kxcapi::handler* handler,
                            kxnet::transport_options const& transport = {}) {
    auto made = kxbase::make_refcount<connection>(handler, transport);
    EXPECT_EQ(made->connect("127.0.0.1", port, 20'000), result_code::success) << made->failure();
    return made;
}

std::string answer(connection& asked, std::string const& text) {
    kxp::packet request(2, text.size() % 2 == 0 ? "say even" : "x");
    request.set_property("text", text);
    return asked.request(request, 60'000)->get_properties().get_string_value("text");
}

/// A node that greets and says one event.
fault_server::behaviour saying_once(std::string name) {
    return [name = std::move(name)](fault_connection& client) {
        if (kx_test::greet(client) && client.send(event_text(name))) client.stall();
    };
}

/// With TLS and without.
class connection_threads_on : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(line, connection_threads_on, testing::Bool());

TEST_P(connection_threads_on, share_a_connection) {
    kx_test::certificates const& all = kx_test::certificates::get();
    test_node const node(echo, GetParam() ? kxnet::server_options{all.good(), all.key()} : kxnet::server_options());
    recording_handler told;
    auto const made = connected(node.port(), &told, {GetParam(), all.ca()});
    constexpr int threads = 6;
    constexpr int requests = 60;
    {
        std::vector<std::jthread> asking;
        for (int t = 0; t != threads; ++t)
            asking.emplace_back([&, t] {
                for (int i = 0; i != requests; ++i) {
                    std::string const text = std::string(static_cast<std::size_t>(i), 'x') + std::to_string(t);
                    EXPECT_EQ(answer(*made, text), text);
                }
            });
    }
    EXPECT_TRUE(soon([&] { return told.count() == threads * requests / 2; }));
}

TEST(connection_threads, get_their_own_replies_in_whatever_order) {
    constexpr std::size_t threads = 5;
    fault_server const node([](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        std::vector<kxbase::ptr_refcount<kxp::packet>> requests;
        while (requests.size() != threads) {
            requests.push_back(kx_test::read_packet(client));
            if (!requests.back()) return;
        }
        std::string replies;
        for (auto each = requests.rbegin(); each != requests.rend(); ++each) {
            kxp::packet reply(kxp::e_packet_type::reply, "reply", (*each)->get_properties());
            reply.set_request_number((*each)->get_request_number());
            replies += kx_test::text_of(kxnet::frame(reply));
        }
        client.send(replies);
        client.stall();
    });
    auto const made = connected(node.port(), nullptr);
    std::vector<std::jthread> all;
    for (std::size_t t = 0; t != threads; ++t)
        all.emplace_back([&, t] { EXPECT_EQ(answer(*made, std::to_string(t)), std::to_string(t)); });
}

TEST(connection_threads, are_ended_by_a_close_whatever_the_peer_does) {
    std::atomic<int> asked = 0;
    fault_server const node([&](fault_connection& client) {
        kx_test::greet(client);
        while (kx_test::read_packet(client))
            ++asked;
    });
    recording_handler told;
    auto const made = connected(node.port(), &told);
    std::vector<std::jthread> waiting;
    for (int i = 0; i != 3; ++i)
        waiting.emplace_back([&] {
            EXPECT_EQ(error_of<call>([&] { static_cast<void>(answer(*made, "x")); }),
                      "the connection was closed by this side");
        });
    EXPECT_TRUE(soon([&] { return asked == 3; }));
    EXPECT_LT(milliseconds_of([&] { made->close(); }), 10'000);
    waiting.clear();
    EXPECT_EQ(told.count(), 0u);
}

kxnet::transport_options with_tls() {
    return {true, kx_test::certificates::get().ca()};
}

TEST(connection_threads, end_an_attempt_to_connect_at_the_hello_and_at_the_handshake_of_tls) {
    kx_test::captured_report const log;
    for (auto const& options : {kxnet::transport_options(), with_tls()}) {
        held_resources const before;
        {
            std::promise<void> has_come;
            fault_server const node([&](fault_connection& client) {
                // The first bytes of the client, who waits for those of the node from then on.
                client.read(1);
                has_come.set_value();
                client.stall();
            });
            connection made(nullptr, options);
            std::jthread const closing([&] {
                has_come.get_future().wait();
                EXPECT_EQ(error_of<call>([&] { static_cast<void>(made.connect("127.0.0.1", node.port(), 0)); }),
                          "an attempt to connect is under way already");
                EXPECT_EQ(error_of<call>([&] { static_cast<void>(answer(made, "x")); }), "there is no connection");
                EXPECT_EQ(made.failure(), "");
                made.close();
            });
            EXPECT_LT(milliseconds_of(
                          [&] { EXPECT_EQ(made.connect("127.0.0.1", node.port(), 60'000), result_code::failed); }),
                      20'000);
            EXPECT_EQ(made.failure(), "closed by this side");
            EXPECT_FALSE(made.is_connected());
        }
        EXPECT_TRUE(before.are_all_soon()) << before;
    }
}

TEST(connection_threads, end_an_attempt_to_connect_to_a_host_that_never_answers) {
    kx_test::captured_report const log;
    kx_test::full_port const nobody;
    held_resources const before;
    {
        connection made(nullptr);
        std::atomic<bool> is_over = false;
        std::jthread const connecting([&] {
            EXPECT_EQ(made.connect("127.0.0.1", nobody.port(), 60'000), result_code::failed);
            is_over = true;
        });
        // One that comes before the attempt has nothing to end.
        EXPECT_TRUE(soon([&] {
            made.close();
            return is_over.load();
        }));
        EXPECT_EQ(made.failure(), "closed by this side");
    }
    EXPECT_TRUE(before.are_all_soon()) << before;
}

TEST(connection_threads, are_not_held_longer_than_the_time_out_by_a_host_that_never_answers_or_a_peer_without_a_word) {
    kx_test::captured_report const log;
    kx_test::full_port const nobody;
    fault_server const silent(kx_test::silent());
    struct attempt {
        std::string port;
        kxnet::transport_options options;
        std::string reason;
    };
    attempt const attempts[] = {
        {nobody.port(), {}, " does not answer in time"},
        {nobody.port(), with_tls(), " does not answer in time"},
        {silent.port(), {}, " does not greet in time"},
        {silent.port(), with_tls(), " does not answer in time"},
    };
    held_resources const before;
    for (attempt const& each : attempts) {
        connection made(nullptr, each.options);
        long long const took =
            milliseconds_of([&] { EXPECT_EQ(made.connect("127.0.0.1", each.port, 300), result_code::timeout); });
        EXPECT_GE(took, 300);
        EXPECT_LT(took, 10'000);
        EXPECT_EQ(made.failure(), "127.0.0.1:" + each.port + each.reason);
    }
    EXPECT_TRUE(before.are_all_soon()) << before;
}

TEST(connection_threads, go_on_asking_while_a_handler_blocks) {
    test_node const node(echo);
    recording_handler told;
    std::promise<void> leave;
    std::promise<void> inside;
    told.then = [&, left = leave.get_future().share()](std::string const&) {
        if (told.count() == 1) inside.set_value();
        left.wait();
    };
    auto const made = connected(node.port(), &told);
    EXPECT_EQ(answer(*made, "even"), "even");
    inside.get_future().wait();
    for (int i = 0; i != 50; ++i)
        EXPECT_EQ(answer(*made, "even"), "even");
    EXPECT_EQ(told.count(), 1u);
    leave.set_value();
    EXPECT_TRUE(soon([&] { return told.count() == 51; }));
}

TEST(connection_threads, tell_of_the_end_once_and_last_though_the_peer_goes_while_a_handler_is_busy) {
    for (bool const is_reset : {false, true}) {
        fault_server const node([=](fault_connection& client) {
            if (!kx_test::greet(client)) return;
            client.send(event_text("1") + event_text("2") + event_text("3"));
            static_cast<void>(kx_test::read_packet(client));
            if (is_reset) client.cut();
        });
        recording_handler told;
        std::promise<void> leave;
        told.then = [&, left = leave.get_future().share()](std::string const& line) {
            if (line == "event 1") left.wait();
        };
        auto const made = connected(node.port(), &told);
        ASSERT_TRUE(soon([&] { return told.count() == 1; }));
        EXPECT_THROW(static_cast<void>(answer(*made, "x")), call) << "the peer goes";
        EXPECT_FALSE(made->is_connected());
        leave.set_value();
        ASSERT_TRUE(soon([&] { return told.count() == 4; }));
        EXPECT_THAT(told.lines(), ElementsAre("event 1", "event 2", "event 3", "closed: " + made->failure()));
        made->close();
        EXPECT_EQ(told.count(), 4u);
    }
}

TEST(connection_threads, may_close_at_the_same_time) {
    test_node const node(echo);
    for (int i = 0; i != 20; ++i) {
        recording_handler told;
        auto const made = connected(node.port(), &told);
        EXPECT_EQ(answer(*made, "even"), "even");
        std::vector<std::jthread> all;
        for (int t = 0; t != 3; ++t)
            all.emplace_back([&] {
                made->close();
                std::size_t const count = told.count();
                EXPECT_FALSE(made->is_connected());
                EXPECT_EQ(told.count(), count) << "nothing more is told once a close has returned";
            });
    }
}

TEST(connection_threads, may_call_back_from_a_handler) {
    test_node const node(echo);
    recording_handler told;
    auto const made = kxbase::make_refcount<connection>(&told);
    std::promise<std::string> answered;
    told.then = [&](std::string const&) { answered.set_value(answer(*made, "odd")); };
    ASSERT_EQ(made->connect("127.0.0.1", node.port(), 20'000), result_code::success);
    EXPECT_EQ(answer(*made, "even"), "even");
    EXPECT_EQ(answered.get_future().get(), "odd");
}

TEST(connection_threads, may_close_from_a_handler) {
    fault_server const node(saying_once("e"));
    recording_handler told;
    auto const made = kxbase::make_refcount<connection>(&told);
    told.then = [&](std::string const&) { made->close(); };
    ASSERT_EQ(made->connect("127.0.0.1", node.port(), 20'000), result_code::success);
    EXPECT_TRUE(soon([&] { return !made->is_connected(); }));
    made->close();
    EXPECT_THAT(told.lines(), ElementsAre("event e"));
}

TEST(connection_threads, may_give_up_the_last_handle_in_a_handler) {
    held_resources const before;
    {
        recording_handler told;
        std::mutex guard;
        connection_handle held;
        told.then = [&](std::string const&) {
            std::lock_guard const lock(guard);
            held.reset();
        };
        fault_server const node(saying_once("e"));
        {
            auto made = kxbase::make_refcount<connection>(&told);
            std::lock_guard const lock(guard);
            EXPECT_EQ(made->connect("127.0.0.1", node.port(), 20'000), result_code::success);
            held = std::move(made);
        }
        EXPECT_TRUE(soon([&] {
            std::lock_guard const lock(guard);
            return !held;
        }));
    }
    EXPECT_TRUE(before.are_all_soon()) << before;
}

TEST(connection_threads, may_connect_again_when_told_of_the_end) {
    fault_server const leaving([](fault_connection& client) { kx_test::greet(client); });
    test_node const node(echo);
    recording_handler told;
    auto const made = kxbase::make_refcount<connection>(&told);
    std::atomic<bool> is_back = false;
    told.then = [&](std::string const& line) {
        if (!line.starts_with("closed")) return;
        is_back = made->connect("127.0.0.1", node.port(), 20'000) == result_code::success;
    };
    ASSERT_EQ(made->connect("127.0.0.1", leaving.port(), 20'000), result_code::success);
    ASSERT_TRUE(soon([&] { return is_back.load(); }));
    EXPECT_EQ(answer(*made, "again"), "again");
    made->close();
}

/// Comes to stay in the handler of a connection that has ended, after connecting again, until it is let go.
class lingering_handler {
public:
    lingering_handler(connection_handle const& held, std::string port) {
        told.then = [this, held = held.get(), port = std::move(port)](std::string const& line) {
            if (!line.starts_with("closed")) return;
            EXPECT_EQ(held->connect("127.0.0.1", port, 20'000), result_code::success);
            is_back = true;
            let_go.get_future().wait();
            has_left = true;
        };
    }

    recording_handler told;
    std::promise<void> let_go;
    std::atomic<bool> is_back = false;
    std::atomic<bool> has_left = false;
};

TEST(connection_threads, wait_in_a_close_for_a_handler_that_has_connected_again) {
    fault_server const leaving([](fault_connection& client) { kx_test::greet(client); });
    test_node const node(echo);
    // Where the handler is to be told before anything else is there, it stands first.
    std::unique_ptr<lingering_handler> lingering;
    recording_handler outer;
    auto made = kxbase::make_refcount<connection>(&outer);
    lingering = std::make_unique<lingering_handler>(made, node.port());
    outer.then = [&](std::string const& line) { lingering->told.then(line); };
    ASSERT_EQ(made->connect("127.0.0.1", leaving.port(), 20'000), result_code::success);
    ASSERT_TRUE(soon([&] { return lingering->is_back.load(); }));
    EXPECT_EQ(answer(*made, "again"), "again");

    std::atomic<bool> has_closed = false;
    std::jthread closing([&] {
        made->close();
        EXPECT_TRUE(lingering->has_left);
        has_closed = true;
    });
    ASSERT_TRUE(soon([&] { return !made->is_connected(); }));
    EXPECT_FALSE(has_closed);
    lingering->let_go.set_value();
    EXPECT_TRUE(soon([&] { return has_closed.load(); }));
    EXPECT_EQ(made->failure(), "the connection was closed by this side");
}

TEST(connection_threads, tell_nothing_of_a_new_connection_while_the_handler_is_busy_with_the_old_one) {
    fault_server const leaving([](fault_connection& client) { kx_test::greet(client); });
    test_node const node(echo);
    recording_handler told;
    auto const made = kxbase::make_refcount<connection>(&told);
    std::promise<void> let_go;
    std::atomic<int> inside = 0;
    std::atomic<bool> is_back = false;
    told.then = [&](std::string const& line) {
        EXPECT_EQ(++inside, 1);
        if (line.starts_with("closed")) {
            EXPECT_EQ(made->connect("127.0.0.1", node.port(), 20'000), result_code::success);
            // The reply comes behind the event, which therefore is there.
            EXPECT_EQ(answer(*made, "even"), "even");
            is_back = true;
            let_go.get_future().wait();
        }
        --inside;
    };
    ASSERT_EQ(made->connect("127.0.0.1", leaving.port(), 20'000), result_code::success);
    ASSERT_TRUE(soon([&] { return is_back.load(); }));
    EXPECT_EQ(answer(*made, "even"), "even");
    EXPECT_EQ(told.count(), 1u);
    let_go.set_value();
    EXPECT_TRUE(soon([&] { return told.count() == 3; }));
    EXPECT_EQ(told.lines().back(), "event even");
    made->close();
}

TEST(connection_threads, end_a_new_connection_that_waits_for_the_handler_of_the_old_one) {
    fault_server const leaving([](fault_connection& client) { kx_test::greet(client); });
    test_node const node(echo);
    recording_handler told;
    auto const made = kxbase::make_refcount<connection>(&told);
    std::atomic<bool> is_done = false;
    told.then = [&](std::string const& line) {
        if (!line.starts_with("closed")) return;
        for (int i = 0; i != 3; ++i) {
            EXPECT_EQ(made->connect("127.0.0.1", node.port(), 20'000), result_code::success);
            EXPECT_EQ(answer(*made, "even"), "even");
            made->close();
        }
        is_done = true;
    };
    ASSERT_EQ(made->connect("127.0.0.1", leaving.port(), 20'000), result_code::success);
    EXPECT_TRUE(soon([&] { return is_done.load(); }));
    made->close();
    EXPECT_EQ(told.count(), 1u);
}

TEST(connection_threads, may_log_in_while_others_ask) {
    test_node const node(echo);
    auto const made = connected(node.port(), nullptr);
    kxp::packet request(2, "x");
    request.set_property("text", "y");
    std::vector<std::jthread> all;
    for (int t = 0; t != 4; ++t)
        all.emplace_back([&, t] {
            for (int i = 0; i != 100; ++i)
                static_cast<void>(t % 2 == 0 ? made->login_sync(request, 20'000) : made->send_sync(request, 20'000));
        });
    all.clear();
    EXPECT_TRUE(made->is_logged_in());
}

TEST(connection_threads, log_what_a_handler_raises_and_go_on) {
    kx_test::captured_report const log;
    test_node const node(echo);
    recording_handler told;
    told.then = [](std::string const&) { kxbase::es::arg::raise("not I"); };
    auto const made = connected(node.port(), &told);
    for (int i = 0; i != 2; ++i)
        EXPECT_EQ(answer(*made, "even"), "even");
    EXPECT_TRUE(soon([&] { return told.count() == 2; }));
    EXPECT_TRUE(soon([&] { return log.has("a handler raised: not I"); }));
}

/// A handler does not return from the first of eight such events, and the connection ends for this reason.
void expect_loss_after_a_flood_of(kxp::packet const& event, std::string const& reason) {
    test_node const node([&](kxnet::packet_stream& client) {
        auto const request = client.receive(kxnet::no_deadline);
        for (int i = 0; i != 8; ++i)
            client.send(event, 0);
        client.send(request->make_reply(), 0);
    });
    recording_handler told;
    std::promise<void> leave;
    told.then = [done = leave.get_future().share()](std::string const& line) {
        if (line == "event flood") done.wait();
    };
    auto const made = connected(node.port(), &told);
    EXPECT_THAT(error_of<call>([&] { static_cast<void>(answer(*made, "x")); }), HasSubstr(reason));
    leave.set_value();
    EXPECT_TRUE(soon([&] {
        auto const lines = told.lines();
        return !lines.empty() && lines.back().starts_with("closed: the handler does not keep up");
    }));
}

TEST(connection_threads, lose_a_node_whose_events_nobody_keeps_up_with) {
    kxp::packet event(3, "flood");
    event.set_property("blob", kx_test::blob_of(16'000'000));
    expect_loss_after_a_flood_of(event, "the handler does not keep up with the events of 127.0.0.1:");
}

// Few bytes, and much memory.
TEST(connection_threads, lose_a_node_whose_events_hold_more_values_than_a_frame_may) {
    kxbase::limits limits = kxbase::current_limits();
    limits.frame = 6000;
    kxbase::scoped_limits const scope(limits);
    auto const list = kxbase::make_refcount<kxcore::property_list>();
    for (int i = 0; i != 400; ++i)
        list->push_back(kxcore::property_bool::create(true));
    kxp::packet event(3, "flood");
    event.set_property("list", kxbase::ptr_refcount<kxcore::property>(list));
    expect_loss_after_a_flood_of(event, ": more than 6000 bytes of them wait (limit frame)");
}

TEST(connection_threads, leave_nothing_behind) {
    test_node const node(echo);
    static_cast<void>(connected(node.port(), nullptr));
    ASSERT_TRUE(soon([&] { return node.endings().size() == 1; }));
    std::size_t const threads = count_threads();
    for (int i = 0; i != 30; ++i) {
        auto const made = connected(node.port(), nullptr);
        EXPECT_EQ(answer(*made, "x"), "x");
    }
    EXPECT_TRUE(soon([&] { return node.endings().size() == 31; }));
    EXPECT_TRUE(soon([&] { return count_threads() <= threads; }));
}

} // namespace
