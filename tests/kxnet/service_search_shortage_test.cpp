// A search whose daemon is short of everything, hangs, or is flooded.
#include "kxnet/support/searching.h"
#include "kxnet/support/shortage.h"
#include "support/captured_report.h"
#include "support/waiting.h"

#include <kxbase/errors.h>

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace {

using kx_test::descriptor_limit;
using kx_test::no_haste;
using kx_test::one_entry;
using kx_test::scripted_dnssd;
using namespace std::chrono_literals;

class search_in_need : public kx_test::searching {};

} // namespace

TEST_F(search_in_need, drops_no_watch_for_an_instance_that_the_daemon_does_not_take) {
    auto timing = no_haste();
    timing.first_retry = 1ms;
    timing.longest_retry = 2ms;
    dnssd_.refuse("resolve bad", scripted_dnssd::bad_parameter);
    search(timing);
    come("bad");
    for (int i = 0; i != 10; ++i)
        come_placed("n" + std::to_string(i));
    ASSERT_TRUE(dnssd_.wait_for_open("txt of ", 10));
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve bad", dnssd_.asked("resolve bad") + 30));
    EXPECT_EQ(dnssd_.open("txt of "), 10U);
    EXPECT_EQ(handler_.log.count("gone bad on 1"), 0U);
}

TEST_F(search_in_need, gives_watches_for_connections_and_takes_them_again_later) {
    auto timing = no_haste();
    timing.first_retry = 1ms;
    timing.most_pause = 1ms;
    timing.recheck = 5ms;
    search(timing);
    for (int i = 0; i != 10; ++i)
        come_placed("n" + std::to_string(i));
    ASSERT_TRUE(dnssd_.wait_for_open("txt of ", 10));
    dnssd_.refuse("resolve ", scripted_dnssd::unknown_error);
    ASSERT_TRUE(dnssd_.wait_for_open("txt of ", 0)) << dnssd_.open("txt of ");
    dnssd_.refuse("resolve ", 0);
    EXPECT_TRUE(dnssd_.wait_for_open("txt of ", 10)) << dnssd_.open("txt of ");
    EXPECT_EQ(handler_.log.count("gone n1 on 1"), 0U) << "that there was no room says nothing of the node";
}

TEST_F(search_in_need, asks_once_and_then_waits_while_there_is_no_room_however_many_are_to_be_resolved) {
    dnssd_.refuse("resolve ", scripted_dnssd::unknown_error);
    search();
    for (int i = 0; i != 100; ++i)
        come("n" + std::to_string(i));
    expect("seen n99 on 1");
    settle();
    EXPECT_EQ(dnssd_.asked("resolve "), 1U);
}

TEST_F(search_in_need, goes_on_with_the_others_when_one_instance_alone_finds_no_room) {
    auto timing = no_haste();
    timing.first_retry = 1ms;
    timing.most_pause = 1ms;
    dnssd_.refuse("resolve odd", scripted_dnssd::unknown_error);
    search(timing);
    come("odd");
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve odd"));
    for (int i = 0; i != 20; ++i)
        come_placed("n" + std::to_string(i));
}

TEST_F(search_in_need, ends_after_the_call_that_hangs) {
    auto timing = no_haste();
    timing.recheck = 100ms;
    std::promise<void> all_due;
    auto const are_all_due = all_due.get_future().share();
    handler_.on_line = [&](std::string const& line) {
        if (line == "seen last on 1") are_all_due.wait();
    };
    search(timing);
    for (int i = 0; i != 5; ++i)
        come_placed("n" + std::to_string(i));
    come("last");
    expect("seen last on 1");
    std::this_thread::sleep_for(2 * timing.recheck); // by then all are to be resolved again
    dnssd_.hold("resolve ");
    auto const asked = dnssd_.asked("resolve ");
    all_due.set_value();
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve ", asked + 1));
    std::promise<std::string> begun;
    auto ended = std::async(std::launch::async, [&] {
        begun.set_value(kx_test::this_thread());
        end_search();
    });
    // It waits for the thread of the search, which it has told of the end by then.
    auto const ending = begun.get_future().get();
    EXPECT_TRUE(kx_test::soon([&] { return kx_test::is_waiting(ending); }));
    EXPECT_EQ(ended.wait_for(500ms), std::future_status::timeout) << "the call hangs";
    dnssd_.release();
    ended.get();
    EXPECT_EQ(dnssd_.asked("resolve "), asked + 1);
    EXPECT_EQ(dnssd_.open(), 0U);
}

TEST_F(search_in_need, ends_with_answers_under_way_and_calls_nobody_after_that) {
    dnssd_.always_give(browsing, scripted_dnssd::without_end(scripted_dnssd::instance("n", true)));
    place("n", "t");
    for (int i = 0; i != 5; ++i) {
        auto const before = handler_.log.lines().size();
        search();
        ASSERT_TRUE(kx_test::soon([&] { return handler_.log.lines().size() > before; }));
        end_search();
        auto const lines = handler_.log.lines().size();
        EXPECT_EQ(dnssd_.open(), 0U);
        EXPECT_EQ(handler_.log.lines().size(), lines);
    }
}

TEST_F(search_in_need, resolves_while_others_come_and_go_without_end) {
    dnssd_.always_give(browsing, scripted_dnssd::without_end(scripted_dnssd::instance("pest", false)));
    search();
    come_placed("n1");
    ASSERT_TRUE(dnssd_.wait_for_open("txt of n1", 1));
    ASSERT_EQ(dnssd_.give("txt of n1 on 1", scripted_dnssd::record(one_entry("u"))), 1U);
    expect("changed n1: u");
}

TEST_F(search_in_need, takes_answers_that_came_while_the_handler_was_busy) {
    auto timing = no_haste();
    timing.resolve_patience = 50ms;
    std::promise<void> done;
    auto const is_done = done.get_future().share();
    handler_.on_line = [&](std::string const& line) {
        if (line == "seen busy on 1") is_done.wait();
    };
    search(timing);
    address("late", 1);
    // The second is there already when the first is asked for: nothing comes between the question and the handler.
    tell(scripted_dnssd::in_turn(scripted_dnssd::instance("late", true), scripted_dnssd::instance("busy", true)));
    expect("seen busy on 1");
    ASSERT_EQ(dnssd_.give("resolve late on 1", scripted_dnssd::place("late.local.", 9000, one_entry("t"))), 1U);
    std::this_thread::sleep_for(timing.resolve_patience); // the time for the answer is over
    done.set_value();
    expect("resolved late on 1: late.local. 9000 10.0.0.1 t");
    EXPECT_EQ(dnssd_.asked("resolve late on 1"), 1U);
}

TEST_F(search_in_need, looks_at_known_instances_while_newcomers_do_not_answer) {
    auto timing = no_haste();
    timing.recheck = 1ms;
    search(timing);
    come_placed("known");
    for (int i = 0; i != 100; ++i)
        come("pest " + std::to_string(i));
    expect("seen pest 99 on 1");
    settle();
    EXPECT_TRUE(dnssd_.wait_for_asked("resolve known", dnssd_.asked("resolve known") + 5));
    EXPECT_EQ(dnssd_.open("resolve pest"), 8U);
}

TEST_F(search_in_need, looks_at_newcomers_while_those_that_never_answer_are_tried_again) {
    auto timing = no_haste();
    timing.first_retry = 1ms;
    dnssd_.refuse("resolve pest", scripted_dnssd::bad_parameter);
    search(timing);
    for (int i = 0; i != 100; ++i)
        come("pest " + std::to_string(i));
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve pest 99 on 1"));
    dnssd_.refuse("resolve pest", 0);
    ASSERT_TRUE(dnssd_.wait_for_open("resolve pest", 2)) << "these do not answer";
    come_placed("n1");
    EXPECT_EQ(dnssd_.open("resolve pest"), 2U);
}

TEST_F(search_in_need, looks_at_so_many_instances_and_says_when_there_are_more) {
    constexpr auto most = kxnet::service_search::most_instances;
    kx_test::captured_report const report;
    search();
    for (std::size_t i = 0; i != most + 2; ++i)
        come("n" + std::to_string(i));
    go("n0");
    expect("gone n0 on 1");
    EXPECT_EQ(handler_.log.count("seen n" + std::to_string(most - 1) + " on 1"), 1U);
    EXPECT_EQ(handler_.log.count("seen n" + std::to_string(most) + " on 1"), 0U);
    EXPECT_THAT(report.messages(),
                testing::ElementsAre("there are more than 10000 instances of _t._tcp: others are not looked at"));
    come("n" + std::to_string(most));
    expect("seen n" + std::to_string(most) + " on 1");
}

TEST_F(search_in_need, looks_for_those_that_found_no_room_once_there_is_some) {
    constexpr auto most = kxnet::service_search::most_instances;
    kx_test::captured_report const report;
    auto timing = no_haste();
    timing.recheck = 1ms;
    search(timing);
    come_placed("known");
    for (std::size_t i = 1; i != most; ++i)
        come("pest " + std::to_string(i));
    come("late");
    // Each of these is told once to whoever browses.
    dnssd_.always_give(browsing, scripted_dnssd::all({scripted_dnssd::instance("late", true),
                                                      scripted_dnssd::instance("known", true)}));
    for (std::size_t i = 1; i != most / 10; ++i)
        go("pest " + std::to_string(i));
    expect("gone pest 999 on 1");
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve known", dnssd_.asked("resolve known") + 2));
    EXPECT_EQ(dnssd_.asked(browsing), 1U) << "there is room for 999 others, which is not enough for a look at all";
    go("pest 1000");
    expect("seen late on 1");
    settle();
    EXPECT_EQ(dnssd_.asked(browsing), 2U);
    for (char const* const name : {"known", "pest 5000", "late"})
        EXPECT_EQ(handler_.log.count(std::string("seen ") + name + " on 1"), 1U) << name;
    EXPECT_EQ(handler_.log.count("gone pest 5000 on 1"), 0U) << "it has time to be seen again";
    EXPECT_THAT(report.messages(),
                testing::ElementsAre("there are more than 10000 instances of _t._tcp: others are not looked at",
                                     "there is room for other instances of _t._tcp again, browsing begins anew"));
}

TEST_F(search_in_need, takes_for_gone_what_is_not_seen_again_when_it_looks_for_others) {
    constexpr auto most = kxnet::service_search::most_instances;
    auto timing = no_haste();
    timing.recheck = timing.return_grace = 1ms;
    search(timing);
    for (std::size_t i = 0; i != most + 1; ++i)
        come("n" + std::to_string(i));
    dnssd_.always_give(browsing, scripted_dnssd::instance("n10000", true));
    for (std::size_t i = 0; i != most / 10; ++i)
        go("n" + std::to_string(i));
    expect("seen n10000 on 1");
    expect("gone n9999 on 1");
    settle();
    EXPECT_EQ(handler_.log.count("gone n10000 on 1"), 0U);
}

TEST_F(search_in_need, pauses_where_it_cannot_even_wait) {
    auto timing = no_haste();
    timing.first_retry = timing.longest_retry = 10ms; // for it may have asked in vain, too
    search(timing);
    come_placed("n1");
    std::size_t waits = 0;
    long long took = 0;
    {
        descriptor_limit const none(0);
        come("n2");
        took = kx_test::milliseconds_of([&] {
            auto const before = dnssd_.waits();
            std::this_thread::sleep_for(200ms);
            waits = dnssd_.waits() - before;
        });
    }
    EXPECT_LT(waits, static_cast<std::size_t>(took)) << "it pauses 10 ms each time, and waits for three things then";
    expect("seen n2 on 1");
    come_placed("n3");
}

TEST_F(search_in_need, does_not_begin_without_a_pipe_or_a_thread_and_says_so) {
    auto const why = [this](auto const& run_short) -> std::string {
        try {
            [[maybe_unused]] auto const shortage = run_short();
            kxnet::service_search const begun("_other._tcp", handler_);
            return "";
        } catch (kxbase::es::call const& error) {
            return error.message();
        }
    };
    EXPECT_EQ(why([] { return descriptor_limit(0); }), "cannot make a pipe: Too many open files");
    EXPECT_EQ(why([] { return kx_test::no_threads(); }), "cannot start a thread: Resource temporarily unavailable");
    EXPECT_EQ(why([] { return 0; }), "");
}

TEST_F(search_in_need, leaves_most_descriptors_to_others_of_its_process) {
    descriptor_limit const limit(300);
    search();
    for (int i = 0; i != 40; ++i)
        come_placed("n" + std::to_string(i));
    settle();
    EXPECT_EQ(dnssd_.open("txt of "), 10U) << "half of a third of 300, with five for each";
    kx_test::told_handler other;
    kxnet::service_search const second("_other._tcp", other, no_haste());
    ASSERT_TRUE(dnssd_.wait_for_open("browse _other._tcp", 1));
    ASSERT_EQ(dnssd_.give("browse _other._tcp", scripted_dnssd::instance("n0", true)), 1U);
    ASSERT_TRUE(other.log.wait_for("resolved n0 on 1: n0.local. 9000 10.0.0.1 t"));
    EXPECT_EQ(dnssd_.open("txt of "), 10U) << "of all searches together";
    EXPECT_LE(dnssd_.most_open(), 20U);
}

TEST_F(search_in_need, asks_no_more_than_a_process_should_however_many_there_are) {
    search();
    for (int i = 0; i != 100; ++i)
        come_placed("n" + std::to_string(i));
    settle();
    EXPECT_EQ(dnssd_.open("txt of "), 48U);
    EXPECT_LE(dnssd_.most_open(), 64U);
}
