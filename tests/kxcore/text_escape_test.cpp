#include "text_escape.h"

#include <gtest/gtest.h>

namespace kxcore::detail {
namespace {

TEST(text_escape, keeps_what_a_query_may_hold) {
    std::string out = "=";
    append_escaped(out, "aZ09-._~/:@?!$'()*, &=+;%|{}[]#\"\x01\xFF", is_query_byte);
    EXPECT_EQ(out, "=aZ09-._~/:@?!$'()*,%20%26%3D%2B%3B%25%7C%7B%7D%5B%5D%23%22%01%FF");
    EXPECT_EQ(unescaped(out.substr(1)), "aZ09-._~/:@?!$'()*, &=+;%|{}[]#\"\x01\xFF");
}

TEST(text_escape, leaves_a_malformed_escape_alone) {
    EXPECT_EQ(unescaped("%zz%4%%41%"), "%zz%4%A%");
}

} // namespace
} // namespace kxcore::detail
