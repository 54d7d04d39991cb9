#include <kxnet/dnssd_library.h>

#include "support/dnssd_symbols.h"

#include <gmock/gmock.h>

#include <array>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kx_test::other_dnssd_library;

/// A key, or "error N", and a value.
using txt_item = std::pair<std::string, std::string>;

txt_item item_of(std::string const& record, std::uint16_t index, std::uint16_t key_size = 256) {
    std::vector<char> key(key_size);
    std::uint8_t length = 77;
    void const* value = nullptr;
    auto const error = kxnet::TXTRecordGetItemAtIndex(static_cast<std::uint16_t>(record.size()), record.data(), index,
                                                      key_size, key.data(), &length, &value);
    if (error != 0) return {"error " + std::to_string(error), ""};
    return {key.data(), value == nullptr ? "" : std::string(static_cast<char const*>(value), length)};
}

std::uint16_t count_of(std::string const& record) {
    return kxnet::TXTRecordGetCount(static_cast<std::uint16_t>(record.size()), record.data());
}

std::string const two_entries("\5id=n1\4uc=7", 11);

} // namespace

TEST(dnssd_library, decodes_txt_records) {
    EXPECT_EQ(count_of(two_entries), 2);
    EXPECT_EQ(item_of(two_entries, 0), txt_item("id", "n1"));
    EXPECT_EQ(item_of(two_entries, 1), txt_item("uc", "7"));
    EXPECT_THAT(item_of(two_entries, 2).first, testing::StartsWith("error "));
    EXPECT_THAT(item_of(two_entries, 0, 2).first, testing::StartsWith("error ")) << "the key needs three bytes";
    EXPECT_EQ(item_of(std::string("\2up", 3), 0), txt_item("up", ""));
}

TEST(dnssd_library, tells_no_entries_without_a_library) {
    other_dnssd_library const nothing({});
    EXPECT_EQ(count_of(two_entries), 0);
    EXPECT_EQ(item_of(two_entries, 0).first, "error -65563");
}

TEST(dnssd_library, asks_for_each_function_once_when_it_is_first_needed) {
    other_dnssd_library const own(
        {{"TXTRecordGetCount", reinterpret_cast<void*>(+[](std::uint16_t, void const*) { return std::uint16_t{3}; })}});
    EXPECT_TRUE(own.asked().empty());
    for (int i = 0; i != 3; ++i)
        EXPECT_EQ(count_of(two_entries), 3);
    EXPECT_THAT(own.asked(), testing::ElementsAre("TXTRecordGetCount"));
    for (int i = 0; i != 3; ++i)
        EXPECT_EQ(item_of(two_entries, 0).first, "error -65563");
    EXPECT_THAT(own.asked(), testing::ElementsAre("TXTRecordGetCount", "TXTRecordGetItemAtIndex"))
        << "that a function is missing is remembered, too";
}

TEST(dnssd_library, serves_threads_that_need_a_function_at_once) {
    std::vector<std::thread> threads;
    std::array<std::uint16_t, 8> counts = {};
    for (auto& count : counts)
        threads.emplace_back([&count] { count = count_of(two_entries); });
    for (auto& thread : threads)
        thread.join();
    EXPECT_THAT(counts, testing::Each(2));
}

TEST(dnssd_library, says_why_nothing_can_be_found) {
    {
        other_dnssd_library const nothing({});
        EXPECT_EQ(kxnet::find_dnssd_obstacle(), "the DNS-SD client library (libdns_sd.so.1) is not installed");
    }
    {
        other_dnssd_library const partial({{"TXTRecordGetCount", reinterpret_cast<void*>(&count_of)}});
        EXPECT_EQ(kxnet::find_dnssd_obstacle(), "the DNS-SD client library (libdns_sd.so.1) cannot browse");
    }
    other_dnssd_library const no_daemon(
        {{"DNSServiceBrowse", reinterpret_cast<void*>(+[](void**, unsigned, unsigned, char const*, char const*, void*,
                                                          void*) { return -65563; })}});
    EXPECT_EQ(kxnet::find_dnssd_obstacle(),
              "no DNS-SD daemon answers (on most systems avahi-daemon, which needs D-Bus)");
}
