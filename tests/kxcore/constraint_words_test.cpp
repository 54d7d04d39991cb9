#include "constraint_words.h"

#include "support/constraint_values.h"

#include <kxcore/constraint_values.h>

namespace kxcore::constraint_tests {
namespace {

std::string quoted(std::string_view text) {
    std::string out;
    words::append_quoted(out, text);
    return out;
}

std::string shown(std::string_view text) {
    std::string out;
    words::append_shown(out, text);
    return out;
}

TEST(constraint_words, quoting_loses_nothing_and_stays_on_one_line) {
    EXPECT_EQ(quoted("a\"b\\c\n\t\x7F\xC3\xA9\xFF"), "\"a\\\"b\\\\c\\n\\x09\\x7f\xC3\xA9\xFF\"");
    EXPECT_EQ(quoted(std::string_view("\0", 1)), "\"\\x00\"");
}

TEST(constraint_words, what_is_shown_is_utf8) {
    EXPECT_EQ(shown("\xC3\xA9"), "\"\xC3\xA9\"");
    EXPECT_EQ(shown("\xC3\xA9\xFF"), "\"\\xc3\\xa9\\xff\"");
}

TEST(constraint_words, amounts_and_bounds) {
    struct row {
        std::size_t min;
        std::size_t max;
        std::string_view amount;
        std::string_view bounds;
    };
    row const rows[] = {{0, words::unbounded, "", ""},         {1, words::unbounded, " of at least 1 byte", " 1.."},
                        {0, 2, " of at most 2 bytes", " ..2"}, {1, 2, " of 1 to 2 bytes", " 1..2"},
                        {0, 0, " of 0 bytes", " 0"},           {1, 1, " of 1 byte", " 1"}};
    for (row const& each : rows) {
        std::string amount;
        std::string bounds;
        words::append_amount(amount, each.min, each.max, "byte");
        words::append_bounds(bounds, each.min, each.max);
        EXPECT_EQ(amount, each.amount);
        EXPECT_EQ(bounds, each.bounds);
    }
}

TEST(constraint_words, each_kind_has_the_name_of_a_type) {
    EXPECT_EQ(words::type_name(constraint_kind::one_of), "one-of");
    EXPECT_EQ(words::type_name(constraint_kind::database), "database");
    EXPECT_EQ(words::type_name(static_cast<constraint_kind>(77)), "");
}

} // namespace
} // namespace kxcore::constraint_tests
