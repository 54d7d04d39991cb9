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

TEST(text_escape, knows_the_digits_of_both_cases_and_no_others) {
    std::string_view const digits = "0123456789abcdefABCDEF";
    int const values[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 10, 11, 12, 13, 14, 15};
    for (int byte = 0; byte < 256; ++byte) {
        char const digit = static_cast<char>(byte);
        std::size_t const at = digits.find(digit);
        EXPECT_EQ(hex_digit_value(digit), at == std::string_view::npos ? -1 : values[at]) << byte;
    }
}

} // namespace
} // namespace kxcore::detail
