#include "model_samples.h"

#include <gtest/gtest.h>

#include <iostream>

namespace kxcore {
namespace {

using namespace samples;

TEST(properties_merge, sets_members_and_merges_trees) {
    properties into = as_tree(tree({{"a", text("1")},
                                    {"both", tree({{"x", text("1")}, {"y", text("2")}})},
                                    {"list", list({text("1"), text("2")})},
                                    {"tree-over-text", text("t")},
                                    {"text-over-tree", tree({{"x", text("1")}})}}));
    properties const other = as_tree(tree({{"both", tree({{"w", text("0")}, {"y", text("3")}})},
                                           {"list", list({text("3")})},
                                           {"new", tree({{"n", text("4")}})},
                                           {"text-over-tree", text("5")},
                                           {"tree-over-text", tree({{"z", text("6")}})}}));
    properties const other_before(other);
    into.merge_properties(other);
    EXPECT_EQ(into.to_string(), "a=1&both%7Bw%7D=0&both%7Bx%7D=1&both%7By%7D=3&list%5B0%5D=3&new%7Bn%7D=4&"
                                "text-over-tree=5&tree-over-text%7Bz%7D=6");
    EXPECT_TRUE(other == other_before);
    // What was taken are the other's own objects.
    for (char const* path : {"both{w}", "both{y}", "list", "new", "text-over-tree", "tree-over-text"}) {
        EXPECT_EQ(into.find_referenced(path), other.find_referenced(path)) << path;
    }
}

TEST(properties_merge, shows_no_change_to_holders_of_either_side) {
    auto const ours = tree({{"x", tree({{"deep", text("1")}})}});
    auto const theirs = tree({{"x", tree({{"deep", text("2")}, {"more", text("3")}})}});
    properties into("a", ours);
    properties const other("a", theirs);
    properties const before(into);
    auto const held = into.get_referenced_property("a{x}");
    into.merge_properties(other);
    EXPECT_EQ(held->to_string(), "deep=1");
    EXPECT_EQ(ours->to_string(), "x%7Bdeep%7D=1");
    EXPECT_EQ(before.to_string(), "a%7Bx%7D%7Bdeep%7D=1");
    EXPECT_EQ(theirs->to_string(), "x%7Bdeep%7D=2&x%7Bmore%7D=3");
    into.set_referenced_property("a{x}{more}", text("4"));
    EXPECT_EQ(theirs->to_string(), "x%7Bdeep%7D=2&x%7Bmore%7D=3");
}

TEST(properties_merge, with_a_tree_that_was_taken_whole_does_not_change_its_owner) {
    properties into;
    properties const first("a", tree({{"b", tree({{"x", text("1")}})}}));
    into.merge_properties(first);
    into.merge_properties(properties("a", tree({{"b", tree({{"y", text("2")}})}})));
    EXPECT_EQ(into.to_string(), "a%7Bb%7D%7Bx%7D=1&a%7Bb%7D%7By%7D=2");
    EXPECT_EQ(first.to_string(), "a%7Bb%7D%7Bx%7D=1");
}

TEST(properties_merge, takes_itself_and_parts_of_itself) {
    properties tree = as_tree(samples::tree({{"a", samples::tree({{"a", text("1")}, {"b", text("2")}})}}));
    tree.merge_properties(tree);
    EXPECT_EQ(tree.to_string(), "a%7Ba%7D=1&a%7Bb%7D=2");
    tree.merge_properties(static_cast<properties const&>(*tree.find("a")));
    EXPECT_EQ(tree.to_string(), "a=1&b=2");
    tree.merge_properties(properties());
    EXPECT_EQ(tree.to_string(), "a=1&b=2");
}

// The same, member by member, as plainly as it can be said.
void merge_plainly(properties& into, properties const& other) {
    for (property_member const& member : other) {
        auto const ours = property_cast<properties>(into.get_property(member.key()));
        auto const theirs = property_cast<properties>(member.value());
        if (ours && theirs) {
            properties merged(ours);
            merge_plainly(merged, *theirs);
            into.set_property(member.key(), kxbase::make_refcount<properties>(merged));
        } else {
            into.set_property(member.key(), member.value());
        }
    }
}

TEST(properties_merge, does_as_the_plain_way_does_with_random_trees) {
    constexpr std::uint64_t seed = 555;
    std::cout << "seed " << seed << '\n';
    random_values random(seed);
    for (int round = 0; round < 500; ++round) {
        auto const left = random.random_tree(4);
        auto const right = random.random_tree(4);
        auto const left_before = left->clone();
        auto const right_before = right->clone();
        properties merged = as_tree(left);
        merged.merge_properties(as_tree(right));
        properties expected = as_tree(left);
        merge_plainly(expected, as_tree(right));
        EXPECT_TRUE(merged == expected);
        EXPECT_TRUE(*left == *left_before);
        EXPECT_TRUE(*right == *right_before);
    }
}

} // namespace
} // namespace kxcore
