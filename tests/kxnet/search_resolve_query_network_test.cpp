// Searches and announcements on networks of real daemons.
#include "service_search.h"

#include "support/dnssd_network.h"
#include "support/event_log.h"
#include "support/waiting.h"

#include <kxnet/dnssd_library.h>
#include <kxnet/mdns_addr_lookup.h>
#include <kxnet/service_announcement.h>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <net/if.h>

#include <array>
#include <chrono>
#include <memory>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using kx_test::dnssd_network;
using kxnet::dnssd_operation;
using kxnet::service_announcement;
using namespace std::chrono_literals;

constexpr auto type = "_vostrel-node._tcp";

std::string interface_name(unsigned int index) {
    std::array<char, IF_NAMESIZE> name = {};
    return ::if_indextoname(index, name.data()) == nullptr ? "?" : name.data();
}

/// The entries, in the order of their keys.
std::string txt_text(unsigned short length, unsigned char const* txt) {
    std::set<std::string> entries;
    for (std::uint16_t i = 0; i != kxnet::TXTRecordGetCount(length, txt); ++i) {
        std::array<char, 256> key = {};
        std::uint8_t size = 0;
        void const* value = nullptr;
        if (kxnet::TXTRecordGetItemAtIndex(length, txt, i, 256, key.data(), &size, &value) != 0) continue;
        if (value == nullptr) continue;
        entries.insert(std::string(" ") + key.data() + "=" + std::string(static_cast<char const*>(value), size));
    }
    return std::accumulate(entries.begin(), entries.end(), std::string());
}

/// Writes what it is told of.
class noting_handler : public kxnet::search_resolve_query_handler {
public:
    explicit noting_handler(kx_test::event_log& log) : log_(log) {}

    void search_reply(unsigned int interface_index, std::string const& name, bool added, bool) override {
        note(interface_index, (added ? "seen " : "gone ") + name);
    }
    void resolve_reply(unsigned int interface_index, char const* name, char const* host, unsigned short port,
                       unsigned short txt_length, unsigned char const* txt) override {
        note(interface_index, std::string("resolved ") + name + " " + host + " " + std::to_string(ntohs(port)) + " " +
                                  kxnet::mdns_addr_lookup(host, interface_index).get_IPv4() +
                                  txt_text(txt_length, txt));
    }
    void query_reply(char const* name, unsigned short txt_length, unsigned char const* txt, unsigned int, bool,
                     bool) override {
        log_.add(std::string("changed ") + name + txt_text(txt_length, txt));
    }

private:
    void note(unsigned int interface_index, std::string const& what) {
        log_.add(interface_name(interface_index) + " " + what);
    }

    kx_test::event_log& log_;
};

class search_resolve_query_network : public testing::Test {
protected:
    /// @return false when the test is skipped
    bool make(unsigned int others, unsigned int bus_connections = 256) {
        try {
            network_ = std::make_unique<dnssd_network>(others, bus_connections);
            return true;
        } catch (kx_test::network_unavailable const& error) {
            skip_reason_ = error.what();
            return false;
        }
    }

    std::unique_ptr<kx_test::host_process> announce(std::string const& name, std::string const& port,
                                                    unsigned int count = 1) {
        return network_->start(1, {KX_TEST_ANNOUNCER, std::to_string(count), name, port, "id=1", "uc=1"});
    }

    /// Ends the test when the line does not come.
    void expect(std::string const& line, std::size_t times = 1, std::chrono::seconds patience = 20s) {
        if (!log_.wait_for(line, times, patience)) throw std::runtime_error("no \"" + line + "\", but:" + log_.text());
    }
    void expect_on_both(std::string const& line) {
        expect("kxa " + line);
        expect("kxb " + line);
    }

    std::string skip_reason_;
    std::unique_ptr<dnssd_network> network_;
    kx_test::event_log log_;
    noting_handler handler_{log_};
};

} // namespace

TEST_F(search_resolve_query_network, tells_of_what_is_announced_and_how_it_changes) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    ASSERT_EQ(kxnet::find_dnssd_obstacle(), "");
    kxnet::search_resolve_query const search(type, handler_);
    auto const node = announce("Encoder, \"1\"", "9001");
    expect_on_both("seen Encoder, \"1\"");
    expect("kxa resolved Encoder, \"1\" kx1.local. 9001 10.77.0.2 id=1 uc=1");
    expect("kxb resolved Encoder, \"1\" kx1.local. 9001 10.78.0.2 id=1 uc=1");

    node->write_line("id=1\tuc=2");
    expect("changed Encoder, \"1\" id=1 uc=2", 2);

    auto const first = dnssd_network::interface_index(dnssd_network::e_link::first);
    EXPECT_EQ(kxnet::mdns_addr_lookup("kx1.local.", first).get_IPv4(), "10.77.0.2") << "on a thread of its own";
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(kxnet::mdns_addr_lookup("nobody.local.", first).get_IPv4(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s) << "it waits for ever";

    service_announcement const namesake(type, "Encoder, \"1\"", 9002, {{"id", "2"}});
    ASSERT_TRUE(namesake.wait_until_announced(20s));
    EXPECT_THAT(namesake.get_name(), testing::StartsWith("Encoder, \"1\" #")) << "two of a name";

    node->finish();
    expect_on_both("gone Encoder, \"1\"");
    EXPECT_EQ(log_.count("changed Encoder, \"1\" id=1 uc=1"), 0U) << "what the resolve told is no change";
    EXPECT_EQ(log_.count("changed Encoder, \"1\" id=1 uc=2"), 2U);
}

TEST_F(search_resolve_query_network, goes_on_when_the_daemon_is_back) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    kxnet::search_timing timing;
    timing.return_grace = 8s;
    kxnet::service_search const search(type, handler_, timing);
    service_announcement const own(type, "own", 9000, {});
    auto const staying = announce("staying", "9001");
    auto const leaving = announce("leaving", "9002");
    ASSERT_TRUE(own.wait_until_announced(20s));
    expect("kxa resolved staying kx1.local. 9001 10.77.0.2 id=1 uc=1");
    expect("kxb resolved staying kx1.local. 9001 10.78.0.2 id=1 uc=1");
    expect_on_both("seen leaving");

    network_->stop_daemon(0);
    EXPECT_EQ(kxnet::find_dnssd_obstacle(),
              "no DNS-SD daemon answers (on most systems avahi-daemon, which needs D-Bus)");
    ASSERT_TRUE(kx_test::soon([&] { return own.get_name().empty(); }));
    leaving->finish();
    auto const coming = announce("coming", "9003");
    network_->start_daemon(0);
    EXPECT_TRUE(own.wait_until_announced(20s)) << "announced anew";
    expect("kxa resolved coming kx1.local. 9003 10.77.0.2 id=1 uc=1");
    for (char const* const interface : {"kxa", "kxb"})
        expect(std::string(interface) + " gone leaving", 1, 30s);
    staying->write_line("id=1\tuc=2");
    expect("changed staying id=1 uc=2", 2);
    EXPECT_EQ(log_.count("kxa gone staying"), 0U);
    EXPECT_EQ(log_.count("kxa resolved staying kx1.local. 9001 10.77.0.2 id=1 uc=1"), 1U) << "nothing changed";
}

// Of Avahi's client library, whatever is asked of a daemon that hangs fails after 25 seconds.
TEST_F(search_resolve_query_network, loses_nobody_while_the_daemon_is_frozen) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    network_->set_link(0, dnssd_network::e_link::second, false); // one instance alone is resolved again
    kxnet::search_timing timing;
    timing.recheck = 500ms;
    kxnet::service_search const search(type, handler_, timing);
    auto const staying = announce("staying", "9001");
    expect("kxa resolved staying kx1.local. 9001 10.77.0.2 id=1 uc=1");
    ASSERT_TRUE(kx_test::soon([] { return dnssd_operation::count_of_watches() == 1; }));
    staying->write_line("id=1\tuc=2");
    expect("changed staying id=1 uc=2"); // by then the call that begins to watch is over
    network_->freeze_daemon(0);
    auto const coming = announce("coming", "9002");
    // It fails as often as instances that do not answer are allowed to.
    ASSERT_TRUE(kx_test::soon([] { return dnssd_operation::count_of_watches() == 0; }, 60s)) << "none is given up";
    ASSERT_TRUE(kx_test::soon([] { return dnssd_operation::count() == 2; })) << "nothing is asked";
    ASSERT_TRUE(kx_test::soon([] { return dnssd_operation::count() == 1; }, 60s)) << "not even browsing is left";
    network_->thaw_daemon(0);
    expect("kxa resolved coming kx1.local. 9002 10.77.0.2 id=1 uc=1", 1, 60s);
    staying->write_line("id=1\tuc=3");
    expect("changed staying id=1 uc=3", 1, 60s);
    EXPECT_EQ(log_.count("kxa gone staying"), 0U) << log_.text();
    EXPECT_EQ(log_.count("kxa resolved staying kx1.local. 9001 10.77.0.2 id=1 uc=1"), 1U) << "nothing changed";
}

TEST_F(search_resolve_query_network, ends_after_one_call_though_the_daemon_is_frozen) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    kxnet::search_timing timing;
    timing.recheck = 500ms;
    auto search = std::make_unique<kxnet::service_search>(type, handler_, timing);
    std::vector<std::unique_ptr<kx_test::host_process>> nodes;
    for (char const* const name : {"first", "second"}) {
        nodes.push_back(announce(name, "9001"));
        expect(std::string("kxa resolved ") + name + " kx1.local. 9001 10.77.0.2 id=1 uc=1");
        expect(std::string("kxb resolved ") + name + " kx1.local. 9001 10.78.0.2 id=1 uc=1");
    }
    ASSERT_TRUE(kx_test::soon([] { return dnssd_operation::count_of_watches() == 4; }));
    network_->freeze_daemon(0);
    std::this_thread::sleep_for(2 * timing.recheck); // by then one of them is resolved again
    long long const took = kx_test::milliseconds_of([&] { search.reset(); });
    EXPECT_LT(took, 45'000) << "two calls take 50 seconds";
    EXPECT_EQ(dnssd_operation::count(), 0U);
}

// One of the nodes is to be forgotten together with its host; the other's host is known to be short-lived, the node not.
TEST_F(search_resolve_query_network, tells_of_hosts_that_fell_silent) {
    if (!make(1)) GTEST_SKIP() << skip_reason_;
    kxnet::search_timing timing;
    timing.recheck = 1s;
    timing.first_retry = 200ms;
    timing.resolve_patience = 1500ms;
    kxnet::service_search const search(type, handler_, timing);
    auto const forgotten = network_->start(1, {KX_TEST_MORTAL_NODE, "forgotten", "10.77.0.2", "9001", "3", "3"});
    auto silent = network_->start(1, {KX_TEST_MORTAL_NODE, "silent", "10.77.0.2", "9002", "4500", "3"});
    expect("kxa resolved forgotten host-of-forgotten.local. 9001 10.77.0.2 id=forgotten uc=1");
    expect("kxa resolved silent host-of-silent.local. 9002 10.77.0.2 id=silent uc=1");
    forgotten->kill();
    silent->kill();
    expect("kxa gone forgotten");
    expect("kxa gone silent");

    silent = network_->start(1, {KX_TEST_MORTAL_NODE, "silent", "10.77.0.2", "9003", "4500", "3"});
    expect("kxa seen silent", 2);
    expect("kxa resolved silent host-of-silent.local. 9003 10.77.0.2 id=silent uc=1");
}

// Each question takes a connection to D-Bus.
TEST_F(search_resolve_query_network, finds_more_than_there_are_connections_for) {
    constexpr unsigned int nodes = 40;
    if (!make(1, 30)) GTEST_SKIP() << skip_reason_;
    kxnet::search_timing timing;
    timing.recheck = 2s;
    timing.first_retry = 100ms;
    kxnet::service_search const search(type, handler_, timing);
    auto const many = announce("node", "9001", nodes);
    for (unsigned int i = 0; i != nodes; ++i) {
        auto const name = "node " + std::to_string(i);
        expect("kxa resolved " + name + " kx1.local. 9001 10.77.0.2 id=1 uc=1");
        expect("kxb resolved " + name + " kx1.local. 9001 10.78.0.2 id=1 uc=1");
    }
    many->write_line("id=1\tuc=2");
    for (unsigned int i = 0; i != nodes; ++i)
        expect("changed node " + std::to_string(i) + " id=1 uc=2", 2);
}
