#include <kxnet/hello.h>

#include "support/scripted_node.h"

#include <gtest/gtest.h>

namespace {

using kx_test::hello_text;
using kxnet::e_hello;

e_hello judged(std::string const& bytes) {
    return kxnet::judge_hello(std::as_bytes(std::span(bytes)));
}

TEST(hello, is_eight_bytes_of_magic_and_the_version) {
    EXPECT_EQ(hello_text(), std::string("KXNET\r\n\x1a\0\0\0\1", 12));
    EXPECT_EQ(hello_text(0x01020304), std::string("KXNET\r\n\x1a\1\2\3\4", 12));
    EXPECT_EQ(kxnet::hello_version(kxnet::make_hello(0x01020304)), 0x01020304u);
}

TEST(hello, of_this_version_fits_whatever_follows) {
    std::string bytes = hello_text();
    EXPECT_EQ(judged(bytes), e_hello::fits);
    bytes += "more";
    EXPECT_EQ(judged(bytes), e_hello::fits);
}

TEST(hello, of_another_version_is_told_from_foreign_bytes) {
    for (std::uint32_t const version : {0u, 2u, 0x100u, 0xffffffffu})
        EXPECT_EQ(judged(hello_text(version)), e_hello::other_version) << version;
}

TEST(hello, is_incomplete_up_to_its_last_byte) {
    for (std::size_t size = 0; size != kxnet::hello_size; ++size)
        EXPECT_EQ(judged(hello_text(7).substr(0, size)), e_hello::incomplete) << size;
}

TEST(hello, is_refused_with_the_first_byte_that_is_wrong) {
    for (std::size_t at = 0; at != 8; ++at) {
        std::string bytes = hello_text().substr(0, at + 1);
        bytes[at] = '!';
        EXPECT_EQ(judged(bytes), e_hello::foreign) << at;
    }
    EXPECT_EQ(judged("HTTP/1.1 400 Bad Request\r\n"), e_hello::foreign);
    EXPECT_EQ(judged("\x15\x02"), e_hello::foreign);
}

TEST(hello, in_the_place_of_which_tls_begins_is_known_as_such) {
    EXPECT_EQ(judged("\x15"), e_hello::incomplete);
    EXPECT_EQ(judged("\x15\x03\x01"), e_hello::encrypted);
    EXPECT_EQ(judged("\x16\x03"), e_hello::encrypted);
}

} // namespace
