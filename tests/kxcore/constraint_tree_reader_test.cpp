#include "constraint_tree_reader.h"

#include "support/constraint_reading.h"
#include "support/small_stack.h"

#include <kxbase/limits.h>
#include <kxcore/constraint_db.h>

namespace kxcore::constraint_tests {
namespace {

using tree_value = kxbase::ptr_refcount<properties>;

TEST(constraint_from_tree, every_error_names_its_place) {
    struct row {
        value form;
        std::string_view message;
    };
    auto const db = [](value const& members) { return tree({{"type", str("database")}, {"members", members}}); };
    row const rows[] = {
        {tree(), "type: missing, expected a string"},
        {tree({{"type", num(1)}}), "type: expected a string, found the int 1"},
        {tree({{"type", str("strin")}}),
         "type: expected any, bool, string, int, binary, enum, property, one-of, list, database, reference, found "
         "\"strin\" (did you mean string?)"},
        {tree({{"type", str("none")}}),
         "type: expected any, bool, string, int, binary, enum, property, one-of, list, database, reference, found "
         "\"none\""},
        {tree({{"type", str("any")}, {"kind", str("special")}}),
         "kind: expected string, bool, int, binary, properties, list or constraint, found the string \"special\""},
        {tree({{"type", str("any")}, {"kind", str("tree")}}),
         "kind: expected string, bool, int, binary, properties, list or constraint, found the string \"tree\""},
        {tree({{"type", str("bool")}, {"min", num(1)}}), "min: unknown member of a constraint"},
        {tree({{"type", str("string")}, {"patern", str("a")}}),
         "patern: unknown member of a constraint (did you mean \"pattern\"?)"},
        {tree({{"type", str("string")}, {"min", str("1")}}), "min: expected an int, found the string \"1\""},
        {tree({{"type", str("string")}, {"max", num(-1)}}), "max: expected an int that is not negative, found -1"},
        {tree({{"type", str("string")}, {"pattern", num(1)}}), "pattern: expected a string, found the int 1"},
        {tree({{"type", str("string")}, {"pattern", str("(")}}),
         "the constraint: the pattern \"(\" is no regular expression: missing ): ("},
        {tree({{"type", str("int")}, {"min", num(2)}, {"max", num(1)}}),
         "the constraint: the bounds of an int cross: 2 is greater than 1"},
        {tree({{"type", str("binary")}, {"min", num(2)}, {"max", num(1)}}),
         "the constraint: the bounds of a binary value's size cross: 2 is greater than 1"},
        {tree({{"type", str("enum")}}), "values: missing, expected a list of strings, or one string with bars"},
        {tree({{"type", str("enum")}, {"values", num(1)}}),
         "values: expected a list of strings, or one string with bars, found the int 1"},
        {tree({{"type", str("enum")}, {"values", list({str("a"), flag(true)})}}),
         "values[1]: expected a string, found the bool true"},
        {tree({{"type", str("enum")}, {"values", list({str("")})}}),
         "values: the empty text can't be the only value: use the type string with max 0"},
        {tree({{"type", str("property")}}), "value: missing, expected the value"},
        {tree({{"type", str("one-of")}}), "of: missing, expected a list of constraints"},
        {tree({{"type", str("one-of")}, {"of", str("int")}}),
         "of: expected a list of constraints, found the string \"int\""},
        {tree({{"type", str("one-of")}, {"of", list({str("int"), num(1)})}}),
         "of[1]: expected a constraint: a short text, or a tree with \"type\", found the int 1"},
        {tree({{"type", str("list")}, {"of", tree({{"type", str("int")}, {"max", flag(true)}})}}),
         "of{max}: expected an int, found the bool true"},
        {tree({{"type", str("list")}, {"min", num(2)}, {"max", num(1)}}),
         "the constraint: the bounds of a list's size cross: 2 is greater than 1"},
        {tree({{"type", str("database")}, {"closed", str("yes")}}),
         "closed: expected a bool, found the string \"yes\""},
        {db(num(1)), "members: expected a tree of named constraints, found the int 1"},
        {db(tree({{"a", num(1)}})),
         "members{a}: expected a constraint: a short text, or a tree with \"type\", found the int 1"},
        {db(tree({{"a", tree({{"type", str("int")}, {"required", num(1)}})}})),
         "members{a}{required}: expected a bool, found the int 1"},
        {db(tree({{"a", tree({{"type", str("int")}, {"requird", flag(true)}})}})),
         "members{a}{requird}: unknown member of a constraint (did you mean \"required\"?)"},
        {db(tree({{"a", tree({{"type", str("none")}, {"min", num(1)}})}})),
         "members{a}{min}: unknown member of a constraint"},
        {db(tree({{"a", tree({{"constraint", str("int")}, {"type", str("int")}, {"min", num(1)}})}})),
         "members{a}{min}: unknown member of a constraint"},
        {db(tree({{"a", tree({{"constraint", num(1)}})}})),
         "members{a}{constraint}: expected a constraint: a short text, or a tree with \"type\", found the int 1"},
        {db(tree({{"a", tree({{"type", str("list")}, {"required", flag(true)}, {"of", str("ints")}})}})),
         "members{a}{of}: the short text \"ints\" is no constraint: it begins with none of any bool true false string "
         "int binary list enum and @NAME (did you mean int?)"},
        {tree({{"type", str("list")}, {"required", flag(true)}}), "required: unknown member of a constraint"},
        {tree({{"type", str("list")}, {"of", str("required int")}}),
         "of: the short text \"required int\" is no constraint: it begins with none of any bool true false string int "
         "binary list enum and @NAME"},
        {tree({{"type", str("database")}, {"odd-members", num(1)}}),
         "odd-members: expected a list of trees with \"name\" and \"constraint\", found the int 1"},
        {tree({{"type", str("database")}, {"odd-members", list({num(1)})}}),
         "odd-members[0]: expected a tree with \"name\" and \"constraint\", found the int 1"},
        {tree({{"type", str("database")}, {"odd-members", list({tree({{"constraint", str("int")}})})}}),
         "odd-members[0]{name}: missing, expected a string"},
        {tree({{"type", str("database")}, {"odd-members", list({tree({{"name", str("a")}})})}}),
         "odd-members[0]{constraint}: missing, expected a constraint"},
        {tree({{"type", str("database")}, {"include", num(1)}}),
         "include: expected the name of a definition, or a list of them, found the int 1"},
        {tree({{"type", str("database")}, {"include", list({num(1)})}}),
         "include[0]: expected the name of a definition, found the int 1"},
        {tree({{"type", str("database")}, {"include", str("x")}}), "include: there is no definition of \"x\""},
        {tree({{"type", str("database")}, {"include", str("x")}, {"definitions", tree({{"x", str("int")}})}}),
         "include: expected the name of a database, found that of an int"},
        {tree({{"type", str("list")}, {"of", str("@usl")}, {"definitions", tree({{"url", str("int")}})}}),
         "of: there is no definition of \"usl\" (did you mean \"url\"?)"},
        {tree({{"type", str("list")}, {"of", str("list of @usl")}}), "of: there is no definition of \"usl\""},
        {tree({{"type", str("reference")}}), "name: missing, expected a string"},
        {tree({{"type", str("any")}, {"definitions", tree({{"x", tree({{"type", str("list")}, {"of", num(1)}})}})}}),
         "definitions{x}{of}: expected a constraint: a short text, or a tree with \"type\", found the int 1"},
        {tree({{"type", str("any")}, {"definitions", str("x")}}), "definitions: expected a tree of named constraints"},
    };
    for (row const& each : rows)
        EXPECT_EQ(argument_error([&] { (void)read(each.form); }), each.message);
}

TEST(constraint_from_tree, refuses_definitions_that_refer_to_themselves) {
    auto const with = [](tree_value const& definitions) {
        return argument_error([&] { (void)read(tree({{"type", str("any")}, {"definitions", definitions}})); });
    };
    EXPECT_EQ(with(tree({{"a", str("@a")}})), "definitions{a}: the definition refers to itself: a -> a");
    EXPECT_EQ(with(tree({{"a", str("list of @b")},
                         {"b", tree({{"type", str("one-of")}, {"of", list({str("int"), str("@c")})}})},
                         {"c", tree({{"type", str("database")}, {"members", tree({{"m", str("@a")}})}})}})),
              "definitions{c}{members}{m}: the definition refers to itself: a -> b -> c -> a");
    EXPECT_EQ(with(tree({{"a", tree({{"type", str("database")}, {"include", str("a")}})}})),
              "definitions{a}{include}: the definition refers to itself: a -> a");
}

TEST(constraint_definitions, can_be_asked_again_after_an_error) {
    constraint_definitions shared;
    shared.add(*tree({{"definitions", tree({{"a", str("@b")}, {"good", str("int")}, {"b", str("@a")}})}}));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(argument_error([&] { (void)shared.get("a"); }),
                  "definitions{b}: the definition refers to itself: a -> b -> a");
    EXPECT_EQ(argument_error([&] { shared.check_all(); }),
              "definitions{b}: the definition refers to itself: a -> b -> a");
    EXPECT_TRUE(shared.get("good"));
}

// Nesting

value nested_lists(std::size_t levels) {
    value form = str("any");
    for (std::size_t i = 1; i < levels; ++i)
        form = tree({{"type", str("list")}, {"of", form}});
    return form;
}

TEST(constraint_from_tree, nesting_is_limited_at_the_edge) {
    std::size_t const limit = kxbase::limit_nesting;
    EXPECT_EQ(read(nested_lists(limit))->depth(), limit);
    std::string const message = argument_error([&] { (void)read(nested_lists(limit + 2)); });
    EXPECT_NE(message.find(": nesting deeper than 128 levels (limit nesting)"), std::string::npos) << message;
    EXPECT_EQ(message.find("of{of}{of}"), 0U) << message;
    EXPECT_THROW((void)read(nested_lists(limit + 1)), kxbase::es::arg);
}

TEST(constraint_from_tree, chains_of_definitions_are_limited_too) {
    tree_value const definitions = tree({{"d0", str("any")}});
    for (int i = 1; i <= 200; ++i)
        definitions->set_property("d" + std::to_string(i), str("@d" + std::to_string(i - 1)));
    std::string const message = argument_error([&] {
        constraint_definitions all;
        all.add(*tree({{"definitions", definitions}}));
        (void)all.get("d200");
    });
    EXPECT_NE(message.find("nesting deeper than 128 levels (limit nesting)"), std::string::npos) << message;
}

TEST(constraint_from_tree, a_short_text_of_endless_lists_is_refused) {
    std::string text;
    for (int i = 0; i < 100'000; ++i)
        text += "list of ";
    EXPECT_EQ(argument_error([&] { (void)read_form(str(text + "any")); }),
              "members{m}: constraints nested deeper than 128 levels (limit nesting)");
}

TEST(constraint_from_tree, definitions_that_multiply_are_refused) {
    tree_value const definitions = tree({{"d0", str("any")}});
    for (int i = 1; i <= 40; ++i) {
        value const before = str("@d" + std::to_string(i - 1));
        definitions->set_property("d" + std::to_string(i),
                                  tree({{"type", str("one-of")}, {"of", list({before, before})}}));
    }
    std::string const message = argument_error([&] {
        (void)read(tree({{"type", str("any")}, {"definitions", definitions}}));
    });
    EXPECT_NE(message.find("a constraint of more than 10000000 parts (limit members)"), std::string::npos) << message;
}

// A million levels, with little stack: refused, and the tree goes away in peace.
TEST(constraint_from_tree, deep_trees_are_refused_with_little_stack) {
    value const form = nested_lists(1'000'000);
    std::string message;
    kx_test::run_on_small_stack([&] { message = argument_error([&] { (void)read(form); }); });
    EXPECT_NE(message.find("nesting deeper than 128 levels (limit nesting)"), std::string::npos);
}

} // namespace
} // namespace kxcore::constraint_tests
