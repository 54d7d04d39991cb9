#include <kxcore/text_pattern.h>

#include <kxbase/errors.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using kxcore::text_pattern;
using testing::HasSubstr;

std::string error_of(std::string_view expression) {
    try {
        static_cast<void>(text_pattern(expression));
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    return "no es::arg";
}

TEST(text_pattern, fits_whole_texts_only) {
    text_pattern const pattern("a|ab");
    EXPECT_EQ(pattern.expression(), "a|ab");
    EXPECT_TRUE(pattern.matches("a"));
    EXPECT_TRUE(pattern.matches("ab"));
    for (auto const* text : {"", "abc", "xa", "b", "A"})
        EXPECT_FALSE(pattern.matches(text)) << text;
    EXPECT_TRUE(text_pattern("").matches(""));
    EXPECT_FALSE(text_pattern("").matches("x"));
}

TEST(text_pattern, takes_line_ends_and_nul_for_any_character) {
    text_pattern const any(".+");
    EXPECT_TRUE(any.matches("a\nb"));
    EXPECT_TRUE(any.matches(std::string("\0", 1)));
    EXPECT_FALSE(any.matches(""));
}

TEST(text_pattern, goes_by_characters_in_utf8_and_by_bytes_elsewhere) {
    text_pattern const one(".");
    EXPECT_TRUE(one.matches("\xc3\xa4"));
    EXPECT_TRUE(one.matches("\xff"));
    EXPECT_FALSE(one.matches("\xff\xff"));
    EXPECT_TRUE(text_pattern("[\xc3\xa4\xc3\xb6]+").matches("\xc3\xb6\xc3\xa4"));
    EXPECT_TRUE(text_pattern(R"(.*\.mov)").matches("\xe4.mov"));
}

TEST(text_pattern, takes_linear_time) {
    EXPECT_FALSE(text_pattern("(a*)*b").matches(std::string(100'000, 'a')));
}

TEST(text_pattern, says_what_is_wrong) {
    EXPECT_EQ(error_of("a("), "the pattern \"a(\" is no regular expression: missing ): a(");
    EXPECT_THAT(error_of("\xff"), HasSubstr("is no regular expression: invalid UTF-8"));
    EXPECT_THAT(error_of("((a{100}){100}){100}"), HasSubstr("the pattern \"((a{100}){100}){100}\""));
    EXPECT_LT(error_of("(" + std::string(4096, 'x')).size(), 5000U);
}

TEST(text_pattern, is_a_value) {
    text_pattern pattern("a");
    text_pattern const copy = pattern;
    pattern = text_pattern("b");
    EXPECT_TRUE(copy.matches("a"));
    EXPECT_TRUE(pattern.matches("b"));
}

} // namespace
