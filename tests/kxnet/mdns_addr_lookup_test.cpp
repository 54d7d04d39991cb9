#include <kxnet/mdns_addr_lookup.h>

#include "address_query.h"

#include "support/dnssd_symbols.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

namespace {

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

TEST(mdns_addr_lookup, reads_addresses_of_four_bytes_only) {
    EXPECT_EQ(kxnet::dotted_address(std::string("\x0a\0\xff\1", 4)), "10.0.255.1");
    for (std::string const& bytes : {std::string(), std::string("\1\2\3"), std::string(16, '\1')})
        EXPECT_EQ(kxnet::dotted_address(bytes), "");
}
