#include <kxnet/mdns_addr_lookup.h>

#include "address_query.h"

#include "kxnet/support/scripted_dnssd.h"
#include "kxnet/support/shortage.h"
#include "support/dnssd_symbols.h"

#include <gmock/gmock.h>

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <thread>

namespace {

using kx_test::scripted_dnssd;

std::string address_of(std::string const& host, unsigned int interface_index) {
    return kxnet::mdns_addr_lookup(host, interface_index).get_IPv4();
}

} // namespace

TEST(mdns_addr_lookup, finds_nothing_without_a_library) {
    kx_test::other_dnssd_library const nothing({});
    EXPECT_EQ(address_of("node1.local.", 1), "");
}

TEST(mdns_addr_lookup, takes_what_is_known_already) {
    kx_test::other_dnssd_library const nothing({});
    kxnet::known_address const known("node1.local.", 3, "10.0.0.1");
    EXPECT_EQ(address_of("node1.local.", 3), "10.0.0.1");
    EXPECT_EQ(address_of("node1.local.", 4), "") << "another interface";
    EXPECT_EQ(address_of("node2.local.", 3), "") << "another host";
    {
        kxnet::known_address const inner("node1.local.", 3, "");
        EXPECT_EQ(address_of("node1.local.", 3), "") << "that there is none is known, too";
    }
    EXPECT_EQ(address_of("node1.local.", 3), "10.0.0.1");
    std::string elsewhere = "unset";
    std::thread([&] { elsewhere = address_of("node1.local.", 3); }).join();
    EXPECT_EQ(elsewhere, "") << "another thread";
}

TEST(mdns_addr_lookup, asks_for_the_host_on_the_interface_and_takes_the_first_address) {
    scripted_dnssd dnssd;
    auto const address = [](char last_byte) { return scripted_dnssd::record(std::string("\x0a\0\0", 3) + last_byte); };
    dnssd.always_give("address of node1.local. on 3",
                      scripted_dnssd::all({scripted_dnssd::record(""), scripted_dnssd::record("\1\2\3"),
                                           scripted_dnssd::record(std::string(16, '\1')), address(7), address(8)}));
    EXPECT_EQ(address_of("node1.local.", 3), "10.0.0.7");
    EXPECT_EQ(dnssd.asked(""), 1U);
    EXPECT_EQ(dnssd.open(), 0U);
}

TEST(mdns_addr_lookup, waits_for_an_address_while_others_come) {
    scripted_dnssd dnssd;
    dnssd.always_give("address of node1.local. on 3",
                      scripted_dnssd::in_turn(scripted_dnssd::record("no"),
                                              scripted_dnssd::in_turn(scripted_dnssd::record("none, too"),
                                                                      scripted_dnssd::record("none"))));
    EXPECT_EQ(address_of("node1.local.", 3), "110.111.110.101") << "any four bytes";
}

TEST(mdns_addr_lookup, ends_with_the_first_failure) {
    scripted_dnssd dnssd;
    dnssd.refuse("address of refused", scripted_dnssd::unknown_error);
    EXPECT_EQ(address_of("refused.local.", 3), "");
    EXPECT_EQ(dnssd.waits(), 0U);
    dnssd.always_give("address of failing.local. on 3", scripted_dnssd::error(scripted_dnssd::unknown_error));
    EXPECT_EQ(address_of("failing.local.", 3), "");
    EXPECT_EQ(dnssd.waits(), 1U);
    EXPECT_EQ(dnssd.open(), 0U);
}

TEST(mdns_addr_lookup, ends_where_it_cannot_even_wait) {
    scripted_dnssd dnssd;
    std::optional<kx_test::descriptor_limit> none;
    dnssd.always_give("address of node1.local. on 3", [&](scripted_dnssd::question&) { none.emplace(0); });
    timespec spent = {};
    std::string found = "unset";
    std::thread([&] {
        found = address_of("node1.local.", 3);
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
        none.reset(); // sanitizers look at threads that end, which takes descriptors
    }).join();
    EXPECT_EQ(found, "");
    EXPECT_EQ(dnssd.waits(), 2U);
    EXPECT_TRUE(spent.tv_sec == 0 && spent.tv_nsec < 300'000'000) << "it has tried again and again for a second";
}

TEST(mdns_addr_lookup, gives_up_after_a_second_without_an_answer) {
    scripted_dnssd const dnssd;
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(address_of("node1.local.", 0), "");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(dnssd.asked("address of node1.local. on 0"), 1U);
}

TEST(mdns_addr_lookup, reads_addresses_of_four_bytes_only) {
    EXPECT_EQ(kxnet::dotted_address(std::string("\x0a\0\xff\1", 4)), "10.0.255.1");
    for (std::string const& bytes : {std::string(), std::string("\1\2\3"), std::string(16, '\1')})
        EXPECT_EQ(kxnet::dotted_address(bytes), "");
}
