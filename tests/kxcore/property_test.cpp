#include "model_samples.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gtest/gtest.h>

#include <iostream>

namespace kxcore {
namespace {

using namespace samples;

TEST(property_kinds, have_the_numbers_that_others_rely_on) {
    EXPECT_EQ(static_cast<int>(property_special::class_kind()), 0);
    EXPECT_EQ(static_cast<int>(property_string::class_kind()), 1);
    EXPECT_EQ(static_cast<int>(property_bool::class_kind()), 2);
    EXPECT_EQ(static_cast<int>(property_int::class_kind()), 3);
    EXPECT_EQ(static_cast<int>(property_binary::class_kind()), 4);
    EXPECT_EQ(static_cast<int>(properties::class_kind()), 5);
    EXPECT_EQ(static_cast<int>(property_constraint::class_kind()), 6);
    EXPECT_EQ(static_cast<int>(property_list::class_kind()), 8);
}

TEST(property_kinds, have_names_that_lead_back) {
    for (unsigned int number = 0; number < 300; ++number) {
        auto const kind = static_cast<property_kind>(number);
        bool const is_kind = number <= 8 && number != 7;
        EXPECT_EQ(is_property_kind(number), is_kind) << number;
        if (!is_kind) continue;
        property_kind found{};
        ASSERT_TRUE(property_kind_from_name(property_kind_name(kind), found)) << number;
        EXPECT_EQ(found, kind);
    }
    property_kind untouched = property_kind::list;
    EXPECT_FALSE(property_kind_from_name("String", untouched));
    EXPECT_EQ(untouched, property_kind::list);
    EXPECT_EQ(property_kind_name(static_cast<property_kind>(7)), "");
}

TEST(property_cast, gives_the_class_of_the_kind_and_null_for_others) {
    property_handle const value = text("x");
    EXPECT_EQ(property_cast<property_string>(value.get())->value(), "x");
    EXPECT_EQ(property_cast<property_string>(value).get(), value.get());
    EXPECT_EQ(property_cast<property_int>(value.get()), nullptr);
    EXPECT_FALSE(property_cast<property_int>(value));
    EXPECT_EQ(property_cast<property_string>(static_cast<property const*>(nullptr)), nullptr);
    EXPECT_FALSE(property_cast<property_string>(property_handle()));
}

// Values in the order that is promised: by kind, then by content.
std::vector<property_handle> in_order() {
    using special = property_special;
    return {
        special::create_deferred(property_kind::string),
        special::create_deferred(property_kind::integer),
        special::create_deferred_context(property_kind::string, "a"),
        special::create_deferred_variable(property_kind::string, "a"),
        special::create_deferred_variable(property_kind::string, "b"),
        special::create_from_parts(special::e_type::wrapped_urlupp, special::e_sub_type::credential,
                                   property_kind::string, ""),
        text(""),
        text(std::string(1, '\0')),
        text("a"),
        text("a\x01"),
        text("b"),
        text("\x80"),
        flag(false),
        flag(true),
        number(INT64_MIN),
        number(-1),
        number(0),
        number(1),
        number(INT64_MAX),
        bytes(""),
        bytes("\x7f"),
        bytes("\x80"),
        tree({}),
        tree({{"a", text("1")}}),
        tree({{"a", text("1")}, {"b", text("0")}}),
        tree({{"a", text("2")}}),
        tree({{"aa", text("0")}}),
        tree({{"b", text("0")}}),
        choice("a"),
        choice("b"),
        list({}),
        list({text("a")}),
        list({text("a"), text("a")}),
        list({text("b")}),
        list({number(0)}),
    };
}

TEST(property_order, goes_by_kind_and_then_by_content) {
    auto const values = in_order();
    for (std::size_t left = 0; left < values.size(); ++left) {
        for (std::size_t right = 0; right < values.size(); ++right) {
            property const& a = *values[left];
            property const& b = *values[right];
            EXPECT_EQ(a == b, left == right) << left << ' ' << right;
            EXPECT_EQ(a != b, left != right) << left << ' ' << right;
            EXPECT_EQ(a < b, left < right) << left << ' ' << right;
            EXPECT_EQ(compare(a, b) < 0, left < right) << left << ' ' << right;
            EXPECT_EQ(compare(a, b) == 0, left == right) << left << ' ' << right;
        }
    }
}

TEST(property_order, is_structural) {
    for (property_handle const& value : one_of_each()) {
        kxbase::ptr_refcount<property> const copy = value->clone();
        EXPECT_TRUE(*copy == *value) << value->describe();
        EXPECT_FALSE(*copy < *value) << value->describe();
        EXPECT_FALSE(*value < *copy) << value->describe();
    }
}

TEST(property_order, compares_constraints_by_what_they_say_and_not_by_identity) {
    // constraint_enum itself goes by the identity of its values; documents that say the same are equal all the same.
    property_handle const one = choice("a|b");
    property_handle const other = choice("a|b");
    EXPECT_TRUE(*one == *other);
    EXPECT_FALSE(*one == *choice("b|a"));
}

TEST(property_order, is_total_and_consistent_with_equality_over_random_trees) {
    constexpr std::uint64_t seed = 20261121;
    std::cout << "seed " << seed << '\n';
    random_values random(seed);
    std::vector<property_handle> values;
    for (int count = 0; count < 120; ++count) {
        values.push_back(random.value(3));
    }
    std::sort(values.begin(), values.end(),
              [](property_handle const& left, property_handle const& right) { return *left < *right; });
    for (std::size_t left = 0; left < values.size(); ++left) {
        for (std::size_t right = left; right < values.size(); ++right) {
            bool const is_equal = *values[left] == *values[right];
            EXPECT_EQ(is_equal, *values[right] == *values[left]);
            EXPECT_FALSE(*values[right] < *values[left]);
            EXPECT_EQ(*values[left] < *values[right], !is_equal);
            EXPECT_EQ(values[left]->to_string() == values[right]->to_string() || !is_equal, true);
        }
    }
}

TEST(property_clone, is_deep) {
    auto const source = tree({{"list", list({text("a"), tree({{"x", text("b")}})})},
                              {"bytes", bytes("abc")},
                              {"special", property_special::create_deferred(property_kind::string)},
                              {"choice", choice("a|b")}});
    auto const copy = source->clone();
    ASSERT_TRUE(*copy == *source);
    for (char const* path : {"list", "list[0]", "list[1]", "list[1]{x}", "bytes", "special", "choice"}) {
        auto const before = as_tree(source).get_referenced_property(path);
        auto const after = static_cast<properties const&>(*copy).get_referenced_property(path);
        ASSERT_TRUE(before && after) << path;
        EXPECT_NE(before.get(), after.get()) << path;
        EXPECT_TRUE(*before == *after) << path;
    }
}

} // namespace
} // namespace kxcore
