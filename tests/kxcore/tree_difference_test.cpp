#include "model_samples.h"

#include <kxcore/tree_difference.h>

#include "support/chosen_seed.h"
#include "support/small_stack.h"

#include <gtest/gtest.h>

#include <iostream>
#include <tuple>

namespace kxcore {
namespace {

using namespace samples;

std::string text_of(property_handle const& value) {
    if (!value) return "none";
    std::string shown(property_kind_name(value->kind()));
    return shown + ' ' + value->to_string();
}

/// A line for each difference, and the count.
std::string differences(property_handle const& before, property_handle const& after) {
    std::string lines;
    std::size_t const count = visit_differences(
        as_tree(before), as_tree(after),
        [&](std::string_view path, property_handle const& old_value, property_handle const& new_value) {
            lines += std::string(path) + ": " + text_of(old_value) + " / " + text_of(new_value) + '\n';
        });
    return lines + std::to_string(count);
}

struct pair_of_trees {
    char const* name;
    property_handle before;
    property_handle after;
    char const* expected;
};

TEST(tree_difference, tells_each_place_with_what_is_there_in_both_trees) {
    pair_of_trees const rows[] = {
        {"nothing", tree({}), tree({}), "0"},
        {"equal", tree({{"a", list({text("1"), tree({{"b", number(1)}})})}}),
         tree({{"a", list({text("1"), tree({{"b", number(1)}})})}}), "0"},
        {"added, removed and changed, in the order of keys",
         tree({{"b", text("1")}, {"c", text("1")}, {"d", flag(true)}}),
         tree({{"a", number(7)}, {"b", text("2")}, {"d", flag(true)}}),
         "a: none / int 7\nb: string 1 / string 2\nc: string 1 / none\n3"},
        {"deep", tree({{"t", list({tree({{"x", tree({{"y", text("1")}, {"z", text("1")}})}})})}}),
         tree({{"t", list({tree({{"x", tree({{"y", text("2")}, {"z", text("1")}})}})})}}),
         "t[0]{x}{y}: string 1 / string 2\n1"},
        {"another kind", tree({{"a", text("1")}, {"b", list({})}, {"c", text("true")}}),
         tree({{"a", number(1)}, {"b", tree({})}, {"c", flag(true)}}),
         "a: string 1 / int 1\nb: list  / properties \nc: string true / bool true\n3"},
        {"lists by index", tree({{"l", list({text("a"), text("b")})}}),
         tree({{"l", list({text("x"), text("a"), text("b")})}}),
         "l[0]: string a / string x\nl[1]: string b / string a\nl[2]: none / string b\n3"},
        {"a shorter list", tree({{"l", list({text("a"), text("b"), text("c")})}}), tree({{"l", list({text("a")})}}),
         "l[1]: string b / none\nl[2]: string c / none\n2"},
        {"what only one side has, once", tree({{"only", tree({{"x", text("1")}, {"y", text("2")}})}}),
         tree({{"other", list({text("1"), text("2")})}}),
         "only: properties x=1&y=2 / none\nother: none / list %5B0%5D=1&%5B1%5D=2\n2"},
        {"an empty list and none", tree({{"l", list({})}}), tree({}), "l: list  / none\n1"},
        {"odd keys", tree({{"", tree({{"", text("1")}})}}), tree({{"", tree({{"", text("2")}})}}),
         "{}: string 1 / string 2\n1"},
        {"equal content of kinds of their own", tree({{"c", choice("a|b")}, {"s", bytes("x")}}),
         tree({{"c", choice("a|b")}, {"s", bytes("x")}}), "0"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(differences(row.before, row.after), row.expected) << row.name;
}

TEST(tree_difference, raises_what_the_visitor_raises) {
    auto const raise = [](std::string_view, property_handle const&, property_handle const&) {
        throw std::logic_error("x");
    };
    EXPECT_THROW(visit_differences(as_tree(tree({{"a", number(1)}})), as_tree(tree({})), raise), std::logic_error);
}

property_handle nested(property_handle innermost, std::size_t levels) {
    property_handle value = std::move(innermost);
    for (std::size_t level = 0; level < levels; level += 2)
        value = tree({{"a", list({value})}});
    return value;
}

TEST(tree_difference, reaches_200000_levels_on_a_small_stack) {
    constexpr std::size_t levels = 200'000;
    auto const before = nested(text("1"), levels);
    auto const after = nested(text("2"), levels);
    kx_test::run_on_small_stack([&] {
        std::size_t longest = 0;
        EXPECT_EQ(visit_differences(as_tree(before), as_tree(after),
                                    [&](std::string_view path, property_handle const&, property_handle const&) {
                                        longest = path.size();
                                    }),
                  1U);
        EXPECT_EQ(longest, levels * 3 - 2) << "a[0]{a}[0]...";
    });
}

/// Each level holds the one below twice, so that its paths are as many as nobody can walk.
TEST(tree_difference, passes_over_what_both_share) {
    property_handle shared = tree({{"x", text("1")}});
    for (int level = 0; level < 200; ++level)
        shared = tree({{"l", shared}, {"r", shared}});
    EXPECT_EQ(differences(tree({{"a", shared}, {"b", text("1")}}), tree({{"a", shared}, {"b", text("2")}})),
              "b: string 1 / string 2\n1");
    property_handle const copy = kxbase::make_refcount<properties>(as_tree(shared));
    EXPECT_EQ(differences(tree({{"a", shared}}), tree({{"a", copy}})), "0");
    EXPECT_EQ(differences(shared, copy), "0");
}

using difference = std::tuple<std::string, property_handle, property_handle>;

std::vector<difference> all_differences(properties const& before, properties const& after) {
    std::vector<difference> all;
    visit_differences(before, after,
                      [&](std::string_view path, property_handle const& old_value, property_handle const& new_value) {
                          all.emplace_back(path, old_value, new_value);
                      });
    return all;
}

TEST(tree_difference, of_random_trees_makes_one_into_the_other) {
    std::uint64_t const seed = kx_test::chosen_seed();
    std::cout << "KX_SEED=" << seed << '\n';
    random_values values(seed);
    for (int round = 0; round < 2000; ++round) {
        auto const before = tree({{"t", values.value(4)}, {"u", values.value(2)}});
        auto const after =
            tree({{"t", values.value(4)}, {"u", values.below(2) == 0 ? values.value(2) : as_tree(before)["u"]}});
        auto const forth = all_differences(as_tree(before), as_tree(after));
        EXPECT_EQ(forth.empty(), *before == *after) << "round " << round;

        properties changed(as_tree(before));
        for (auto const& [path, old_value, new_value] : forth)
            if (new_value) changed.set_referenced_property(path, new_value);
        // From the back, so that no removed element changes the index of another.
        for (auto each = forth.rbegin(); each != forth.rend(); ++each)
            if (!std::get<2>(*each)) changed.set_referenced_property(std::get<0>(*each), {});
        EXPECT_TRUE(changed == as_tree(after)) << "round " << round;

        auto const back = all_differences(as_tree(after), as_tree(before));
        ASSERT_EQ(back.size(), forth.size()) << "round " << round;
        for (std::size_t index = 0; index < forth.size(); ++index)
            EXPECT_TRUE(forth[index] ==
                        difference(std::get<0>(back[index]), std::get<2>(back[index]), std::get<1>(back[index])));
    }
}

} // namespace
} // namespace kxcore
