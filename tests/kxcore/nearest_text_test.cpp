#include <kxcore/nearest_text.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using kxcore::edit_distance;
using kxcore::is_good_guess;
using kxcore::nearest_text;

TEST(edit_distance, counts_slips_of_the_finger) {
    struct row {
        std::string_view a;
        std::string_view b;
        std::size_t distance;
    };
    row const rows[] = {{"", "", 0},         {"abc", "abc", 0},        {"abc", "ABC", 0},  {"abc", "", 3},
                        {"abc", "abd", 1},   {"abc", "ab", 1},         {"abc", "xabc", 1}, {"abc", "acb", 1},
                        {"abcd", "badc", 2}, {"kitten", "sitting", 3}, {"ca", "abc", 3}};
    for (row const& each : rows) {
        EXPECT_EQ(edit_distance(each.a, each.b), each.distance) << each.a << " " << each.b;
        EXPECT_EQ(edit_distance(each.b, each.a), each.distance) << each.b << " " << each.a;
    }
}

TEST(edit_distance, looks_at_256_bytes) {
    std::string const a(1000, 'a');
    EXPECT_EQ(edit_distance(a, std::string(256, 'a') + "b"), 0U);
    EXPECT_EQ(edit_distance(a, ""), 256U);
}

TEST(nearest_text, gives_the_first_of_the_nearest) {
    nearest_text none("abc");
    EXPECT_EQ(none.nearest(), "");
    EXPECT_EQ(none.good_guess(), "");
    nearest_text nearest("priorty");
    for (std::string_view const each : {"name", "priority", "Priority", "source-url"})
        nearest.consider(each);
    EXPECT_EQ(nearest.nearest(), "priority");
    EXPECT_EQ(nearest.good_guess(), "priority");
}

TEST(nearest_text, only_a_near_one_is_a_good_guess) {
    EXPECT_TRUE(is_good_guess("mode", "node", 1));
    EXPECT_FALSE(is_good_guess("mode", "name", 2));
    EXPECT_TRUE(is_good_guess("source-url", "sorce-ulr", 2));
    EXPECT_FALSE(is_good_guess("a", "b", 1)) << "nothing is left of it";
    EXPECT_FALSE(is_good_guess("", "", 0));
}

} // namespace
