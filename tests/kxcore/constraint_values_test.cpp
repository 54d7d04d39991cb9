#include <kxcore/constraint_values.h>

#include "support/constraint_values.h"

namespace kxcore::constraint_tests {
namespace {

constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();

TEST(constraint_any, accepts_everything_but_special_values) {
    constraint_any const any;
    for (value const& each : {str("a"), num(1), flag(true), bytes("a"), value(tree()), value(list())})
        EXPECT_TRUE(any.is_valid(each.get(), 0));
    EXPECT_TRUE(any.is_valid(carried(make<constraint_any>()).get(), 0));
    EXPECT_FALSE(any.is_valid(deferred().get(), 0));
}

TEST(constraint_any, does_not_look_inside) {
    EXPECT_TRUE(constraint_any().is_valid(list({deferred()}).get(), 0));
    EXPECT_TRUE(constraint_any().is_valid(tree({{"a", wrapped()}}).get(), 0));
}

TEST(constraint_any, has_its_texts) {
    EXPECT_EQ(constraint_text(constraint_any()), "any");
    EXPECT_EQ(constraint_description(constraint_any()), "any value");
    EXPECT_EQ(constraint_any().suggest_value()->to_string(), "");
}

TEST(constraint_any, of_a_kind_accepts_that_kind_only) {
    std::vector<value> const values = {str("a"),
                                       flag(true),
                                       num(1),
                                       bytes("a"),
                                       value(tree({{"a", num(1)}})),
                                       value(list()),
                                       carried(make<constraint_any>())};
    for (value const& of : values) {
        constraint_any const by(of->kind());
        EXPECT_EQ(by.property_kind(), of->kind());
        EXPECT_EQ(constraint_text(by), "any " + std::string(property_kind_name(of->kind())));
        for (value const& each : values)
            EXPECT_EQ(by.is_valid(each.get(), 30), each->kind() == of->kind());
        EXPECT_FALSE(by.is_valid(deferred().get(), 0));
        EXPECT_TRUE(by.is_valid(deferred().get(), 2));
        if (of->kind() == property_kind::constraint)
            EXPECT_FALSE(by.suggest_value());
        else
            EXPECT_TRUE(by.is_valid(by.suggest_value().get(), 0));
    }
    EXPECT_EQ(constraint_description(constraint_any(property_kind::properties)), "any tree");
    EXPECT_EQ(constraint_description(constraint_any(property_kind::constraint)), "any constraint");
}

TEST(constraint_bool, accepts_bools_only) {
    constraint_bool const by;
    EXPECT_TRUE(by.is_valid(flag(true).get(), 0));
    EXPECT_TRUE(by.is_valid(flag(false).get(), 0));
    for (value const& other : {str("true"), num(1), bytes("a"), value(tree()), value(list())})
        EXPECT_FALSE(by.is_valid(other.get(), 30));
    EXPECT_EQ(reason(by, str("true")), "must be a bool");
    EXPECT_EQ(constraint_text(by), "bool");
    EXPECT_EQ(by.suggest_value()->to_string(), "false");
    EXPECT_FALSE(by.exact_match(flag(true).get()));
}

TEST(constraint_bool, takes_words_for_it_when_asked_for_the_closest) {
    struct row {
        value given;
        std::string_view closest;
    };
    row const rows[] = {{str("TRUE"), "true"}, {str("yes"), "true"}, {str("on"), "true"},
                        {str("1"), "true"},    {str("No"), "false"}, {str("off"), "false"},
                        {num(2), "true"},      {num(0), "false"},    {str("maybe"), "false"}};
    for (row const& each : rows)
        EXPECT_EQ(constraint_bool().closest_valid_value(each.given)->to_string(), each.closest);
}

TEST(constraint_int, is_bounded_at_both_ends) {
    constraint_int const by(-2, 3);
    for (std::int64_t const good : {-2, 0, 3})
        EXPECT_TRUE(by.is_valid(num(good).get(), 0));
    for (std::int64_t const bad : {std::int64_t{-3}, std::int64_t{4}, least, greatest})
        EXPECT_FALSE(by.is_valid(num(bad).get(), 0));
    for (value const& other : {str("1"), flag(true), bytes("a"), value(tree()), value(list())})
        EXPECT_FALSE(by.is_valid(other.get(), 30));
}

TEST(constraint_int, without_bounds_accepts_every_int) {
    for (std::int64_t const good : {least, std::int64_t{0}, greatest})
        EXPECT_TRUE(constraint_int().is_valid(num(good).get(), 0));
    EXPECT_TRUE(constraint_int(greatest).is_valid(num(greatest).get(), 0));
    EXPECT_FALSE(constraint_int(greatest).is_valid(num(greatest - 1).get(), 0));
    EXPECT_TRUE(constraint_int(least, least).is_valid(num(least).get(), 0));
}

TEST(constraint_int, refuses_bounds_that_cross) {
    EXPECT_EQ(argument_error([] { constraint_int(2, 1); }), "the bounds of an int cross: 2 is greater than 1");
    EXPECT_NO_THROW(constraint_int(2, 2));
}

TEST(constraint_int, has_its_texts) {
    struct row {
        constraint_int by;
        std::string_view described;
        std::string_view text;
    };
    row const rows[] = {{constraint_int(), "an int", "int"},
                        {constraint_int(0), "an int of at least 0", "int 0.."},
                        {constraint_int(least, -1), "an int of at most -1", "int ..-1"},
                        {constraint_int(-5, 10), "an int from -5 to 10", "int -5..10"},
                        {constraint_int(7, 7), "an int equal to 7", "int 7"}};
    for (row const& each : rows) {
        EXPECT_EQ(constraint_description(each.by), each.described);
        EXPECT_EQ(constraint_text(each.by), each.text);
    }
}

TEST(constraint_int, clamps) {
    constraint_int const by(2, 9);
    EXPECT_EQ(by.closest_valid_value(num(1))->to_string(), "2");
    EXPECT_EQ(by.closest_valid_value(num(10))->to_string(), "9");
    EXPECT_EQ(by.closest_valid_value(num(greatest))->to_string(), "9");
    EXPECT_EQ(by.closest_valid_value(str("7"))->to_string(), "7");
    EXPECT_EQ(by.closest_valid_value(str("-70"))->to_string(), "2");
    EXPECT_EQ(by.closest_valid_value(str("seven"))->to_string(), "2") << "what it suggests";
    EXPECT_EQ(by.closest_valid_value(value())->to_string(), "2");
    EXPECT_EQ(by.closest_valid_value(num(5))->to_string(), "5");
}

TEST(constraint_int, suggests_what_is_nearest_to_0) {
    EXPECT_EQ(constraint_int().suggest_value()->to_string(), "0");
    EXPECT_EQ(constraint_int(3, 9).suggest_value()->to_string(), "3");
    EXPECT_EQ(constraint_int(-9, -3).suggest_value()->to_string(), "-3");
}

TEST(constraint_int, of_one_number_matches_it_exactly) {
    EXPECT_TRUE(constraint_int(7, 7).exact_match(num(7).get()));
    EXPECT_FALSE(constraint_int(7, 7).exact_match(num(8).get()));
    EXPECT_FALSE(constraint_int(7, 8).exact_match(num(7).get()));
    EXPECT_FALSE(constraint_int(7, 7).exact_match(deferred().get()));
}

TEST(constraint_binary, is_bounded_at_both_ends) {
    constraint_binary const by(1, 3);
    EXPECT_FALSE(by.is_valid(bytes("").get(), 0));
    EXPECT_TRUE(by.is_valid(bytes("a").get(), 0));
    EXPECT_TRUE(by.is_valid(bytes(std::string_view("a\0b", 3)).get(), 0));
    EXPECT_FALSE(by.is_valid(bytes("abcd").get(), 0));
    EXPECT_TRUE(constraint_binary().is_valid(bytes("").get(), 0));
    for (value const& other : {str("ab"), num(1), flag(true), value(tree()), value(list())})
        EXPECT_FALSE(by.is_valid(other.get(), 30));
    EXPECT_EQ(argument_error([] { constraint_binary(2, 1); }),
              "the bounds of a binary value's size cross: 2 is greater than 1");
}

TEST(constraint_binary, has_its_texts) {
    EXPECT_EQ(constraint_description(constraint_binary()), "a binary value");
    EXPECT_EQ(constraint_description(constraint_binary(16, 16)), "a binary value of 16 bytes");
    EXPECT_EQ(constraint_text(constraint_binary()), "binary");
    EXPECT_EQ(constraint_text(constraint_binary(1, 3)), "binary 1..3");
    EXPECT_EQ(static_cast<property_binary const&>(*constraint_binary(2).suggest_value()).value().size(), 2U);
    EXPECT_FALSE(constraint_binary(1025).suggest_value());
    EXPECT_EQ(constraint_binary(1, 3).min_size(), 1U);
    EXPECT_EQ(constraint_binary(1, 3).max_size(), 3U);
}

} // namespace
} // namespace kxcore::constraint_tests
