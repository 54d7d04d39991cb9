#include <kxcore/constraint_property.h>

#include "support/constraint_values.h"

#include <kxbase/limits.h>
#include <kxcore/constraint_values.h>

namespace kxcore::constraint_tests {
namespace {

TEST(constraint_property, accepts_what_equals_its_value) {
    constraint_property const by(flag(true));
    EXPECT_TRUE(by.is_valid(flag(true).get(), 0));
    EXPECT_FALSE(by.is_valid(flag(false).get(), 0));
    EXPECT_FALSE(by.is_valid(str("true").get(), 0));
    EXPECT_TRUE(constraint_property(str("abc")).is_valid(str("abc").get(), 0)) << "by value, not by identity";
    EXPECT_TRUE(constraint_property(tree({{"a", list({num(1)})}})).is_valid(tree({{"a", list({num(1)})}}).get(), 0));
    EXPECT_FALSE(constraint_property(tree({{"a", num(1)}})).is_valid(tree({{"a", num(2)}}).get(), 0));
}

TEST(constraint_property, matches_its_value_exactly_and_suggests_it) {
    value const fixed = str("abc");
    constraint_property const by(fixed);
    EXPECT_TRUE(by.exact_match(str("abc").get()));
    EXPECT_FALSE(by.exact_match(str("abd").get()));
    EXPECT_EQ(by.suggest_value().get(), fixed.get());
    EXPECT_EQ(by.value().get(), fixed.get());
    EXPECT_EQ(by.closest_valid_value(num(5)).get(), fixed.get());
}

TEST(constraint_property, a_fixed_special_matches_nothing) {
    constraint_property const by(deferred());
    EXPECT_FALSE(by.is_valid(deferred().get(), 0));
    EXPECT_FALSE(by.exact_match(deferred().get()));
    EXPECT_FALSE(by.suggest_value());
    EXPECT_TRUE(by.is_valid(context().get(), validity::context)) << "flagged specials are valid anywhere";
    EXPECT_EQ(constraint_description(by), "a special value that nothing matches");
}

TEST(constraint_property, needs_a_value) {
    EXPECT_EQ(argument_error([] { constraint_property{value()}; }), "a constraint on one value needs a value");
}

TEST(constraint_property, describes_its_value) {
    struct row {
        value fixed;
        std::string_view described;
        std::string_view text;
    };
    row const rows[] = {
        {flag(true), "the bool true", "bool \"true\""},
        {num(-5), "the int -5", "int \"-5\""},
        {str("a\nb|c\""), R"(the string "a\nb|c\"")", "string \"a%0Ab%7Cc\\\"\""},
        {bytes("ab"), "equal to a given binary", "binary \"YWI=\""},
        {list({num(1)}), "equal to a given list", ""},
        {tree(), "equal to a given tree", ""},
        {carried(make<constraint_bool>()), "equal to a given constraint", ""},
    };
    for (row const& each : rows) {
        constraint_property const by(each.fixed);
        EXPECT_EQ(constraint_description(by), each.described);
        if (!each.text.empty()) {
            EXPECT_EQ(constraint_text(by), each.text);
        }
        EXPECT_EQ(by.property_kind(), each.fixed->kind());
    }
}

TEST(constraint_property, canonical_texts_tell_values_apart) {
    std::vector<value> const values = {str(""),
                                       str("1"),
                                       num(1),
                                       flag(true),
                                       str("true"),
                                       tree(),
                                       list(),
                                       bytes(""),
                                       list({str("")}),
                                       list({list()}),
                                       list({str("a"), str("b")}),
                                       list({str("a|b")}),
                                       tree({{"a", num(1)}}),
                                       tree({{"a", str("1")}})};
    for (std::size_t i = 0; i < values.size(); ++i)
        for (std::size_t j = 0; j < values.size(); ++j)
            EXPECT_EQ(constraint_property(values[i]) == *make<constraint_property>(values[j]), i == j) << i << " " << j;
}

TEST(constraint_property, refuses_keys_that_have_no_text_of_their_own) {
    for (std::string_view const key : {"a{", "a}{b", "[", "]", "\xff"}) {
        EXPECT_EQ(argument_error([&] {
                      (void)make<constraint_property>(list({tree({{key, num(1)}})}));
                  }).substr(0, 38),
                  "a constraint's value holds a key that ")
            << key;
    }
}

TEST(constraint_property, is_compared_whatever_the_limits_are_by_then) {
    auto const made = [] {
        return make<constraint_property>(tree({{"abc", list({tree({{"d", carried(make<constraint_bool>())}})})}}));
    };
    rule const one = made();
    rule const other = made();
    kxbase::limits tiny;
    tiny.key = 1;
    tiny.nesting = 1;
    tiny.expansion = 1;
    tiny.string = 1;
    kxbase::scoped_limits const scope(tiny);
    EXPECT_TRUE(*one == *other);
    EXPECT_TRUE(*carried(one) == *carried(other));
    EXPECT_FALSE(*carried(one) < *carried(other));
}

TEST(constraint_property, a_clone_shares_the_value) {
    constraint_property const by(str("abc"));
    auto const clone = by.clone();
    EXPECT_EQ(static_cast<constraint_property const&>(*clone).value().get(), by.value().get());
}

} // namespace
} // namespace kxcore::constraint_tests
