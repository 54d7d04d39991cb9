#include "network_reader.h"

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

network_reader reader_of(std::string_view text, std::size_t position = 0) {
    return network_reader(std::as_bytes(std::span(text.data(), text.size())), position);
}

TEST(network_reader, reads_to_the_end_and_not_beyond) {
    network_reader reader = reader_of("abcd", 1);
    EXPECT_EQ(reader.offset(), 1U);
    EXPECT_EQ(reader.left(), 3U);
    EXPECT_EQ(reader.peek("x"), static_cast<unsigned int>('b'));
    EXPECT_EQ(reader.get("x"), static_cast<unsigned int>('b'));
    EXPECT_EQ(reader.get_bytes(1, 2, "x"), "cd");
    EXPECT_THROW((void)reader.get("x"), kxbase::es::arg);
    EXPECT_THROW((void)reader.get_varint("x"), kxbase::es::arg);
    EXPECT_THROW((void)reader.get_bytes(1, UINT64_MAX, "x"), kxbase::es::arg);
    EXPECT_EQ(reader.get_bytes(1, 0, "x"), "");
    EXPECT_THROW((void)reader_of("abcd", 5), kxbase::es::arg);
}

TEST(network_reader, reads_the_largest_number_and_refuses_larger_ones) {
    network_reader largest = reader_of("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01");
    EXPECT_EQ(largest.get_varint("x"), UINT64_MAX);
    network_reader larger = reader_of("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x03");
    EXPECT_THROW((void)larger.get_varint("x"), kxbase::es::arg);
    network_reader endless = reader_of("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01");
    EXPECT_THROW((void)endless.get_varint("x"), kxbase::es::arg);
}

} // namespace
} // namespace kxcore
