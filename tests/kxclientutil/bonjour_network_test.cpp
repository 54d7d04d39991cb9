// The browser on networks of real daemons.
#include <kxclientutil/bonjour.h>

#include "support/dnssd_network.h"
#include "support/event_log.h"
#include "support/waiting.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <string>

namespace {

using kx_test::dnssd_network;
using kx_test::host_process;
using kx_test::soon;
using kxclientutil::bonjour_browser;
using kxclientutil::bonjour_node;
using e_link = dnssd_network::e_link;

using node_table = std::map<std::string, bonjour_node>;

class noting_observer : public kxclientutil::bonjour_callback {
public:
    kx_test::event_log log;

    void node_added(std::string const& name, node_table const&) override { log.add("added " + name); }
    void node_updated(std::string const& name, node_table const&) override { log.add("updated " + name); }
    void node_removed(std::string const& name, node_table const&) override { log.add("removed " + name); }
};

class bonjour_network : public testing::Test {
protected:
    /// @return false when the test is skipped
    bool make(unsigned int others) {
        try {
            network_ = std::make_unique<dnssd_network>(others);
        } catch (kx_test::network_unavailable const& error) {
            skip_reason_ = error.what();
            return false;
        }
        browser_.emplace(&observer_);
        return true;
    }

    std::unique_ptr<host_process> announce(unsigned int host, std::string const& name, std::string const& cluster) {
        return network_->start(host, {KX_TEST_ANNOUNCER, "1", name, "9000", "id=1", "cluster=" + cluster, "uc=5"});
    }

    bonjour_node node(std::string const& name) const {
        node_table nodes;
        browser_->get_nodes(nodes);
        return nodes.contains(name) ? nodes.at(name) : bonjour_node();
    }

    bool has(std::string const& name) const {
        node_table nodes;
        browser_->get_nodes(nodes);
        return nodes.contains(name);
    }

    bool is_on(std::string const& name, std::size_t interfaces) const {
        return soon([&] { return node(name).addresses.size() == interfaces; });
    }

    /// HOST:PORT of a cluster; empty when there is none.
    std::string where(std::string const& cluster) {
        std::string host, port;
        return browser_->get_host_port_for_cluster(cluster, host, port) ? host + ":" + port : "";
    }

    std::string skip_reason_;
    std::unique_ptr<dnssd_network> network_;
    noting_observer observer_;
    std::optional<bonjour_browser> browser_;
};

} // namespace

TEST_F(bonjour_network, keeps_up_with_a_node_and_its_txt_record) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    auto const announced = announce(1, "node", "news");
    ASSERT_TRUE(is_on("node", 2)) << observer_.log.text();
    auto const found = node("node");
    EXPECT_EQ(found.host, "kx1.local.");
    EXPECT_EQ(found.port, "9000");
    EXPECT_EQ(found.id, "1");
    EXPECT_EQ(found.cluster, "news");
    EXPECT_EQ(found.uc, 5U);
    auto const first = dnssd_network::interface_index(e_link::first);
    auto const second = dnssd_network::interface_index(e_link::second);
    EXPECT_THAT(found.addresses,
                testing::UnorderedElementsAre(testing::Pair(first, "10.77.0.2"), testing::Pair(second, "10.78.0.2")));
    EXPECT_EQ(where("news"), (first > second ? "10.77.0.2:9000" : "10.78.0.2:9000"));
    EXPECT_EQ(observer_.log.count("added node"), 1U) << observer_.log.text();

    // Each record that is ignored is followed by one that is not, so that it has been seen by then.
    announced->write_line("id=equal\tcluster=equal\tuc=5");
    announced->write_line("id=2\tcluster=sport\tuc=6");
    ASSERT_TRUE(soon([&] { return node("node").uc == 6; })) << observer_.log.text();
    EXPECT_EQ(node("node").id, "2");
    EXPECT_EQ(where("news"), "");
    EXPECT_NE(where("sport"), "");
    announced->write_line("id=none\tcluster=none");
    announced->write_line("uc=8\tid=3");
    ASSERT_TRUE(soon([&] { return node("node").uc == 8; })) << observer_.log.text();
    EXPECT_EQ(node("node").txt, (std::map<std::string, std::string>{{"cluster", ""}, {"id", "3"}, {"uc", "8"}}));
    announced->write_line("uc=9\tid=4\tcluster=news\tprivate=yes");
    ASSERT_TRUE(soon([&] { return node("node").uc == 9; })) << observer_.log.text();
    EXPECT_EQ(where("news"), "") << "private";
    EXPECT_NE(where(""), "");

    announced->finish();
    EXPECT_TRUE(observer_.log.wait_for("removed node"));
    EXPECT_FALSE(has("node"));
}

TEST_F(bonjour_network, ignores_a_record_with_an_equal_counter_or_none) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    auto const announced = announce(1, "node", "news");
    auto const witness = announce(1, "witness", "news");
    ASSERT_TRUE(is_on("node", 2) && is_on("witness", 2)) << observer_.log.text();
    auto const updates = observer_.log.count("updated node");
    for (std::string const& record : {std::string("id=equal\tuc=5"), std::string("id=none")}) {
        announced->write_line(record);
        // What the same daemon announces later has been seen later.
        auto const before = node("witness").uc;
        witness->write_line("uc=" + std::to_string(before + 1));
        ASSERT_TRUE(soon([&] { return node("witness").uc == before + 1; })) << observer_.log.text();
        EXPECT_EQ(node("node").id, "1");
    }
    EXPECT_EQ(observer_.log.count("updated node"), updates);
}

TEST_F(bonjour_network, keeps_a_node_until_it_has_left_its_last_interface) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    auto const announced = announce(1, "node", "news");
    ASSERT_TRUE(is_on("node", 2)) << observer_.log.text();
    network_->set_link(0, e_link::second, false);
    ASSERT_TRUE(is_on("node", 1)) << observer_.log.text();
    EXPECT_EQ(where("news"), "10.77.0.2:9000");
    EXPECT_EQ(observer_.log.count("removed node"), 0U);
    network_->set_link(0, e_link::first, false);
    EXPECT_TRUE(observer_.log.wait_for("removed node")) << observer_.log.text();
    EXPECT_FALSE(has("node"));
    network_->set_link(0, e_link::first, true);
    EXPECT_TRUE(observer_.log.wait_for("added node", 2)) << observer_.log.text();
}

TEST_F(bonjour_network, loses_a_node_whose_host_dies_without_goodbye) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    auto const mortal = network_->start(1, {KX_TEST_MORTAL_NODE, "mortal", "10.77.0.2", "9001", "10", "10"});
    ASSERT_TRUE(observer_.log.wait_for("added mortal")) << observer_.log.text();
    EXPECT_EQ(node("mortal").host, "host-of-mortal.local.");
    mortal->kill();
    EXPECT_TRUE(observer_.log.wait_for("removed mortal", 1, std::chrono::seconds(30))) << observer_.log.text();
    EXPECT_FALSE(has("mortal"));
}

TEST_F(bonjour_network, outlives_the_daemon) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    auto const staying = announce(1, "staying", "news");
    auto const leaving = announce(1, "leaving", "sport");
    ASSERT_TRUE(is_on("staying", 2) && is_on("leaving", 2)) << observer_.log.text();
    network_->stop_daemon(0);
    leaving->finish();
    EXPECT_TRUE(has("staying") && has("leaving")) << "nobody on this host can say that they are gone";
    network_->start_daemon(0);
    auto const coming = announce(1, "coming", "news");
    EXPECT_TRUE(observer_.log.wait_for("added coming")) << observer_.log.text();
    EXPECT_TRUE(observer_.log.wait_for("removed leaving", 1, std::chrono::seconds(30))) << observer_.log.text();
    EXPECT_EQ(observer_.log.count("removed staying"), 0U);
    staying->write_line("id=2\tcluster=news\tuc=6");
    EXPECT_TRUE(soon([&] { return node("staying").uc == 6; })) << observer_.log.text();
}

TEST_F(bonjour_network, finds_a_cluster_of_two_nodes_by_the_first_name) {
    if (!make(2)) GTEST_SKIP() << skip_reason_;
    auto const b = announce(1, "b", "news");
    auto const a = announce(2, "a", "news");
    ASSERT_TRUE(is_on("a", 2) && is_on("b", 2)) << observer_.log.text();
    EXPECT_EQ(where("news").substr(5), ".0.3:9000") << where("news");
    a->finish();
    ASSERT_TRUE(observer_.log.wait_for("removed a"));
    EXPECT_EQ(where("news").substr(5), ".0.2:9000") << where("news");
}
