#include <kxcore/constraint_string.h>

#include "support/constraint_values.h"

#include <kxcore/xml_writer.h>

namespace kxcore::constraint_tests {
namespace {

bool accepts(constraint const& by, std::string_view text) {
    return by.is_valid(str(text).get(), 0);
}

TEST(constraint_string, without_bounds_accepts_every_string_and_nothing_else) {
    constraint_string const any;
    for (std::string_view const text : {std::string_view(""), std::string_view("a"), std::string_view("\0\xFF", 2)})
        EXPECT_TRUE(accepts(any, text));
    for (value const& other : {num(1), flag(true), bytes("a"), value(tree()), value(list())}) {
        EXPECT_FALSE(any.is_valid(other.get(), 30));
        EXPECT_EQ(reason(any, other), "must be a string");
    }
    EXPECT_EQ(any.min_length(), 0U);
    EXPECT_EQ(any.max_length(), constraint_string::unbounded);
    EXPECT_EQ(any.pattern(), "");
}

TEST(constraint_string, length_is_bounded_at_both_ends) {
    constraint_string const three_to_five(3, 5);
    EXPECT_FALSE(accepts(three_to_five, "ab"));
    EXPECT_TRUE(accepts(three_to_five, "abc"));
    EXPECT_TRUE(accepts(three_to_five, "abcde"));
    EXPECT_FALSE(accepts(three_to_five, "abcdef"));
    EXPECT_TRUE(accepts(constraint_string(0, 0), ""));
    EXPECT_FALSE(accepts(constraint_string(0, 0), "a"));
    EXPECT_FALSE(accepts(constraint_string(1), ""));
}

TEST(constraint_string, length_counts_characters) {
    constraint_string const three(3, 3);
    EXPECT_TRUE(accepts(three, "äöü"));
    EXPECT_TRUE(accepts(three, "\xF0\x9F\x98\x80zz"));
    EXPECT_FALSE(accepts(three, "äö"));
    EXPECT_FALSE(accepts(three, "äöüß"));
    EXPECT_TRUE(accepts(three, "\xFF\xFE\xFD")) << "bytes that continue nothing count each";
}

TEST(constraint_string, a_pattern_matches_the_whole_text) {
    constraint_string const lower("[a-z]+");
    EXPECT_TRUE(accepts(lower, "abc"));
    EXPECT_FALSE(accepts(lower, ""));
    EXPECT_FALSE(accepts(lower, "abc1"));
    EXPECT_FALSE(accepts(lower, "1abc"));
    EXPECT_FALSE(accepts(lower, "abc\n"));
    EXPECT_TRUE(accepts(constraint_string("a|bc"), "bc"));
    EXPECT_FALSE(accepts(constraint_string("a|bc"), "ac"));
}

TEST(constraint_string, length_and_pattern_both_hold) {
    constraint_string const both(2, 3, "[a-z]*");
    EXPECT_TRUE(accepts(both, "ab"));
    EXPECT_FALSE(accepts(both, "a"));
    EXPECT_FALSE(accepts(both, "A1"));
    EXPECT_FALSE(accepts(both, "abcd"));
}

TEST(constraint_string, refuses_bounds_that_cross_or_are_too_large) {
    EXPECT_EQ(argument_error([] { constraint_string(6, 5); }),
              "the bounds of a string's length cross: 6 is greater than 5");
    EXPECT_EQ(argument_error([] { constraint_string(std::size_t{1} << 63U); }),
              "the bounds of a string's length are greater than an int can hold");
    EXPECT_EQ(argument_error([] { constraint_string(0, std::size_t{1} << 63U); }),
              "the bounds of a string's length are greater than an int can hold");
    EXPECT_NO_THROW(constraint_string(0, (std::size_t{1} << 63U) - 1));
}

TEST(constraint_string, refuses_a_pattern_that_is_none) {
    EXPECT_EQ(argument_error([] { constraint_string("a(b"); }),
              "the pattern \"a(b\" is no regular expression: missing ): a(b");
    EXPECT_EQ(argument_error([] { constraint_string("(?=a)b"); }).substr(0, 46),
              "the pattern \"(?=a)b\" is no regular expression:");
}

TEST(constraint_string, refuses_a_pattern_over_the_memory_budget) {
    std::string const message = argument_error([] { constraint_string("((a{100}){100}){100}"); });
    EXPECT_EQ(message.substr(0, 36), "the pattern \"((a{100}){100}){100}\" i") << message;
    std::string const huge = argument_error([] { constraint_string("(([\\pL\\pN]{100}[a-z]{100}){9})"); });
    EXPECT_EQ(huge, "the pattern \"(([\\\\pL\\\\pN]{100}[a-z]{100}){9})\" needs more memory than patterns may");
}

TEST(constraint_string, describes_its_bounds_and_pattern) {
    struct row {
        rule by;
        std::string_view described;
        std::string_view text;
    };
    row const rows[] = {
        {make<constraint_string>(), "a string", "string"},
        {make<constraint_string>(1U), "a string of at least 1 character", "string 1.."},
        {make<constraint_string>(0U, 5U), "a string of at most 5 characters", "string ..5"},
        {make<constraint_string>(2U, 5U), "a string of 2 to 5 characters", "string 2..5"},
        {make<constraint_string>(3U, 3U), "a string of 3 characters", "string 3"},
        {make<constraint_string>(0U, 0U), "a string of 0 characters", "string 0"},
        {make<constraint_string>("[a-z]\"\\n"), R"(a string that matches "[a-z]\"\\n")", R"(string "[a-z]\"\\n")"},
        {make<constraint_string>(1U, 2U, "é"), "a string of 1 to 2 characters that matches \"é\"", "string 1..2 \"é\""},
    };
    for (row const& each : rows) {
        EXPECT_EQ(constraint_description(*each.by), each.described);
        EXPECT_EQ(constraint_text(*each.by), each.text);
        EXPECT_EQ(reason(*each.by, num(1)), "must be " + std::string(each.described));
    }
}

TEST(constraint_string, suggests_the_shortest_text_of_blanks) {
    EXPECT_EQ(constraint_string().suggest_value()->to_string(), "");
    EXPECT_EQ(constraint_string(3).suggest_value()->to_string(), "   ");
    EXPECT_EQ(constraint_string(0, 9, "a*").suggest_value()->to_string(), "");
    EXPECT_FALSE(constraint_string("a+").suggest_value());
    EXPECT_EQ(constraint_string(1024).suggest_value()->to_string().size(), 1024U);
    EXPECT_FALSE(constraint_string(1025).suggest_value());
}

TEST(constraint_string, matches_no_value_exactly) {
    EXPECT_FALSE(constraint_string(0, 0).exact_match(str("").get()));
}

TEST(constraint_string, clones_share_the_compiled_pattern) {
    constraint_string const by("[a-z]+");
    auto const clone = by.clone();
    EXPECT_TRUE(accepts(*clone, "abc"));
    EXPECT_FALSE(accepts(*clone, "1"));
    EXPECT_EQ(static_cast<constraint_string const&>(*clone).pattern().data(), by.pattern().data());
}

} // namespace
} // namespace kxcore::constraint_tests
