// Who waits for whom: the browser's mutex, and its end while replies arrive.
#include <kxclientutil/bonjour.h>

#include "kxclientutil/support/bonjour_replies.h"
#include "kxnet/support/scripted_dnssd.h"
#include "support/captured_report.h"
#include "support/waiting.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kx_test::scripted_dnssd;
using kxclientutil::bonjour_browser;
using kxclientutil::bonjour_callback;
using kxclientutil::bonjour_node;
using namespace std::chrono_literals;

using node_table = std::map<std::string, bonjour_node>;

constexpr auto browsing = "browse _vostrel-node._tcp";

/// What each thread may want of a browser.
struct wish {
    char const* name;
    std::function<void(bonjour_browser&)> act;
};

std::vector<wish> wishes_that_wait() {
    static std::string const txt("\4uc=0", 5);
    return {{"get_nodes",
             [](bonjour_browser& browser) {
                 node_table copy;
                 browser.get_nodes(copy);
             }},
            {"get_host_port_for_cluster",
             [](bonjour_browser& browser) {
                 std::string host, port;
                 static_cast<void>(browser.get_host_port_for_cluster("c", host, port));
             }},
            {"search_reply", [](bonjour_browser& browser) { browser.search_reply(9, "other", false, false); }},
            {"resolve_reply",
             [](bonjour_browser& browser) {
                 kx_test::resolve_at(browser, 1, "other", "other.local.", "10.0.0.2", 9000, "");
             }},
            {"query_reply", [](bonjour_browser& browser) {
                 browser.query_reply("other", 5, kx_test::bytes_of(txt), 0, true, false);
             }}};
}

/// Asks on another thread, and says whether that came to an end within a while.
class asked_elsewhere {
public:
    asked_elsewhere(bonjour_browser& browser, wish const& what)
        : asked_(std::async(std::launch::async, [&browser, act = what.act] { act(browser); })) {}

    [[nodiscard]] bool ends_within(std::chrono::milliseconds time) const {
        return asked_.wait_for(time) == std::future_status::ready;
    }

private:
    std::future<void> asked_; // waits at its end
};

/// Calls what the test wants, once.
class calling_once : public bonjour_callback {
public:
    std::function<void()> call = {};

    void node_added(std::string const&, node_table const&) override { once(); }
    void node_updated(std::string const&, node_table const&) override {}
    void node_removed(std::string const&, node_table const&) override {}

private:
    void once() {
        if (auto const now = std::exchange(call, nullptr)) now();
    }
};

/// Asks on another thread during each call, and takes down whether the answer came while the call lasted.
class asking_elsewhere : public bonjour_callback {
public:
    bonjour_browser* browser = nullptr;
    std::vector<std::string> seen;
    std::vector<std::future<void>> asked;

    void node_added(std::string const&, node_table const&) override { look("added"); }
    void node_updated(std::string const&, node_table const&) override { look("updated"); }
    void node_removed(std::string const&, node_table const&) override { look("removed"); }

private:
    void look(std::string const& what) {
        asked.push_back(std::async(std::launch::async, [this] {
            node_table copy;
            browser->get_nodes(copy);
        }));
        bool const has_waited = asked.back().wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
        seen.push_back(what + (has_waited ? ", others wait" : ", others go on"));
    }
};

/// A slow one, which counts.
class slow_observer : public bonjour_callback {
public:
    std::atomic<std::size_t> calls = 0;

    void node_added(std::string const&, node_table const&) override { take(); }
    void node_updated(std::string const&, node_table const&) override { take(); }
    void node_removed(std::string const&, node_table const&) override { take(); }

private:
    void take() {
        ++calls;
        std::this_thread::sleep_for(5ms); // its owner is to end meanwhile
    }
};

class threads_of_browser : public testing::Test {
protected:
    scripted_dnssd dnssd_;
};

std::function<void()>& on_txt() {
    static std::function<void()> call;
    return call;
}

} // namespace

TEST_F(threads_of_browser, wait_with_all_but_a_sighting_while_the_observer_is_called) {
    for (auto const& each : wishes_that_wait()) {
        calling_once observer;
        bonjour_browser browser(&observer);
        std::optional<asked_elsewhere> waiting;
        bool sighting_ends = false, other_ends = true;
        observer.call = [&] {
            sighting_ends =
                asked_elsewhere(browser, {"", [](bonjour_browser& told) { told.search_reply(1, "n1", true, false); }})
                    .ends_within(20s);
            waiting.emplace(browser, each);
            other_ends = waiting->ends_within(50ms);
        };
        kx_test::resolve_at(browser, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
        EXPECT_TRUE(sighting_ends) << each.name;
        EXPECT_FALSE(other_ends) << each.name;
        EXPECT_TRUE(waiting->ends_within(20s)) << each.name;
    }
}

TEST_F(threads_of_browser, wait_during_each_call_of_the_observer) {
    asking_elsewhere observer;
    bonjour_browser asked(&observer);
    observer.browser = &asked;
    kx_test::resolve_at(asked, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
    kx_test::resolve_at(asked, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
    auto const txt = kx_test::record({{"uc", "7"}});
    asked.query_reply("n1", static_cast<unsigned short>(txt.size()), kx_test::bytes_of(txt), 0, true, false);
    asked.search_reply(1, "n1", false, false);
    for (auto& each : observer.asked)
        each.get();
    EXPECT_THAT(observer.seen, testing::ElementsAre("added, others wait", "updated, others wait",
                                                    "updated, others wait", "removed, others wait"));
}

TEST_F(threads_of_browser, wait_while_the_address_is_looked_up) {
    bonjour_browser browser(nullptr);
    std::optional<asked_elsewhere> waiting;
    bool has_ended = true;
    dnssd_.always_give("address of n1.local. on 3", [&](scripted_dnssd::question& asked) {
        waiting.emplace(browser, wishes_that_wait().front());
        has_ended = waiting->ends_within(50ms);
        scripted_dnssd::record("\1\2\3\4")(asked);
    });
    browser.resolve_reply(3, "n1", "n1.local.", 0, 0, kx_test::bytes_of(""));
    EXPECT_FALSE(has_ended);
    node_table nodes;
    browser.get_nodes(nodes);
    EXPECT_EQ(nodes.at("n1").addresses.at(3), "1.2.3.4");
}

TEST(threads_of_browser_and_record, wait_while_a_record_is_read) {
    kx_test::other_dnssd_library const own(
        {{"TXTRecordGetCount", reinterpret_cast<void*>(+[](std::uint16_t, void const*) {
              if (on_txt()) on_txt()();
              return std::uint16_t{0};
          })}});
    bonjour_browser browser(nullptr);
    for (bool const is_resolve : {true, false}) {
        std::optional<asked_elsewhere> waiting;
        bool has_ended = true;
        on_txt() = [&] {
            waiting.emplace(browser, wishes_that_wait().front());
            has_ended = waiting->ends_within(50ms);
        };
        if (is_resolve) {
            kx_test::resolve_at(browser, 1, "n1", "n1.local.", "10.0.0.1", 9000, "");
        } else {
            browser.query_reply("n1", 0, kx_test::bytes_of(""), 0, true, false);
        }
        on_txt() = nullptr;
        EXPECT_FALSE(has_ended) << is_resolve;
    }
}

TEST_F(threads_of_browser, call_nobody_once_it_is_destroyed) {
    kx_test::captured_report const log;
    dnssd_.always_give("resolve n1 on 1", scripted_dnssd::place("n1.local.", 9000, std::string("\4uc=0", 5)));
    dnssd_.always_give("address of n1.local. on 1", scripted_dnssd::record("\1\2\3\4"));
    dnssd_.always_give(browsing, scripted_dnssd::without_end(scripted_dnssd::all(
                                     {scripted_dnssd::instance("n1", true), scripted_dnssd::instance("n0", false)})));
    dnssd_.always_give("txt of n1 on 1", scripted_dnssd::without_end(scripted_dnssd::all(
                                             {scripted_dnssd::record(std::string("\4uc=0\1a", 7)),
                                              scripted_dnssd::record(std::string("\4uc=0\1b", 7))})));
    for (int i = 0; i != 5; ++i) {
        slow_observer observer;
        {
            bonjour_browser const browser(&observer);
            ASSERT_TRUE(kx_test::soon([&] { return observer.calls > 3; }));
        }
        std::size_t const calls = observer.calls;
        EXPECT_EQ(dnssd_.open(), 0U);
        std::this_thread::sleep_for(10ms); // twice as long as one of its calls
        EXPECT_EQ(observer.calls, calls);
    }
}
