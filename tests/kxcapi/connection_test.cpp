#include <kxcapi/connection.h>

#include "kxcapi/recording_handler.h"
#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/scripted_node.h"

#include <kxbase/limits.h>

#include <gmock/gmock.h>

#include <future>
#include <new>
#include <thread>

namespace {

using kx_test::echo;
using kx_test::error_of;
using kx_test::event_text;
using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::recording_handler;
using kx_test::reply_text;
using kx_test::soon;
using kx_test::test_node;
using kxbase::es::call;
using kxcapi::connection;
using kxcapi::result_code;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// For what answers, however busy the machine is.
constexpr unsigned int patience = 20'000;

kxbase::ptr_refcount<connection> connected(std::string const& port, kxcapi::handler* handler = nullptr) {
    auto made = kxbase::make_refcount<connection>(handler);
    EXPECT_EQ(made->connect("127.0.0.1", port, patience), result_code::success) << made->failure();
    return made;
}

kxp::packet request_of(std::string_view name, std::string_view text = "") {
    kxp::packet made(2, name);
    made.set_property("text", text);
    return made;
}

std::string answer(connection& asked, std::string_view name, std::string_view text = "") {
    return asked.request(request_of(name, text), patience)->get_properties().get_string_value("text");
}

/// A node that reads a request of a greeted client and sends what an answer to it is made of.
fault_server::behaviour answering(std::function<std::string(kxp::packet const&)> answer_to) {
    return [answer_to = std::move(answer_to)](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        while (auto const request = kx_test::read_packet(client))
            if (!client.send(answer_to(*request))) return;
    };
}

TEST(connection, gets_replies) {
    test_node const node(echo);
    auto const made = connected(node.port());
    EXPECT_TRUE(made->is_connected());
    for (int i = 0; i != 100; ++i)
        EXPECT_EQ(answer(*made, "x", std::to_string(i)), std::to_string(i));
    kxp::packet const& first = made->send_sync(request_of("first", "1"), patience);
    EXPECT_EQ(first.get_properties().get_string_value("text"), "1");
    EXPECT_EQ(made->send_sync(request_of("second", "2"), patience).get_name(), "second");
}

TEST(connection, gets_events_on_a_thread_of_its_own) {
    test_node const node(echo);
    recording_handler told;
    auto const made = connected(node.port(), &told);
    std::vector<std::string> expected;
    for (int i = 0; i != 30; ++i) {
        answer(*made, "say " + std::to_string(i));
        expected.push_back("event " + std::to_string(i));
    }
    EXPECT_TRUE(soon([&] { return told.count() == expected.size(); }));
    EXPECT_EQ(told.lines(), expected);
    EXPECT_NE(told.thread(), std::this_thread::get_id());
}

TEST(connection, gets_events_while_nobody_asks_for_anything) {
    std::promise<void> go_on;
    fault_server const node([&](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        go_on.get_future().wait();
        client.send(event_text("a") + event_text("b"));
        client.stall();
    });
    recording_handler told;
    auto const made = connected(node.port(), &told);
    go_on.set_value();
    EXPECT_TRUE(soon([&] { return told.count() == 2; }));
    EXPECT_THAT(told.lines(), ElementsAre("event a", "event b"));
}

TEST(connection, gets_events_while_a_request_waits) {
    fault_server const node([](fault_connection& client) {
        // The request is there, so its caller has begun to wait.
        if (!kx_test::greet(client) || !kx_test::read_packet(client)) return;
        client.send(event_text("a"));
        client.stall();
    });
    recording_handler told;
    auto const made = connected(node.port(), &told);
    std::jthread asking([&] { EXPECT_THROW(static_cast<void>(made->request(request_of("x"), 0)), call); });
    EXPECT_TRUE(soon([&] { return told.count() == 1; }));
    made->close();
}

TEST(connection, keeps_the_reply_of_send_sync_while_other_requests_and_events_come) {
    kx_test::test_node const node(kx_test::echo);
    auto const made = connected(node.port());
    kxp::packet const& kept = made->send_sync(request_of("kept", "1"), patience);
    for (unsigned int i = 0; i != 50; ++i)
        static_cast<void>(made->request(request_of("say something", std::to_string(i)), patience));
    EXPECT_EQ(kept.get_name(), "kept");
    EXPECT_EQ(kept.get_properties().get_string_value("text"), "1");
}

TEST(connection, knows_when_it_is_logged_in) {
    fault_server const node(answering([](kxp::packet const& request) {
        if (request.get_name() == "good") return reply_text(request);
        return kx_test::text_of(kxnet::frame(request.make_error_reply("no")));
    }));
    auto const made = connected(node.port());
    EXPECT_TRUE(made->login_sync(request_of("bad"), patience).get_properties().is_present("error"));
    EXPECT_FALSE(made->is_logged_in());
    static_cast<void>(made->login_sync(request_of("good"), patience));
    EXPECT_TRUE(made->is_logged_in());
    made->close();
    EXPECT_FALSE(made->is_logged_in());
    EXPECT_FALSE(made->is_connected());
}

TEST(connection, tells_how_connecting_failed) {
    struct failure {
        fault_server::behaviour node;
        result_code code;
        char const* reason;
        unsigned int timeout = patience;
    };
    auto const saying = [](std::string text) {
        return [text = std::move(text)](fault_connection& client) {
            client.send(text);
            client.stall();
        };
    };
    failure const failures[] = {
        {saying(kx_test::hello_text(2)), result_code::version_mismatch, "speaks version 2"},
        {saying("SSH-2.0-OpenSSH\r\n"), result_code::failed, "does not speak this protocol"},
        {saying(""), result_code::timeout, "does not greet in time", 100},
        {[](fault_connection& client) { client.cut(); }, result_code::failed, ""},
    };
    for (failure const& each : failures) {
        kx_test::captured_report const log;
        fault_server const node(each.node);
        connection made(nullptr);
        EXPECT_EQ(made.connect("127.0.0.1", node.port(), each.timeout), each.code) << each.reason;
        EXPECT_THAT(made.failure(), HasSubstr(each.reason));
        EXPECT_TRUE(log.has("not connected: " + made.failure()));
        EXPECT_FALSE(made.is_connected());
    }
}

TEST(connection, raises_when_the_two_sides_do_not_agree_on_tls) {
    kx_test::captured_report const log;
    test_node const plain(echo);
    connection encrypted(nullptr, {true, kx_test::certificates::get().ca()});
    EXPECT_THAT(error_of<call>([&] { static_cast<void>(encrypted.connect("localhost", plain.port(), patience)); }),
                HasSubstr("does not speak TLS"));
    EXPECT_THAT(encrypted.failure(), HasSubstr("does not speak TLS"));
}

TEST(connection, over_tls_works_as_without) {
    kx_test::certificates const& all = kx_test::certificates::get();
    test_node const node(echo, {all.good(), all.key()});
    recording_handler told;
    connection made(&told, {true, all.ca()});
    ASSERT_EQ(made.connect("localhost", node.port(), patience), result_code::success) << made.failure();
    for (int i = 0; i != 20; ++i)
        EXPECT_EQ(answer(made, "say it", std::to_string(i)), std::to_string(i));
    EXPECT_TRUE(soon([&] { return told.count() == 20; }));
}

TEST(connection, can_be_made_again) {
    test_node const node(echo);
    connection made(nullptr);
    for (int i = 0; i != 3; ++i) {
        ASSERT_EQ(made.connect("127.0.0.1", node.port(), patience), result_code::success);
        EXPECT_THAT(error_of<call>([&] { static_cast<void>(made.connect("127.0.0.1", node.port(), patience)); }),
                    HasSubstr("connected already"));
        EXPECT_EQ(answer(made, "x", "y"), "y");
        made.close();
    }
}

TEST(connection, refuses_requests_when_there_is_none) {
    connection made(nullptr);
    auto const error = [&] { return error_of<call>([&] { static_cast<void>(made.request(request_of("x"), 100)); }); };
    EXPECT_EQ(error(), "there is no connection");
    test_node const node(echo);
    ASSERT_EQ(made.connect("127.0.0.1", node.port(), patience), result_code::success);
    made.close();
    made.close();
    EXPECT_EQ(error(), "the connection was closed by this side");
    EXPECT_THROW(made.send_sync(request_of("x"), 100), call);
    EXPECT_THROW(made.login_sync(request_of("x"), 100), call);
}

TEST(connection, refuses_what_is_no_request) {
    test_node const node(echo);
    auto const made = connected(node.port());
    EXPECT_THROW(static_cast<void>(made->request(kxp::packet(3, "event"), 100)), kxbase::es::arg);
    EXPECT_THROW(static_cast<void>(made->request(kxp::packet(2, "\xff"), 100)), kxbase::es::arg);
    EXPECT_EQ(answer(*made, "x", "y"), "y");
}

/// A job in a request: a tree of so many levels, itself the first.
kxp::packet job_of_depth(int levels) {
    auto tree = kxbase::make_refcount<kxcore::properties>();
    for (int i = 1; i != levels; ++i)
        tree = kxbase::make_refcount<kxcore::properties>("a", tree);
    kxp::packet made(2, "cluster.job.submit");
    made.set_property("job", tree);
    return made;
}

/// A node that echoes, and knows the sizes of what has come.
struct counting_node {
    std::mutex guard;
    std::vector<std::size_t> sizes;
    test_node node{[this](kxnet::packet_stream& client) {
        for (;;) {
            auto const request = client.receive(kxnet::no_deadline);
            std::lock_guard const lock(guard);
            sizes.push_back(client.received_size());
            kxp::packet reply(kxp::e_packet_type::reply, request->get_name(), request->get_properties());
            reply.set_request_number(request->get_request_number());
            client.send(reply, 0);
        }
    }};
};

TEST(connection, sends_a_job_of_127_levels_and_of_one_more_nothing_at_all) {
    counting_node counting;
    auto const made = connected(counting.node.port());
    kxp::packet const deepest = job_of_depth(127);
    EXPECT_TRUE(made->request(deepest, patience)->get_properties() == deepest.get_properties());

    std::string const refusal =
        error_of<kxbase::es::arg>([&] { static_cast<void>(made->request(job_of_depth(128), patience)); });
    EXPECT_THAT(refusal, StartsWith("packet \"cluster.job.submit\" cannot be sent: "));
    EXPECT_THAT(refusal, HasSubstr("nesting of more than 128 levels (limit nesting)"));
    EXPECT_EQ(answer(*made, "next", "1"), "1");
    EXPECT_EQ(counting.sizes.size(), 2u);
}

TEST(connection, sends_a_job_as_large_as_a_frame_may_be_and_of_a_larger_one_nothing_at_all) {
    counting_node counting;
    auto const made = connected(counting.node.port());
    kxp::packet const job = request_of("cluster.job.submit", std::string(200'000, 'j'));
    EXPECT_EQ(answer(*made, "cluster.job.submit", std::string(200'000, 'j')).size(), 200'000u);
    kxbase::limits limits = kxbase::current_limits();
    limits.frame = counting.sizes.front();
    {
        kxbase::scoped_limits const scope(limits);
        EXPECT_EQ(made->request(job, patience)->get_properties().get_string_value("text").size(), 200'000u);
    }
    --limits.frame;
    {
        kxbase::scoped_limits const scope(limits);
        EXPECT_EQ(error_of<kxbase::es::arg>([&] { static_cast<void>(made->request(job, patience)); }),
                  "packet \"cluster.job.submit\" cannot be sent: it takes more than " + std::to_string(limits.frame) +
                      " bytes (limit frame)");
    }
    EXPECT_EQ(answer(*made, "next", "1"), "1");
    EXPECT_EQ(counting.sizes.size(), 3u);
}

TEST(connection, drops_replies_that_nobody_asked_for) {
    kx_test::captured_report const log;
    fault_server const node(answering([](kxp::packet const& request) {
        kxp::packet other = request.make_reply();
        other.set_request_number(request.get_request_number() + 1000);
        kxp::packet back(2, "a request");
        back.set_request_number(1);
        std::string const reply = reply_text(request);
        return kx_test::text_of(kxnet::frame(other)) + kx_test::text_of(kxnet::frame(back)) + reply + reply;
    }));
    auto const made = connected(node.port());
    for (int i = 0; i != 3; ++i)
        EXPECT_EQ(made->request(request_of("x"), patience)->get_name(), "x");
    EXPECT_TRUE(log.has("packet \"x\" dropped: nobody waits for this reply"));
    EXPECT_TRUE(log.has("packet \"a request\" dropped: a node has nothing to ask of a client"));
}

TEST(connection, goes_on_after_a_reply_that_did_not_come_in_time) {
    std::promise<void> gave_up;
    fault_server const node(answering([&, count = 0](kxp::packet const& request) mutable {
        if (++count == 1) gave_up.get_future().wait();
        return reply_text(request);
    }));
    auto const made = connected(node.port());
    EXPECT_THAT(error_of<call>([&] { static_cast<void>(made->request(request_of("slow"), 30)); }),
                HasSubstr("no reply to \"slow\" from 127.0.0.1:"));
    gave_up.set_value();
    EXPECT_EQ(made->request(request_of("next"), patience)->get_name(), "next");
}

TEST(connection, waits_for_a_reply_that_is_late_but_under_way) {
    fault_server const node([](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        auto const request = kx_test::read_packet(client);
        if (!request) return;
        kxp::packet reply = request->make_reply();
        reply.set_property("text", std::string(1000, 'x'));
        std::string const bytes = kx_test::text_of(kxnet::frame(reply));
        for (std::size_t at = 0; at < bytes.size(); at += 200) {
            if (!client.send(bytes.substr(at, 200))) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(800));
        }
        client.stall();
    });
    auto const made = connected(node.port());
    auto const reply = made->request(request_of("x"), 3000); // it takes 4 seconds to come whole
    EXPECT_EQ(reply->get_properties().get_string_value("text").size(), 1000u);
}

TEST(connection, waits_for_a_reply_of_which_the_first_bytes_came_in_time) {
    fault_server const node([](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        auto const request = kx_test::read_packet(client);
        if (!request) return;
        kxp::packet reply = request->make_reply();
        reply.set_property("text", std::string(200, 'x'));
        std::string const bytes = kx_test::text_of(kxnet::frame(reply));
        client.send(bytes.substr(0, 100));
        std::this_thread::sleep_for(std::chrono::milliseconds(3500)); // beyond the time-out, but not twice that
        client.send(bytes.substr(100));
        client.stall();
    });
    auto const made = connected(node.port());
    EXPECT_EQ(made->request(request_of("x"), 3000)->get_properties().get_string_value("text").size(), 200u);
}

TEST(connection, is_not_held_by_a_reply_of_a_byte_at_a_time) {
    fault_server const node([](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        auto const request = kx_test::read_packet(client);
        if (!request) return;
        kxp::packet reply = request->make_reply();
        reply.set_property("text", std::string(1000, 'x'));
        for (char const c : kx_test::text_of(kxnet::frame(reply))) {
            if (!client.send(std::string(1, c))) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        client.stall();
    });
    auto const made = connected(node.port());
    // It takes 50 seconds to come whole.
    long long const took =
        kx_test::milliseconds_of([&] { EXPECT_THROW(static_cast<void>(made->request(request_of("x"), 200)), call); });
    EXPECT_GE(took, 200);
    EXPECT_LT(took, 10'000);
    made->close();
}

TEST(connection, that_gave_up_on_sending_says_so_to_everybody) {
    struct giving_up {
        kxnet::progress_function progress;
        unsigned int timeout;
        std::string reason;
    };
    giving_up const ways[] = {
        {{}, 100, " does not take what is sent in time"},
        {[](std::uint64_t, std::uint64_t) { kxbase::es::unsupp::raise("enough"); }, patience,
         " was given up while it was sent"},
    };
    for (giving_up const& each : ways) {
        std::promise<void> done;
        fault_server const node([&](fault_connection& client) {
            kx_test::greet(client);
            done.get_future().wait();
        });
        recording_handler told;
        auto const made = connected(node.port(), &told);
        kxp::packet large(2, "large");
        large.set_property("blob", kx_test::blob_of(50'000'000));
        EXPECT_THROW(static_cast<void>(made->request(large, each.timeout, each.progress)), kxbase::es::base);
        EXPECT_FALSE(made->is_connected());
        EXPECT_THAT(made->failure(), testing::EndsWith(each.reason));
        EXPECT_TRUE(soon([&] { return told.count() == 1; }));
        EXPECT_EQ(told.lines().at(0), "closed: " + made->failure());
        EXPECT_EQ(error_of<call>([&] { static_cast<void>(made->request(request_of("x"), 100)); }), made->failure());
        done.set_value();
    }
}

/// A connection that cannot always begin.
class moody_connection : public connection {
public:
    using connection::connection;
    bool is_willing = false;

protected:
    void starting() override {
        if (!is_willing) throw std::bad_alloc();
    }
};

TEST(connection, passes_errors_of_other_kinds_on_and_can_be_made_afterwards) {
    test_node const node(echo);
    moody_connection made(nullptr);
    EXPECT_THROW(static_cast<void>(made.connect("127.0.0.1", node.port(), patience)), std::bad_alloc);
    made.is_willing = true;
    EXPECT_EQ(made.connect("127.0.0.1", node.port(), patience), result_code::success);
    EXPECT_EQ(answer(made, "x", "y"), "y");
}

TEST(connection, tells_its_handler_and_its_callers_when_the_peer_goes) {
    fault_server const node(answering([](kxp::packet const& request) { return reply_text(request); }));
    recording_handler told;
    {
        fault_server const leaving([](fault_connection& client) { kx_test::greet(client); });
        auto const made = connected(leaving.port(), &told);
        EXPECT_TRUE(soon([&] { return told.count() == 1; }));
        EXPECT_THAT(told.lines().at(0), HasSubstr("closed: 127.0.0.1:"));
        EXPECT_FALSE(made->is_connected());
        EXPECT_THAT(made->failure(), HasSubstr("has closed the connection"));
        EXPECT_THAT(error_of<call>([&] { static_cast<void>(made->request(request_of("x"), 100)); }),
                    HasSubstr("has closed the connection"));
        EXPECT_EQ(made->connect("127.0.0.1", node.port(), patience), result_code::success);
        EXPECT_EQ(made->request(request_of("x"), patience)->get_name(), "x");
    }
    EXPECT_EQ(told.count(), 1u) << "closing on this side is not told";
}

TEST(connection, survives_an_end_and_a_reset_at_every_byte_of_the_reply) {
    kxp::packet numbered = request_of("x").make_reply();
    numbered.set_request_number(1);
    std::size_t const whole = reply_text(numbered).size();
    for (std::size_t size = 0; size != whole; ++size) {
        for (bool const is_reset : {false, true}) {
            fault_server const node([&](fault_connection& client) {
                if (!kx_test::greet(client)) return;
                auto const request = kx_test::read_packet(client);
                if (request) client.send(reply_text(*request).substr(0, size));
                if (is_reset) client.cut();
            });
            auto const made = connected(node.port());
            EXPECT_THROW(static_cast<void>(made->request(request_of("x"), patience)), call) << size;
            EXPECT_FALSE(made->is_connected());
        }
    }
}

TEST(connection, loses_a_node_that_sends_what_cannot_be_read) {
    fault_server const node(answering([](kxp::packet const&) { return std::string("\xff\xff\xff\xff", 4); }));
    auto const made = connected(node.port());
    EXPECT_THAT(error_of<call>([&] { static_cast<void>(made->request(request_of("x"), patience)); }),
                HasSubstr("(limit frame)"));
    EXPECT_FALSE(made->is_connected());
}

} // namespace
