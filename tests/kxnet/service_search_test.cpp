// What a search makes of each answer, of a handler that fails and of a daemon that goes.
#include "kxnet/support/searching.h"
#include "support/captured_report.h"
#include "support/waiting.h"

#include <kxbase/errors.h>

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using kx_test::no_haste;
using kx_test::one_entry;
using kx_test::scripted_dnssd;
using namespace std::chrono_literals;
using testing::ElementsAre;

class service_search : public kx_test::searching {
protected:
    [[nodiscard]] static kxnet::search_timing rechecking() {
        auto timing = no_haste();
        timing.recheck = 1ms;
        return timing;
    }
};

class service_search_death : public kx_test::searching {};

/// Category, kind, severity and message.
std::vector<std::string> lines_of(kx_test::captured_report const& report) {
    std::vector<std::string> lines;
    for (auto const& line : report.lines())
        lines.push_back(line.category + " " + std::to_string(line.kind) + " " + std::to_string(line.severity) + " " +
                        line.message);
    return lines;
}

} // namespace

// --- one instance -----------------------------------------------------------------------------------------------

TEST_F(service_search, tells_of_an_instance_what_happens_to_it) {
    search();
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    ASSERT_TRUE(dnssd_.wait_for_open("txt of n1 on 1", 1));
    for (char const* const txt : {"t", "u", "u"})
        dnssd_.give("txt of n1 on 1", scripted_dnssd::record(one_entry(txt)));
    expect("changed n1: u");
    go("n1");
    expect("gone n1 on 1");
    EXPECT_THAT(handler_.log.lines(), ElementsAre("seen n1 on 1", "resolved n1 on 1: n1.local. 9000 10.0.0.1 t",
                                                  "changed n1: u", "gone n1 on 1"));
    EXPECT_TRUE(dnssd_.wait_for_open("txt of ", 0));
}

TEST_F(service_search, counts_how_often_an_instance_is_seen) {
    search();
    for (int i = 0; i != 2; ++i)
        come("both versions of IP");
    go("both versions of IP");
    settle();
    EXPECT_EQ(handler_.log.count("seen both versions of IP on 1"), 1U);
    EXPECT_EQ(handler_.log.count("gone both versions of IP on 1"), 0U);
    go("both versions of IP");
    expect("gone both versions of IP on 1");
    go("both versions of IP");
    settle();
    EXPECT_EQ(handler_.log.count("gone both versions of IP on 1"), 1U);
}

TEST_F(service_search, takes_namesakes_of_two_domains_for_two) {
    search();
    come("n1");
    tell(scripted_dnssd::instance("n1", true, 1, "example.org."));
    expect("seen n1 on 1", 2);
    tell(scripted_dnssd::instance("n1", false, 1, "example.org."));
    expect("gone n1 on 1");
    EXPECT_TRUE(dnssd_.wait_for_open("resolve n1 on 1", 1));
}

TEST_F(service_search, tells_anew_where_an_instance_is_when_that_changed) {
    search(rechecking());
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    address("n1", 2);
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.2 t");
    place("n1", "t", 9001);
    expect("resolved n1 on 1: n1.local. 9001 10.0.0.1 t");
    dnssd_.always_give("address of h2.local. on 1", scripted_dnssd::record("\x0a\1\1\1"));
    dnssd_.always_give("resolve n1 on 1", scripted_dnssd::place("h2.local.", 9001, one_entry("t")));
    expect("resolved n1 on 1: h2.local. 9001 10.1.1.1 t");
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve n1", dnssd_.asked("resolve n1") + 5));
    EXPECT_EQ(handler_.log.count("resolved n1 on 1: h2.local. 9001 10.1.1.1 t"), 1U) << "once each";
    EXPECT_EQ(handler_.log.count("seen n1 on 1"), 1U);
}

TEST_F(service_search, keeps_the_address_of_a_host_that_does_not_tell_it_again) {
    search(rechecking());
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    dnssd_.always_give("address of n1.local. on 1", scripted_dnssd::record("no address"));
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve n1", dnssd_.asked("resolve n1") + 2));
    place("n1", "t", 9001);
    dnssd_.always_give("address of n1.local. on 1", scripted_dnssd::record("no address"));
    expect("resolved n1 on 1: n1.local. 9001 10.0.0.1 t");
}

TEST_F(service_search, prefers_the_address_that_it_told_among_several) {
    search(rechecking());
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    // No longer answered by themselves.
    dnssd_.always_give("address of n1.local. on 1", scripted_dnssd::record("no address"));
    auto const asked = dnssd_.asked("address of n1.local.");
    ASSERT_TRUE(dnssd_.wait_for_asked("address of n1.local.", asked + 2));
    auto const both = scripted_dnssd::in_turn(scripted_dnssd::record("\x0a\1\1\1"),
                                              scripted_dnssd::record(std::string("\x0a\0\0\1", 4)));
    ASSERT_TRUE(kx_test::soon([&] { return dnssd_.give("address of n1.local. on 1", both) == 1; }));
    ASSERT_TRUE(dnssd_.wait_for_asked("address of n1.local.", asked + 3));
    EXPECT_EQ(handler_.log.count("resolved n1 on 1: n1.local. 9000 10.1.1.1 t"), 0U);
}

TEST_F(service_search, tells_of_a_changed_record_as_a_change_also_when_the_place_changed_with_it) {
    search(rechecking());
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    place("n1", "u", 9001);
    expect("resolved n1 on 1: n1.local. 9001 10.0.0.1 u");
    EXPECT_THAT(handler_.log.lines(), ElementsAre("seen n1 on 1", "resolved n1 on 1: n1.local. 9000 10.0.0.1 t",
                                                  "changed n1: u", "resolved n1 on 1: n1.local. 9001 10.0.0.1 u"));
}

TEST_F(service_search, tells_of_changes_with_the_next_resolve_where_it_cannot_watch) {
    dnssd_.refuse("txt of ", scripted_dnssd::unknown_error);
    search(rechecking());
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    place("n1", "u");
    expect("changed n1: u");
    EXPECT_EQ(handler_.log.count("resolved n1 on 1: n1.local. 9000 10.0.0.1 u"), 0U);
}

TEST_F(service_search, watches_again_when_a_watch_failed) {
    search(rechecking());
    place("n1", "t");
    come("n1");
    ASSERT_TRUE(dnssd_.wait_for_open("txt of n1 on 1", 1));
    dnssd_.give("txt of n1 on 1", scripted_dnssd::error(scripted_dnssd::unknown_error));
    ASSERT_TRUE(dnssd_.wait_for_asked("txt of n1 on 1", 2));
    ASSERT_TRUE(dnssd_.wait_for_open("txt of n1 on 1", 1));
    dnssd_.give("txt of n1 on 1", scripted_dnssd::record(one_entry("u")));
    expect("changed n1: u");
    EXPECT_EQ(handler_.log.count("gone n1 on 1"), 0U);
}

TEST_F(service_search, tells_of_an_instance_as_gone_after_two_failures_and_as_new_when_it_answers) {
    auto timing = rechecking();
    timing.first_retry = 1ms;
    search(timing);
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    dnssd_.always_give("resolve n1 on 1", scripted_dnssd::error(scripted_dnssd::unknown_error));
    expect("gone n1 on 1");
    EXPECT_TRUE(dnssd_.wait_for_open("txt of ", 0));
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve n1", dnssd_.asked("resolve n1") + 3));
    place("n1", "t");
    expect("seen n1 on 1", 2);
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t", 2);
    EXPECT_EQ(handler_.log.count("gone n1 on 1"), 1U);
}

// --- a handler that fails ---------------------------------------------------------------------------------------

TEST_F(service_search, goes_on_after_a_handler_failed_and_says_what_it_raised) {
    kx_test::captured_report const report;
    handler_.on_line = [](std::string const& line) {
        if (line == "seen n1 on 1") throw std::runtime_error("full");
        if (line.find("resolved n1") == 0) throw 42; // NOLINT(hicpp-exception-baseclass): handlers are anybody's code
    };
    search();
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    ASSERT_TRUE(dnssd_.wait_for_open("txt of n1 on 1", 1));
    dnssd_.give("txt of n1 on 1", scripted_dnssd::record(one_entry("u")));
    expect("changed n1: u");
    EXPECT_THAT(lines_of(report),
                ElementsAre("Bonjour 3 4 an observer of the network failed: full",
                            "Bonjour 3 4 an observer of the network failed: it raised what is no exception"));
}

TEST_F(service_search_death, says_that_its_own_handler_destroyed_it) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    handler_.on_line = [this](std::string const&) { end_search(); };
    EXPECT_DEATH(
        {
            search();
            come("n1");
            expect("gone n1 on 1"); // which never comes: it keeps this thread here
        },
        "a search of the network is destroyed by the handler that it calls");
}

// --- a daemon that goes, or never was ---------------------------------------------------------------------------

TEST_F(service_search, goes_on_where_it_was_when_the_daemon_is_back) {
    kx_test::captured_report const report;
    auto timing = no_haste();
    timing.return_grace = 1ms;
    search(timing);
    for (char const* const name : {"stays", "leaves"}) {
        place(name, "t");
        come(name);
        expect(std::string("resolved ") + name + " on 1: " + name + ".local. 9000 10.0.0.1 t");
    }
    dnssd_.refuse("browse ", scripted_dnssd::unknown_error);
    dnssd_.always_give(browsing, scripted_dnssd::instance("stays", true));
    auto const asked = dnssd_.asked(browsing);
    dnssd_.die();
    ASSERT_TRUE(dnssd_.wait_for_asked(browsing, asked + 3));
    EXPECT_EQ(dnssd_.open(), 0U);
    EXPECT_EQ(handler_.log.count("gone leaves on 1"), 0U) << "nobody can say";
    dnssd_.refuse("browse ", 0);
    expect("gone leaves on 1");
    ASSERT_TRUE(dnssd_.wait_for_open("txt of stays on 1", 1));
    EXPECT_EQ(handler_.log.count("gone stays on 1"), 0U);
    EXPECT_EQ(handler_.log.count("seen stays on 1"), 1U);
    EXPECT_EQ(handler_.log.count("resolved stays on 1: stays.local. 9000 10.0.0.1 t"), 1U);
    EXPECT_THAT(lines_of(report),
                ElementsAre("Bonjour 2 5 no DNS-SD daemon answers, browsing for _t._tcp begins when one does",
                            "Bonjour 2 5 browsing for _t._tcp goes on"));
}

TEST_F(service_search, takes_nothing_for_gone_of_which_the_daemon_that_is_back_told_while_the_handler_was_busy) {
    auto timing = no_haste();
    timing.return_grace = 50ms;
    handler_.on_line = [&](std::string const& line) {
        if (line == "seen new on 1") std::this_thread::sleep_for(3 * timing.return_grace);
    };
    search(timing);
    for (char const* const name : {"first", "second", "leaves"})
        come_placed(name);
    dnssd_.always_give(browsing,
                       scripted_dnssd::in_turn(scripted_dnssd::instance("first", true),
                                               scripted_dnssd::in_turn(scripted_dnssd::instance("new", true),
                                                                       scripted_dnssd::instance("second", true))));
    dnssd_.die();
    expect("gone leaves on 1");
    EXPECT_EQ(handler_.log.count("seen new on 1"), 1U);
    for (char const* const name : {"first", "second"})
        EXPECT_EQ(handler_.log.count(std::string("gone ") + name + " on 1"), 0U) << name;
}

TEST_F(service_search, takes_what_the_daemon_told_before_it_died_for_no_failure_of_the_instances) {
    auto timing = no_haste();
    timing.first_retry = 1ms;
    search(timing);
    place("n1", "t");
    come("n1");
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    dnssd_.always_give(browsing, scripted_dnssd::instance("n1", true));
    for (std::size_t i = 0; i != 3; ++i) {
        dnssd_.die();
        ASSERT_TRUE(dnssd_.wait_for_asked("txt of n1", i + 2));
    }
    EXPECT_EQ(handler_.log.count("gone n1 on 1"), 0U);
}

TEST_F(service_search, begins_anew_when_something_failed_that_was_not_foreseen) {
    kx_test::captured_report const report;
    search();
    place("n1", "t");
    dnssd_.always_give(browsing, scripted_dnssd::instance("n1", true));
    dnssd_.raise("resolve ", true);
    come("n1");
    ASSERT_TRUE(dnssd_.wait_for_asked("resolve n1", 3));
    dnssd_.raise("resolve ", false);
    expect("resolved n1 on 1: n1.local. 9000 10.0.0.1 t");
    EXPECT_EQ(handler_.log.count("seen n1 on 1"), 1U);
    ASSERT_FALSE(report.lines().empty());
    EXPECT_EQ(lines_of(report).front(), "Bonjour 3 4 browsing for _t._tcp failed and begins anew: std::bad_alloc");
}

TEST(service_search_without_library, says_once_that_nothing_is_found) {
    kx_test::other_dnssd_library const nothing({});
    kx_test::captured_report const report;
    kx_test::told_handler handler;
    {
        kxnet::service_search const search("_t._tcp", handler, no_haste());
        ASSERT_TRUE(kx_test::soon([&] { return !report.lines().empty(); }));
    }
    EXPECT_THAT(lines_of(report),
                ElementsAre("Bonjour 2 5 there is no DNS-SD client library, browsing for _t._tcp finds nothing"));
    EXPECT_THAT(handler.log.lines(), testing::IsEmpty());
}

// --- the questions ----------------------------------------------------------------------------------------------

TEST(dnssd_operation, fails_when_whoever_asked_cannot_take_the_answer) {
    scripted_dnssd dnssd;
    auto asked = kxnet::dnssd_operation::browse(
        "_t._tcp", [](kxnet::browse_answer const&) { throw std::runtime_error("no memory, say"); });
    ASSERT_EQ(dnssd.give("browse _t._tcp", scripted_dnssd::instance("n1", true)), 1U);
    EXPECT_TRUE(asked.is_ready());
    EXPECT_FALSE(asked.process());
}

TEST(dnssd_operation, keeps_its_library_until_it_ends) {
    scripted_dnssd const dnssd;
    std::string message;
    {
        auto const asked = kxnet::dnssd_operation::browse("_t._tcp", [](kxnet::browse_answer const&) {});
        EXPECT_EQ(kxnet::dnssd_operation::count(), 1U);
        try {
            kxnet::set_dnssd_symbol_source(nullptr);
        } catch (kxbase::es::call const& error) {
            message = error.message();
        }
    }
    EXPECT_EQ(message,
              "the functions of the DNS-SD client library cannot be replaced, 1 of its questions are under way");
    EXPECT_EQ(dnssd.open(), 0U);
}
