// How often a search tries what fails, and who waits for whom.
#include "kxnet/support/searching.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <thread>

namespace {

using kx_test::no_haste;
using kx_test::one_entry;
using kx_test::scripted_dnssd;
using namespace std::chrono_literals;

class pace_of_search : public kx_test::searching {
protected:
    /// The first pauses between questions are at least these; those that follow do not grow.
    void expect_pauses(std::string const& question, std::vector<std::chrono::milliseconds> const& pauses) {
        constexpr std::size_t more = 12; // doubled with each of these, they would take minutes
        ASSERT_TRUE(dnssd_.wait_for_asked(question, pauses.size() + more));
        auto const times = dnssd_.times_asked(question);
        for (std::size_t i = 0; i != pauses.size(); ++i)
            EXPECT_GE(times[i + 1] - times[i], pauses[i]) << i;
    }
};

/// What a handler is told beside names.
class exact_handler : public kxnet::search_resolve_query_handler {
public:
    kx_test::event_log log;

    void search_reply(unsigned int, std::string const& name, bool added, bool more_coming) override {
        log.add((added ? "seen " : "gone ") + name + more(more_coming));
    }
    void resolve_reply(unsigned int, char const* name, char const*, unsigned short, unsigned short,
                       unsigned char const*) override {
        log.add(std::string("resolved ") + name);
    }
    void query_reply(char const* name, unsigned short, unsigned char const*, unsigned int time_to_live, bool added,
                     bool more_coming) override {
        log.add(std::string("changed ") + name + " for " + std::to_string(time_to_live) + (added ? "" : ", not added") +
                more(more_coming));
    }

private:
    static std::string more(bool is_coming) { return is_coming ? ", more" : ""; }
};

} // namespace

// --- pauses -----------------------------------------------------------------------------------------------------

TEST_F(pace_of_search, doubles_the_pause_after_each_failure_of_what_never_was_resolved_up_to_the_longest) {
    auto timing = no_haste();
    timing.first_retry = 20ms;
    timing.longest_retry = 80ms;
    dnssd_.always_give("resolve n1 on 1", scripted_dnssd::error(scripted_dnssd::unknown_error));
    search(timing);
    come("n1");
    expect_pauses("resolve n1", {20ms, 40ms, 80ms, 80ms});
}

TEST_F(pace_of_search, doubles_the_pause_after_each_failure_of_what_once_was_resolved_up_to_the_usual_time) {
    auto timing = no_haste();
    timing.first_retry = 20ms;
    timing.recheck = 80ms;
    // On the search's thread, before the first pause begins.
    handler_.on_line = [this](std::string const& line) {
        if (line.starts_with("resolved "))
            dnssd_.always_give("resolve n1 on 1", scripted_dnssd::error(scripted_dnssd::unknown_error));
    };
    search(timing);
    come_placed("n1");
    expect_pauses("resolve n1", {80ms, 20ms, 40ms, 80ms, 80ms});
}

TEST_F(pace_of_search, doubles_the_pause_while_there_is_no_room_up_to_the_most) {
    auto timing = no_haste();
    timing.first_retry = 20ms;
    timing.most_pause = 80ms;
    dnssd_.refuse("resolve ", scripted_dnssd::unknown_error);
    search(timing);
    for (int i = 0; i != 40; ++i) // so that there always is one whose turn it is
        come("n" + std::to_string(i));
    expect_pauses("resolve ", {20ms, 40ms, 80ms, 80ms});
}

// --- turns ------------------------------------------------------------------------------------------------------

TEST_F(pace_of_search, looks_at_all_others_while_those_that_answered_once_are_silent) {
    auto timing = no_haste();
    timing.recheck = timing.first_retry = timing.longest_retry = 1ms;
    search(timing);
    come_placed("known");
    for (int i = 0; i != 20; ++i)
        come_placed("pest " + std::to_string(i));
    for (int i = 0; i != 20; ++i)
        dnssd_.always_give("resolve pest " + std::to_string(i) + " on 1",
                           scripted_dnssd::error(scripted_dnssd::unknown_error));
    for (int i = 0; i != 20; ++i)
        expect("gone pest " + std::to_string(i) + " on 1");
    for (int i = 0; i != 20; ++i)
        dnssd_.always_give("resolve pest " + std::to_string(i) + " on 1", nullptr);
    ASSERT_TRUE(dnssd_.wait_for_open("resolve pest", 2)) << dnssd_.open("resolve pest");
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve known", dnssd_.asked("resolve known") + 20));
    EXPECT_EQ(dnssd_.open("resolve pest"), 2U);
    dnssd_.refuse("resolve slow", scripted_dnssd::bad_parameter);
    come("slow");
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve slow"));
    place("slow", "t");
    dnssd_.refuse("resolve slow", 0);
    expect("resolved slow on 1: slow.local. 9000 10.0.0.1 t");
}

TEST_F(pace_of_search, takes_what_comes_while_it_asks_for_many_in_vain) {
    auto timing = no_haste();
    timing.first_retry = timing.longest_retry = 100ms;
    dnssd_.refuse("resolve pest", scripted_dnssd::bad_parameter);
    std::promise<void> all_due;
    auto const are_all_due = all_due.get_future().share();
    std::size_t asked = 0;
    std::promise<std::size_t> asked_by_then;
    handler_.on_line = [&](std::string const& line) {
        if (line == "seen busy on 1") {
            are_all_due.wait();
            asked = dnssd_.asked("resolve pest");
        }
        if (line == "seen late on 1") asked_by_then.set_value(dnssd_.asked("resolve pest"));
    };
    search(timing);
    for (int i = 0; i != 500; ++i)
        come("pest " + std::to_string(i));
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve pest 499 on 1"));
    come("busy");
    expect("seen busy on 1");
    come("late");
    std::this_thread::sleep_for(2 * timing.first_retry); // by then all are to be tried again
    all_due.set_value();
    auto const by_then = asked_by_then.get_future().get();
    EXPECT_GE(asked, 500U);
    EXPECT_LE(by_then, asked + 32);
    EXPECT_TRUE(dnssd_.wait_for_asked("resolve pest", asked + 500)) << "none is forgotten for that";
}

// --- what is handed on ------------------------------------------------------------------------------------------

TEST_F(pace_of_search, hands_on_whether_more_is_coming_and_how_long_a_record_lives) {
    exact_handler handler;
    kxnet::service_search const search("_u._tcp", handler, no_haste());
    auto const browsing_u = std::string("browse _u._tcp");
    ASSERT_TRUE(dnssd_.wait_for_open(browsing_u, 1));
    place("n1", "t");
    for (bool const more : {true, false}) {
        auto const end = more ? ", more" : "";
        dnssd_.give(browsing_u, scripted_dnssd::instance("n1", true, 1, "local.", more));
        ASSERT_TRUE(handler.log.wait_for(std::string("seen n1") + end)) << handler.log.text();
        ASSERT_TRUE(dnssd_.wait_for_open("txt of n1 on 1", 1));
        dnssd_.give("txt of n1 on 1", scripted_dnssd::record(one_entry("u"), 77, more));
        ASSERT_TRUE(handler.log.wait_for(std::string("changed n1 for 77") + end)) << handler.log.text();
        dnssd_.give(browsing_u, scripted_dnssd::instance("n1", false, 1, "local.", more));
        ASSERT_TRUE(handler.log.wait_for(std::string("gone n1") + end)) << handler.log.text();
        ASSERT_TRUE(dnssd_.wait_for_open("txt of ", 0));
    }
}
