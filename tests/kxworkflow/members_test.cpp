#include "members.h"

#include "kxclientutil/support/trees.h"

#include <gmock/gmock.h>

namespace {

using kx_test::message_of;
using kx_test::number;
using kx_test::properties;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kxcore::property_string;

TEST(members, are_found_by_kind) {
    properties const of("name", text("News"));
    EXPECT_EQ(kxworkflow::find_member<property_string>(of, "name", "task 'a'")->value(), "News");
    EXPECT_EQ(kxworkflow::find_member<property_string>(of, "label", "task 'a'"), nullptr);
    EXPECT_EQ(kxworkflow::require_member<property_string>(of, "name", "task 'a'").value(), "News");
}

TEST(members, of_another_kind_are_an_error_that_names_place_and_key) {
    properties const of("name", number(1));
    EXPECT_EQ(message_of<kxbase::es::arg>(
                  [&] { static_cast<void>(kxworkflow::find_member<property_string>(of, "name", "task 'a'")); }),
              "task 'a': \"name\" is of kind int, not string");
    EXPECT_EQ(message_of<kxbase::es::arg>(
                  [&] { static_cast<void>(kxworkflow::require_member<property_string>(of, "label", "task 'a'")); }),
              "task 'a': \"label\" is missing");
}

TEST(members, are_set_in_trees_that_are_made_and_removed_as_needed) {
    properties of(false);
    kxworkflow::set_in_subtree(of, "meta", "a", text("1"), "x");
    EXPECT_EQ(text_at(of, "meta{a}"), "1");
    kxworkflow::set_in_subtree(of, "meta", "b", text("2"), "x");
    kxworkflow::set_in_subtree(of, "meta", "a", {}, "x");
    EXPECT_EQ(*of.find("meta"), *tree({{"b", text("2")}}));
    kxworkflow::set_in_subtree(of, "meta", "c", {}, "x");
    EXPECT_EQ(*of.find("meta"), *tree({{"b", text("2")}}));
    kxworkflow::set_in_subtree(of, "meta", "b", {}, "x");
    EXPECT_FALSE(of.is_present("meta"));
    kxworkflow::set_in_subtree(of, "meta", "b", {}, "x");
    EXPECT_FALSE(of.is_present("meta"));
}

TEST(members, leave_an_empty_tree_that_they_did_not_empty) {
    properties of("meta", tree({}));
    kxworkflow::set_in_subtree(of, "meta", "b", {}, "x");
    EXPECT_TRUE(of.is_present("meta"));
}

TEST(members, leave_a_tree_that_somebody_else_holds_as_it_was) {
    auto const held = tree({{"a", text("1")}});
    properties of("meta", held);
    kxworkflow::set_in_subtree(of, "meta", "a", text("2"), "x");
    EXPECT_EQ(*held, *tree({{"a", text("1")}}));
    EXPECT_EQ(text_at(of, "meta{a}"), "2");
}

TEST(members, need_keys_that_a_document_can_hold) {
    EXPECT_NO_THROW(kxworkflow::require_key("dest-url", "output", "task 'a'"));
    EXPECT_EQ(message_of<kxbase::es::arg>([] { kxworkflow::require_key("", "output", "task 'a'"); }),
              "task 'a': the output '' cannot be a key: is empty");
    for (std::string const bad : {"a{b", "a[0]", "\xff"})
        EXPECT_THAT(message_of<kxbase::es::arg>([&] { kxworkflow::require_key(bad, "output", "task 'a'"); }),
                    testing::StartsWith("task 'a': the output '" + bad + "' cannot be a key: "));
}

} // namespace
