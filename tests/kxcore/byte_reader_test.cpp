#include "byte_reader.h"

#include <gtest/gtest.h>

namespace {

TEST(byte_reader, takes_numbers_with_the_lowest_byte_first) {
    kxbase::buffer out;
    kxcore::append_little_endian(out, std::uint16_t{0x0102});
    kxcore::append_little_endian(out, std::uint32_t{0x03040506});
    EXPECT_EQ(out.text(), "\x02\x01\x06\x05\x04\x03");
    kxcore::byte_reader reader(out.text());
    std::uint16_t first = 0;
    std::uint32_t second = 0;
    EXPECT_TRUE(reader.take_number("first", first));
    EXPECT_TRUE(reader.take_number("second", second));
    EXPECT_EQ(first, 0x0102);
    EXPECT_EQ(second, 0x03040506U);
    EXPECT_FALSE(reader.take_number("third", first));
    EXPECT_EQ(reader.diagnostic().to_string(), "byte 6: expected third, found the end of the file");
}

TEST(byte_reader, checks_a_body) {
    kxbase::buffer out(std::string_view("head"));
    kxcore::append_checked_body(out, 0, "body");
    auto const taken = [](std::string_view bytes) {
        kxcore::byte_reader reader(bytes);
        std::string_view head;
        std::string_view body;
        EXPECT_TRUE(reader.take(4, "head", head));
        return reader.take_checked_body(body) ? std::string(body) : reader.diagnostic().to_string();
    };
    EXPECT_EQ(taken(out.text()), "body");
    EXPECT_EQ(taken("head"), "byte 4: expected the size of the content, found the end of the file");
    EXPECT_EQ(taken("head" + std::string(8, '\xff')),
              "byte 4: expected 18446744073709551615 bytes of content and a checksum of 4, found 0 bytes in all");
    std::string changed(out.text());
    changed[0] = 'H';
    EXPECT_EQ(taken(changed), "byte 16: the checksum does not fit: the file was damaged");
}

} // namespace
