#include "model_samples.h"

#include <kxcore/tree_builder.h>

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

using namespace samples;

TEST(tree_builder, builds_trees_and_lists_from_the_outside_in) {
    tree_builder builder(property_kind::properties);
    EXPECT_EQ(builder.depth(), 1U);
    builder.add(property_key("a"), text("1"));
    EXPECT_EQ(builder.last_key().text(), "a");
    builder.begin(property_key("list"), property_kind::list);
    EXPECT_EQ(builder.kind(), property_kind::list);
    EXPECT_EQ(builder.depth(), 2U);
    EXPECT_EQ(builder.size(), 0U);
    EXPECT_EQ(builder.last_key().text(), "");
    EXPECT_EQ(builder.open_key().text(), "list");
    builder.add(property_key(), text("2"));
    builder.begin(property_key(), property_kind::properties);
    builder.end();
    EXPECT_EQ(builder.size(), 2U);
    builder.end();
    EXPECT_EQ(builder.size(), 2U);
    auto const made = builder.finish();
    EXPECT_TRUE(*made == *tree({{"a", text("1")}, {"list", list({text("2"), tree({})})}}));
}

TEST(tree_builder, sorts_members_and_refuses_a_key_twice) {
    tree_builder builder(property_kind::properties);
    for (char const* key : {"c", "a", "", "b"}) {
        builder.add(property_key(key), text(key));
    }
    EXPECT_EQ(builder.finish()->to_string(), "=&a=a&b=b&c=c");
    tree_builder twice(property_kind::properties);
    for (char const* key : {"b", "a", "b"}) {
        twice.add(property_key(key), text(key));
    }
    try {
        (void)twice.finish();
        ADD_FAILURE() << "finished";
    } catch (kxbase::es::arg const& error) {
        EXPECT_STREQ(error.message(), "the key 'b' comes twice in one tree");
    }
}

TEST(tree_builder, gives_back_what_was_added_last) {
    tree_builder builder(property_kind::list);
    property_handle const value = text("x");
    builder.add(property_key(), value);
    EXPECT_EQ(builder.take_last().get(), value.get());
    EXPECT_EQ(builder.size(), 0U);
    EXPECT_EQ(builder.finish()->to_string(), "");
}

} // namespace
} // namespace kxcore
