#include "model_samples.h"

#include <kxcore/property_walk.h>

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

namespace kxcore {
namespace {

using namespace samples;

properties sample() {
    return as_tree(tree({{"a", text("1")},
                         {"list", list({text("2"), tree({{"x", text("3")}, {"y", number(4)}}), list({})})},
                         {"tree", tree({{"deep", tree({{"z", text("5")}})}, {"empty", tree({})}})}}));
}

std::string visited(properties const& tree) {
    std::string seen;
    visit_leaves(tree, [&](std::string_view path, property_handle const& value) {
        seen += std::string(path) + '=' + value->to_string() + ' ';
    });
    return seen;
}

TEST(property_walk, visits_every_leaf_with_its_path) {
    EXPECT_EQ(visited(sample()), "a=1 list[0]=2 list[1]{x}=3 list[1]{y}=4 tree{deep}{z}=5 ");
    EXPECT_EQ(visited(properties()), "");
    std::string seen;
    visit_leaves(*sample().get_list_value("list"), [&](std::string_view path, property_handle const& value) {
        seen += std::string(path) + '=' + value->to_string() + ' ';
    });
    EXPECT_EQ(seen, "[0]=2 [1]{x}=3 [1]{y}=4 ");
}

TEST(property_walk, skips_nothing_for_its_length_or_its_key) {
    std::string const long_key(5000, 'k');
    properties const odd =
        as_tree(tree({{"", tree({{"", text("1")}, {"x", text("2")}})}, {"a{b}[0]", text("3")}, {long_key, text("4")}}));
    EXPECT_EQ(visited(odd), "{}=1 {x}=2 a{b}[0]=3 " + long_key + "=4 ");
    properties rewritten(odd);
    EXPECT_EQ(rewrite_leaves(rewritten, [](std::string_view, property_handle const&) { return flag(true); }), 4U);
    EXPECT_EQ(visited(rewritten), "{}=true {x}=true a{b}[0]=true " + long_key + "=true ");
}

TEST(property_walk, replaces_values_of_one_kind) {
    properties tree = sample();
    property_handle const numbers_before = tree.get_referenced_property("list[1]{y}");
    std::string seen;
    std::size_t const count = replace_values(tree, property_kind::string, [&](property_handle const& value) {
        seen += value->to_string();
        if (value->to_string() == "1") return property_handle();
        if (value->to_string() == "2") return value;
        return property_handle(flag(true));
    });
    EXPECT_EQ(seen, "1235");
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(visited(tree), "a=1 list[0]=2 list[1]{x}=true list[1]{y}=4 tree{deep}{z}=true ");
    EXPECT_EQ(tree.get_referenced_property("list[1]{y}"), numbers_before);
}

TEST(property_walk, rewrites_members_and_goes_into_what_is_left) {
    properties tree = sample();
    std::string seen;
    std::size_t const count = rewrite_members(
        tree, [&](std::string_view key, property_handle const& value) -> std::optional<property_handle> {
            seen += std::string(key) + '/' + std::to_string(static_cast<int>(value->kind())) + ' ';
            if (key == "x") return property_handle();
            if (key == "deep") return property_handle(flag(true));
            if (key == "a") return value;
            return std::nullopt;
        });
    auto const number_of = [](property_kind kind) { return std::to_string(static_cast<int>(kind)); };
    std::string const string = number_of(property_kind::string);
    std::string const inner = number_of(property_kind::properties);
    std::string const list = number_of(property_kind::list);
    EXPECT_EQ(seen, "a/" + string + " list/" + list + " /" + string + " /" + inner + " x/" + string + " y/" +
                        number_of(property_kind::integer) + " /" + list + " tree/" + inner + " deep/" + inner +
                        " empty/" + inner + " ");
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(visited(tree), "a=1 list[0]=2 list[1]{y}=4 tree{deep}=true ");
}

TEST(property_walk, replaces_no_trees_and_lists) {
    for (property_kind const kind : {property_kind::properties, property_kind::list}) {
        properties tree = sample();
        EXPECT_EQ(replace_values(tree, kind, [](property_handle const&) { return property_handle(flag(true)); }), 0U);
        EXPECT_EQ(tree, sample());
    }
}

TEST(property_walk, lists_paths_up_to_the_limit_of_expansion) {
    properties const tree("ab", text("1"), "c", list({text("2"), number(3)}));
    kxbase::limits limits = kxbase::current_limits();
    std::list<std::string> paths;
    {
        limits.expansion = 2 + 4 + 4;
        kxbase::scoped_limits const scope(limits);
        tree.get_leaf_references(paths);
        EXPECT_EQ(paths, (std::list<std::string>{"ab", "c[0]", "c[1]"}));
    }
    --limits.expansion;
    kxbase::scoped_limits const scope(limits);
    try {
        tree.get_leaf_references(paths);
        ADD_FAILURE() << "listed";
    } catch (kxbase::es::arg const& error) {
        EXPECT_NE(std::string_view(error.message()).find("(limit expansion)"), std::string_view::npos);
    }
}

TEST(property_walk, rewrites_leaves_and_copies_only_their_paths) {
    properties tree = sample();
    properties const before(tree);
    auto const held = tree.get_referenced_property("list[1]");
    std::size_t const count = rewrite_leaves(tree, [](std::string_view path, property_handle const& value) {
        if (path == "list[1]{x}") return text("new");
        if (path == "list[0]") return property_handle();
        return value;
    });
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(visited(tree), "a=1 list[0]{x}=new list[0]{y}=4 tree{deep}{z}=5 ");
    EXPECT_EQ(visited(before), visited(sample()));
    EXPECT_EQ(held->to_string(), "x=3&y=4");
    EXPECT_EQ(tree.find("tree"), before.find("tree"));
    EXPECT_EQ(tree.find("a"), before.find("a"));
}

TEST(property_walk, leaves_a_tree_alone_that_needs_no_change) {
    properties tree = sample();
    auto const* const members = tree.begin();
    EXPECT_EQ(rewrite_leaves(tree, [](std::string_view, property_handle const& value) { return value; }), 0U);
    EXPECT_EQ(tree.begin(), members);
}

TEST(property_walk, does_not_walk_what_it_put_in) {
    properties tree("a", text("1"));
    EXPECT_EQ(rewrite_leaves(tree,
                             [](std::string_view, property_handle const& value) {
                                 return samples::tree({{"inner", value}});
                             }),
              1U);
    EXPECT_EQ(visited(tree), "a{inner}=1 ");
}

TEST(property_walk, changes_nothing_when_the_rewriter_raises) {
    properties tree = sample();
    auto const rewriter = [](std::string_view path, property_handle const&) -> property_handle {
        if (path == "tree{deep}{z}") throw std::runtime_error("stop");
        return text("new");
    };
    EXPECT_THROW(rewrite_leaves(tree, rewriter), std::runtime_error);
    EXPECT_EQ(visited(tree), visited(sample()));
}

TEST(property_walk, lets_the_rewriter_change_the_tree_it_walks) {
    properties tree = sample();
    visit_leaves(tree, [&](std::string_view, property_handle const&) { tree.clear(); });
    EXPECT_TRUE(tree.empty());
}

TEST(property_walk, erases_members_with_all_that_is_in_them) {
    properties tree = sample();
    std::vector<std::string> seen;
    std::size_t const count = erase_members(tree, [&](std::string_view path, property_handle const&) {
        seen.emplace_back(path);
        return path == "list[0]" || path == "tree{deep}" || path == "list[2]";
    });
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "list", "list[0]", "list[1]", "list[1]{x}", "list[1]{y}", "list[2]",
                                              "tree", "tree{deep}", "tree{empty}"}));
    EXPECT_EQ(visited(tree), "a=1 list[0]{x}=3 list[0]{y}=4 ");
    EXPECT_TRUE(tree.get_referenced_property("tree{empty}"));
}

TEST(property_walk, does_as_setting_by_path_does_with_random_trees) {
    constexpr std::uint64_t seed = 808;
    std::cout << "seed " << seed << '\n';
    random_values random(seed);
    for (int round = 0; round < 300; ++round) {
        auto const before = random.random_tree(5);
        auto const copy = before->clone();
        properties rewritten = as_tree(before);
        properties expected = as_tree(before);
        rewrite_leaves(rewritten, [&](std::string_view path, property_handle const& value) {
            if (random.below(3) != 0) return value;
            property_handle const made = random.leaf();
            expected.set_referenced_property(path, made);
            return made;
        });
        EXPECT_TRUE(rewritten == expected);
        EXPECT_TRUE(*before == *copy);
    }
}

} // namespace
} // namespace kxcore
