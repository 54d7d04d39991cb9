#include <kxbase/one_line.h>

#include <gtest/gtest.h>

#include <string>

using kxbase::string_on_one_line;

TEST(one_line, leaves_what_can_be_shown) {
    for (char const* const text : {"", "a b~", "B\\C", "\u00a0\u00e4\u65e5\U0001f3ac"})
        EXPECT_EQ(string_on_one_line(text), text);
}

TEST(one_line, escapes_control_characters_of_both_blocks) {
    EXPECT_EQ(string_on_one_line("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(string_on_one_line(std::string("\0\x1b[2J\x7f", 6)), "\\x00\\x1B[2J\\x7F");
    EXPECT_EQ(string_on_one_line("\u0080\u009b\u009f\u00a0"), "\\u{0080}\\u{009B}\\u{009F}\u00a0");
}

TEST(one_line, escapes_line_separators_and_what_turns_the_writing_direction) {
    EXPECT_EQ(string_on_one_line("\u2027\u2028\u2029"), "\u2027\\u{2028}\\u{2029}");
    EXPECT_EQ(string_on_one_line("\u202a\u202e\u2066\u2069\u200e\u200f\u061c\ufeff"),
              "\\u{202A}\\u{202E}\\u{2066}\\u{2069}\\u{200E}\\u{200F}\\u{061C}\\u{FEFF}");
}

TEST(one_line, escapes_bytes_that_are_no_utf_8) {
    EXPECT_EQ(string_on_one_line("a\xff\xc3"), "a\\xFF\\xC3");
    EXPECT_EQ(string_on_one_line("\x9b"), "\\x9B");
}
