// What kx makes of what the network tells, with a DNS-SD client library that is the test.
#include "found_nodes.h"
#include "interruption.h"

#include "kxnet/support/scripted_dnssd.h"
#include "support/waiting.h"

#include <kxbase/errors.h>
#include <kxnet/mdns_addr_lookup.h>

#include <arpa/inet.h>
#include <gmock/gmock.h>

#include <csignal>

namespace {

using kx_test::scripted_dnssd;
using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr auto browsing = "browse _vostrel-node._tcp";

std::string record_of(std::string const& cluster, unsigned int uc) {
    std::string record;
    for (auto const& entry : {"cluster=" + cluster, "uc=" + std::to_string(uc)})
        record += static_cast<char>(entry.size()) + entry;
    return record;
}

class nodes_of_kx : public testing::Test {
protected:
    static kx::found_nodes::clock::time_point in(std::chrono::milliseconds time) {
        return kx::found_nodes::clock::now() + time;
    }

    void place(std::string const& name, std::string const& cluster) {
        dnssd_.always_give("resolve " + name + " on 1",
                           scripted_dnssd::place(name + ".local.", 9000, record_of(cluster, 1)));
        dnssd_.always_give("address of " + name + ".local. on 1", scripted_dnssd::record(std::string("\x0a\0\0\1", 4)));
    }
    void come(std::string const& name, std::string const& cluster) {
        place(name, cluster);
        ASSERT_TRUE(dnssd_.wait_for_open(browsing, 1));
        dnssd_.give(browsing, scripted_dnssd::instance(name, true));
    }
    void change(std::string const& name, std::string const& cluster, unsigned int uc) {
        ASSERT_TRUE(dnssd_.wait_for_open("txt of " + name + " on 1", 1));
        dnssd_.give("txt of " + name + " on 1", scripted_dnssd::record(record_of(cluster, uc)));
    }
    void go(std::string const& name) { dnssd_.give(browsing, scripted_dnssd::instance(name, false)); }

    /// Whether the browser, which tells of events before it may be asked again, knows the node as it is to be.
    template <typename Holds>
    static bool knows(kx::found_nodes& nodes, Holds const& holds) {
        return kx_test::soon([&] {
            std::map<std::string, kxclientutil::bonjour_node> table;
            nodes.browser().get_nodes(table);
            return holds(table);
        });
    }

    /// All that is to be told: names with the cluster, or "gone".
    static std::vector<std::string> events(kx::found_nodes& nodes) {
        std::vector<std::string> told;
        while (auto const event = nodes.next(in(200ms)))
            told.push_back(event->name + " " + (event->node ? event->node->cluster : "gone"));
        return told;
    }

    scripted_dnssd dnssd_;
};

} // namespace

TEST_F(nodes_of_kx, are_told_of_in_the_order_in_which_something_happened_first) {
    kx::found_nodes nodes;
    come("b", "news");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.contains("b"); }));
    come("a", "news");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.contains("a"); }));
    EXPECT_THAT(events(nodes), ElementsAre("b news", "a news"));
    go("b");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return !table.contains("b"); }));
    EXPECT_THAT(events(nodes), ElementsAre("b gone"));
    EXPECT_THAT(events(nodes), testing::IsEmpty());
}

TEST_F(nodes_of_kx, are_told_of_once_however_often_they_changed_meanwhile) {
    kx::found_nodes nodes;
    come("a", "news");
    come("b", "news");
    for (unsigned int uc = 2; uc != 50; ++uc)
        change("a", "c" + std::to_string(uc), uc);
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.contains("b") && table.at("a").uc == 49; }));
    EXPECT_THAT(events(nodes), testing::UnorderedElementsAre("a c49", "b news"));
    change("a", "late", 50);
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.at("a").uc == 50; }));
    go("a");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return !table.contains("a"); }));
    EXPECT_THAT(events(nodes), ElementsAre("a gone")) << "it was told of";
}

TEST_F(nodes_of_kx, are_not_told_of_when_they_came_and_went_meanwhile) {
    kx::found_nodes nodes;
    come("a", "news");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.contains("a"); }));
    go("a");
    come("b", "news");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.contains("b") && !table.contains("a"); }));
    EXPECT_THAT(events(nodes), ElementsAre("b news"));
}

TEST_F(nodes_of_kx, are_not_told_of_when_the_time_is_over_or_the_user_ends_it_though_more_come) {
    kx::found_nodes nodes;
    come("a", "news");
    ASSERT_TRUE(knows(nodes, [](auto const& table) { return table.contains("a"); }));
    EXPECT_FALSE(nodes.next(kx::found_nodes::clock::now()));
    {
        kx::interruption const signals;
        std::raise(SIGINT);
        EXPECT_THROW(static_cast<void>(nodes.next(std::nullopt)), kx::interrupted);
    }
    kx::interruption const none_any_more;
    EXPECT_TRUE(nodes.next(in(1min))) << "it waits still";
}

TEST_F(nodes_of_kx, serve_a_cluster_by_the_first_name_with_the_name_of_its_host) {
    place("b", "news");
    place("c", "sport");
    dnssd_.always_give(browsing,
                       scripted_dnssd::all({scripted_dnssd::instance("c", true), scripted_dnssd::instance("b", true)}));
    auto const found = kx::find_cluster("news");
    EXPECT_EQ(found.place, "10.0.0.1:9000");
    EXPECT_EQ(found.host, "b.local.");
}

TEST_F(nodes_of_kx, are_given_up_after_a_while_also_while_others_change_without_end) {
    dnssd_.always_give("resolve n on 1", scripted_dnssd::place("n.local.", 9000, record_of("sport", 1)));
    dnssd_.always_give("address of n.local. on 1", scripted_dnssd::record("\1\2\3\4"));
    dnssd_.always_give(browsing, scripted_dnssd::instance("n", true));
    std::vector<scripted_dnssd::answer> changes;
    for (char const* const cluster : {"sport", "weather"})
        changes.push_back(scripted_dnssd::record(record_of(cluster, 0)));
    dnssd_.always_give("txt of n on 1", scripted_dnssd::without_end(scripted_dnssd::all(changes)));
    try {
        static_cast<void>(kx::find_cluster("news"));
        ADD_FAILURE() << "there is none";
    } catch (kxbase::es::call const& error) {
        EXPECT_THAT(error.message(), testing::StartsWith("no node of this cluster was found within 5 s, there is \""));
    }
}

TEST(place_of_a_node, is_the_one_that_the_library_gives_for_its_cluster) {
    scripted_dnssd const dnssd;
    kxclientutil::bonjour_browser browser(nullptr);
    for (std::string const addresses : {"", "1", "12", "21", "2 "}) {
        std::string const name = "n" + addresses;
        auto const txt = record_of(name, 1);
        for (unsigned int interface_index = 1; interface_index <= addresses.size(); ++interface_index) {
            auto const digit = addresses[interface_index - 1];
            kxnet::known_address const known("h.local.", interface_index,
                                             digit == ' ' ? "" : std::string("10.0.0.") + digit);
            browser.resolve_reply(interface_index, name.c_str(), "h.local.", htons(9000),
                                  static_cast<unsigned short>(txt.size()),
                                  reinterpret_cast<unsigned char const*>(txt.data()));
        }
        if (addresses.empty())
            browser.query_reply(name.c_str(), static_cast<unsigned short>(txt.size()),
                                reinterpret_cast<unsigned char const*>(txt.data()), 0, true, false);
        std::string host, port;
        ASSERT_TRUE(browser.get_host_port_for_cluster(name, host, port));
        std::map<std::string, kxclientutil::bonjour_node> nodes;
        browser.get_nodes(nodes);
        EXPECT_EQ(kx::place_of(nodes.at(name)), host + ":" + port);
    }
}
