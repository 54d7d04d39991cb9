#include "model_samples.h"

#include <kxbase/errors.h>

#include <gtest/gtest.h>

namespace kxcore {
namespace {

using namespace samples;

std::vector<std::string> keys_of(properties const& tree) {
    std::vector<std::string> keys;
    for (property_member const& member : tree) {
        keys.emplace_back(member.key());
    }
    return keys;
}

template <class F>
std::string message_of(F function) {
    try {
        function();
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    return "no error";
}

TEST(properties, is_made_of_nothing_pairs_a_copy_or_a_handle) {
    EXPECT_TRUE(properties(false).empty());
    EXPECT_TRUE(properties(true).empty());
    EXPECT_EQ(keys_of(properties("a", text("1"))), (std::vector<std::string>{"a"}));
    EXPECT_EQ(keys_of(properties("b", text("1"), "a", text("2"))), (std::vector<std::string>{"a", "b"}));
    properties const three("c", text("1"), "a", text("2"), "b", text("3"));
    EXPECT_EQ(keys_of(three), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(properties("a", text("1"), "a", text("2")).get_string_value("a"), "2");
    EXPECT_TRUE(properties("a", property_handle()).empty());
    properties const copy(three);
    EXPECT_TRUE(copy == three);
    auto const handle = kxbase::make_refcount<properties>(three);
    EXPECT_TRUE(properties(handle) == three);
    EXPECT_TRUE(properties(kxbase::ptr_refcount<properties const>(handle)) == three);
    EXPECT_TRUE(properties(kxbase::ptr_refcount<properties const>()).empty());
    EXPECT_TRUE(properties(kxbase::ptr_refcount<properties>()).empty());
    EXPECT_EQ(three.kind(), properties::class_kind());
}

TEST(properties, keeps_keys_in_byte_order) {
    std::vector<std::string> const expected{"",          "A",         "a",          "a-b",        "ab",
                                            "dest-dir",  "dest-dir-", "dest-dir-a", "dest-dir-b", "dest-dir-bc",
                                            "dest-file", "z",         "\x7f",       "\x80",       "\xC3\xA4"};
    std::vector<std::string> shuffled = expected;
    std::mt19937 engine(1);
    for (int round = 0; round < 50; ++round) {
        std::shuffle(shuffled.begin(), shuffled.end(), engine);
        properties tree;
        for (std::string const& key : shuffled) {
            tree.set_property(key, text(key));
        }
        EXPECT_EQ(keys_of(tree), expected);
        for (std::string const& key : expected) {
            EXPECT_EQ(tree.get_string_value(key), key);
            EXPECT_FALSE(tree.is_present(key + "?"));
        }
    }
}

TEST(properties, tells_texts_apart_that_differ_in_a_zero_byte) {
    std::string const zero("a\0", 2);
    properties tree("a", text("1"), zero, text("2"));
    EXPECT_EQ(tree.size(), 2U);
    EXPECT_EQ(tree.get_string_value("a"), "1");
    EXPECT_EQ(tree.get_string_value(zero), "2");
}

TEST(properties, never_holds_an_empty_handle) {
    properties tree("a", text("1"), "b", text("2"));
    tree.set_property("a", property_handle());
    EXPECT_EQ(keys_of(tree), (std::vector<std::string>{"b"}));
    tree.set_property("a", property_handle());
    tree["c"] = property_handle();
    tree["b"] = nullptr;
    EXPECT_TRUE(tree.empty());
}

TEST(properties, inserts_nothing_when_read_by_subscript) {
    properties tree;
    EXPECT_FALSE(tree["a"]);
    property_handle const missing = tree["a"];
    EXPECT_FALSE(missing);
    EXPECT_EQ(tree["a"].get(), nullptr);
    EXPECT_TRUE(tree.empty());
    properties const& constant = tree;
    EXPECT_FALSE(constant["a"]);
}

TEST(properties, is_set_by_subscript) {
    properties tree;
    tree["a"] = text("1");
    tree["b"] = kxbase::make_refcount<property_int>(2);
    tree["c"] = tree["a"];
    EXPECT_EQ(tree["c"].get(), tree["a"].get());
    EXPECT_EQ(tree["b"]->kind(), property_kind::integer);
    EXPECT_TRUE(*tree["a"] == *text("1"));
    EXPECT_TRUE(static_cast<bool>(tree["a"]));
}

TEST(properties, gives_members_by_key) {
    property_handle const value = text("1");
    properties const tree("a", value);
    EXPECT_EQ(tree.get_property("a").get(), value.get());
    EXPECT_EQ(tree.find("a"), value.get());
    EXPECT_EQ(tree.find_member("a")->key(), "a");
    EXPECT_FALSE(tree.get_property("b"));
    EXPECT_EQ(tree.find("b"), nullptr);
    EXPECT_EQ(tree.find_member(""), nullptr);
    EXPECT_TRUE(tree.is_present("a"));
    EXPECT_FALSE(tree.is_present("b"));
    EXPECT_FALSE(properties().is_present("a"));
}

TEST(properties, erases_and_clears) {
    properties tree("a", text("1"), "b", text("2"), "c", text("3"));
    EXPECT_EQ(tree.erase("b"), 1U);
    EXPECT_EQ(tree.erase("b"), 0U);
    EXPECT_EQ(keys_of(tree), (std::vector<std::string>{"a", "c"}));
    tree.clear();
    EXPECT_TRUE(tree.empty());
    EXPECT_EQ(tree.erase("a"), 0U);
    tree.set_property("x", text("1"));
    EXPECT_EQ(tree.size(), 1U);
}

TEST(properties, assigns_members_in_any_order) {
    properties tree("old", text("1"));
    tree.assign({{"b", text("1")}, {"a", text("2")}, {"b", text("3")}, {"c", property_handle()}});
    EXPECT_EQ(keys_of(tree), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(tree.get_string_value("b"), "3");
}

TEST(properties, getters_are_strict_without_a_default) {
    auto const nested = tree({{"x", text("1")}});
    auto const elements = list({text("1")});
    auto const rule = choice("a|b");
    properties const all = as_tree(tree({{"text", text("x")},
                                         {"flag", flag(true)},
                                         {"number", number(5)},
                                         {"tree", nested},
                                         {"list", elements},
                                         {"rule", rule},
                                         {"special", property_special::create_deferred(property_kind::string)}}));
    EXPECT_EQ(all.get_string_value("text"), "x");
    EXPECT_TRUE(all.get_bool_value("flag"));
    EXPECT_EQ(all.get_int_value("number"), 5);
    EXPECT_EQ(all.get_properties_value("tree").get(), nested.get());
    EXPECT_EQ(all.get_list_value("list").get(), elements.get());
    EXPECT_EQ(all.get_constraint_value("rule").get(), property_cast<property_constraint>(rule.get())->value().get());
    EXPECT_EQ(message_of([&] { (void)all.get_string_value("none"); }),
              "member 'none' is missing; expected kind string");
    EXPECT_EQ(message_of([&] { (void)all.get_string_value("special"); }),
              "member 'special' is of kind special; expected kind string");
    EXPECT_EQ(message_of([&] { (void)all.get_bool_value("text"); }),
              "member 'text' is of kind string; expected kind bool");
    EXPECT_EQ(message_of([&] { (void)all.get_int_value("flag"); }), "member 'flag' is of kind bool; expected kind int");
    EXPECT_EQ(message_of([&] { (void)all.get_properties_value("list"); }),
              "member 'list' is of kind list; expected kind properties");
    EXPECT_EQ(message_of([&] { (void)all.get_list_value("tree"); }),
              "member 'tree' is of kind properties; expected kind list");
    EXPECT_EQ(message_of([&] { (void)all.get_constraint_value("number"); }),
              "member 'number' is of kind int; expected kind constraint");
}

TEST(properties, getters_with_a_default_never_raise) {
    properties const all("text", text("x"), "flag", flag(true), "number", number(5));
    EXPECT_EQ(all.get_string_value("text", "default"), "x");
    EXPECT_EQ(all.get_string_value("none", "default"), "default");
    EXPECT_EQ(all.get_string_value("flag", "default"), "default");
    EXPECT_TRUE(all.get_bool_value("flag", false));
    EXPECT_TRUE(all.get_bool_value("none", true));
    EXPECT_FALSE(all.get_bool_value("text", false));
    EXPECT_EQ(all.get_int_value("number", 1), 5);
    EXPECT_EQ(all.get_int_value("none", 1), 1);
    EXPECT_EQ(all.get_int_value("text", 1), 1);
}

TEST(properties, copies_share_their_members_until_one_side_changes) {
    properties first("a", text("1"), "b", tree({{"x", text("2")}}));
    properties second(first);
    EXPECT_EQ(first.begin(), second.begin());
    second.set_property("a", text("3"));
    EXPECT_EQ(first.get_string_value("a"), "1");
    EXPECT_EQ(second.get_string_value("a"), "3");
    EXPECT_EQ(first.get_property("b").get(), second.get_property("b").get());
    properties third = second;
    EXPECT_EQ(third.erase("b"), 1U);
    EXPECT_TRUE(second.is_present("b"));
    auto const& same = third;
    third = same;
    EXPECT_EQ(third.size(), 1U);
    properties moved(std::move(third));
    EXPECT_EQ(moved.size(), 1U);
    moved = std::move(second);
    EXPECT_EQ(moved.size(), 2U);
}

TEST(properties, can_be_assigned_a_part_of_itself) {
    properties tree("a", samples::tree({{"b", samples::tree({{"c", text("1")}})}}));
    tree = *tree.get_properties_value("a");
    EXPECT_TRUE(tree.is_present("b"));
    tree = properties(tree.get_properties_value("b"));
    EXPECT_EQ(tree.get_string_value("c"), "1");
}

TEST(properties, put_into_itself_is_put_as_it_was) {
    auto const tree = kxbase::make_refcount<properties>("a", text("1"));
    tree->set_property("self", tree);
    EXPECT_EQ(tree->get_properties_value("self")->size(), 1U);
    tree->set_referenced_property("self{again}", tree);
    EXPECT_EQ(tree->get_properties_value("self")->get_properties_value("again")->size(), 2U);
    EXPECT_EQ(tree->to_string(), "a=1&self%7Ba%7D=1&self%7Bagain%7D%7Ba%7D=1&self%7Bagain%7D%7Bself%7D%7Ba%7D=1");
}

TEST(properties, erases_a_key_at_every_depth) {
    auto const inner = tree({{"id", text("1")}, {"keep", text("2")}});
    properties all = as_tree(tree({{"id", tree({{"x", text("1")}})},
                                   {"list", list({inner, list({inner}), text("id")})},
                                   {"tree", inner},
                                   {"untouched", tree({{"a", list({text("id")})}})}}));
    auto const untouched = all.get_property("untouched");
    properties const before(all);
    EXPECT_EQ(all.recursive_erase_ids("id"), 4U);
    EXPECT_EQ(all.to_string(), "list%5B0%5D%7Bkeep%7D=2&list%5B1%5D%5B0%5D%7Bkeep%7D=2&list%5B2%5D=id&"
                               "tree%7Bkeep%7D=2&untouched%7Ba%7D%5B0%5D=id");
    EXPECT_EQ(all.get_property("untouched").get(), untouched.get());
    EXPECT_TRUE(before.is_present("id"));
    EXPECT_TRUE(as_tree(inner).is_present("id"));
    EXPECT_EQ(all.recursive_erase_ids("id"), 0U);
    EXPECT_EQ(all.recursive_erase_ids("keep"), 3U);
    EXPECT_TRUE(as_tree(all.get_property("tree")).empty());
}

TEST(properties, erases_the_empty_key_and_not_the_elements_of_lists) {
    properties all("", text("1"), "list", list({text("2")}));
    EXPECT_EQ(all.recursive_erase_ids(""), 1U);
    EXPECT_EQ(all.to_string(), "list%5B0%5D=2");
}

TEST(properties, holds_many_members) {
    properties all;
    std::mt19937 engine(2);
    std::vector<int> numbers(20'000);
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        numbers[index] = static_cast<int>(index);
    }
    std::shuffle(numbers.begin(), numbers.end(), engine);
    for (int const value : numbers) {
        all.set_property("member-" + std::to_string(value), number(value));
    }
    EXPECT_EQ(all.size(), numbers.size());
    for (int const value : numbers) {
        EXPECT_EQ(all.get_int_value("member-" + std::to_string(value)), value);
    }
}

} // namespace
} // namespace kxcore
