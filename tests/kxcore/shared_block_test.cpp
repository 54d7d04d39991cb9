#include "model_samples.h"
#include "shared_block.h"
#include "support/small_stack.h"

#include <kxcore/network_encoding.h>
#include <kxcore/property_walk.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

using namespace samples;

constexpr int levels = 1'000'000;

enum class e_nesting { trees, lists, both };

/// A leaf within a million trees, lists or both in turn; the outermost is a tree.
kxbase::ptr_refcount<properties> deep_tree(e_nesting nesting, property_handle leaf) {
    property_handle value = std::move(leaf);
    for (int level = 0; level < levels; ++level) {
        bool const is_list = nesting == e_nesting::lists || (nesting == e_nesting::both && level % 2 == 0);
        if (is_list) {
            value = kxbase::make_refcount<property_list>(value, std::size_t{1});
        } else {
            value = kxbase::make_refcount<properties>("k", value);
        }
    }
    return kxbase::make_refcount<properties>("k", value);
}

class deep : public testing::TestWithParam<e_nesting> {};

// All of it in a thread with a small stack: recursion over a million levels would end the program.
TEST_P(deep, trees_are_used_without_recursion) {
    kx_test::run_on_small_stack([nesting = GetParam()] {
        auto const tree = deep_tree(nesting, text("leaf"));
        properties copy(*tree);
        EXPECT_TRUE(copy == *tree);
        {
            auto const clone = tree->clone();
            EXPECT_TRUE(*clone == *tree);
            EXPECT_FALSE(*clone < *tree);
            auto const other = deep_tree(nesting, text("other"));
            EXPECT_FALSE(*clone == *other);
            EXPECT_TRUE(*clone < *other);
            properties merged(*tree);
            merged.merge_properties(*other);
            EXPECT_TRUE(merged == *other);
        }
        EXPECT_GT(tree->to_string().size(), std::size_t{levels});
        EXPECT_GT(tree->describe().size(), std::size_t{levels});
        std::list<std::string> paths;
        tree->get_leaf_references(paths);
        ASSERT_EQ(paths.size(), 1U);
        EXPECT_GT(paths.front().size(), std::size_t{levels});
        EXPECT_FALSE(tree->get_referenced_property(paths.front()));
        EXPECT_THROW(tree->set_referenced_property(paths.front(), text("x")), kxbase::es::arg);
        EXPECT_EQ(rewrite_leaves(copy, [](std::string_view, property_handle const&) { return flag(true); }), 1U);
        EXPECT_FALSE(copy == *tree);
        EXPECT_EQ(copy.recursive_erase_ids("k"), 1U);
        kxbase::buffer out;
        encoder_network encoder(out);
        EXPECT_THROW(tree->encode(encoder), kxbase::es::arg);
        EXPECT_TRUE(out.empty());
    });
}

INSTANTIATE_TEST_SUITE_P(shared_block, deep, testing::Values(e_nesting::trees, e_nesting::lists, e_nesting::both));

TEST(shared_block, erases_at_the_bottom_of_a_deep_tree) {
    kx_test::run_on_small_stack([] {
        auto const tree = deep_tree(e_nesting::trees, samples::tree({{"id", text("x")}, {"keep", text("y")}}));
        properties copy(*tree);
        EXPECT_EQ(copy.recursive_erase_ids("id"), 1U);
        EXPECT_TRUE(copy < *tree || *tree < copy);
    });
}

TEST(shared_block, is_taken_apart_when_the_last_of_many_owners_goes) {
    property_handle const leaf = text("x");
    {
        auto const shared = tree({{"a", list({leaf, tree({{"b", leaf}})})}});
        properties const first(as_tree(shared));
        properties second(first);
        second.set_referenced_property("a[1]{b}", text("y"));
        EXPECT_GE(leaf->reference_count(), 3U);
    }
    EXPECT_EQ(leaf->reference_count(), 1U);
}

TEST(shared_block, keeps_to_the_memory_that_is_promised) {
    EXPECT_EQ(sizeof(property_member), 16U);
    EXPECT_EQ(sizeof(detail::block_header), 16U);
    EXPECT_EQ(sizeof(properties), 24U);
    EXPECT_EQ(sizeof(property_list), 24U);
}

} // namespace
} // namespace kxcore
