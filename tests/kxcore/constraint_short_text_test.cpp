#include "constraint_short_text.h"

#include "support/constraint_reading.h"

namespace kxcore::constraint_tests {
namespace {

TEST(short_text, stands_for_a_constraint) {
    struct row {
        std::string_view text;
        std::string_view canonical;
    };
    row const rows[] = {
        {"any", "any"},
        {"any constraint", "any constraint"},
        {"list of any properties", "list (any properties)"},
        {"bool", "bool"},
        {"true", "bool \"true\""},
        {"false", "bool \"false\""},
        {"string", "string"},
        {"string 1..64", "string 1..64"},
        {"string 1..", "string 1.."},
        {"string ..64", "string ..64"},
        {"string 5", "string 5"},
        {"string matching [a-z]+ x", "string \"[a-z]+ x\""},
        {"string 1..2 matching a", "string 1..2 \"a\""},
        {"int", "int"},
        {"int -5..10", "int -5..10"},
        {"int ..-1", "int ..-1"},
        {"int 7", "int 7"},
        {"binary", "binary"},
        {"binary 16", "binary 16"},
        {"list", "list (any)"},
        {"list 1..", "list 1.. (any)"},
        {"list of int 0..5", "list (int 0..5)"},
        {"list 1..3 of list 2 of string", "list 1..3 (list 2 (string))"},
        {"list of list", "list (list (any))"},
        {"enum a|b c|%7C", "a|b c|%7C"},
        {"enum ", ""},
        {"list of enum a|b", "list (enum \"a|b\")"},
    };
    for (row const& each : rows) {
        EXPECT_EQ(constraint_text(*read_form(str(each.text))), each.canonical) << each.text;
        EXPECT_EQ(constraint_text(*read_form(str("required " + std::string(each.text)))), each.canonical);
    }
}

TEST(short_text, says_what_is_wrong_with_it) {
    struct row {
        std::string_view text;
        std::string_view why;
    };
    row const rows[] = {
        {"", "is no constraint: it begins with none of any bool true false string int binary list enum and @NAME"},
        {"strin 5",
         "is no constraint: it begins with none of any bool true false string int binary list enum and @NAME "
         "(did you mean string?)"},
        {"strings",
         "is no constraint: it begins with none of any bool true false string int binary list enum and @NAME "
         "(did you mean string?)"},
        {"enum", "lacks the values: enum a|b|c"},
        {"string matching ", "lacks the pattern"},
        {"int 1..x", "holds \"x\" where a number is expected, or a range like 1..64, 1.. or ..64"},
        {"int 1-5", "holds \"1-5\" where a number is expected, or a range like 1..64, 1.. or ..64"},
        {"int 99999999999999999999",
         "holds \"99999999999999999999\" where a number is expected, or a range like 1..64, "
         "1.. or ..64"},
        {"string -1..5", "holds \"-1\" where a number is expected, or a range like 1..64, 1.. or ..64"},
        {"int 1..5 or so", "goes on with \"or so\", which is not understood"},
        {"any tree", "goes on with \"tree\", which is not understood"},
        {"any special", "goes on with \"special\", which is not understood"},
        {"bool 1", "goes on with \"1\", which is not understood"},
        {"int five", "goes on with \"five\", which is not understood"},
        {"list int", "goes on with \"int\", which is not understood"},
        {"list of ints", "is no constraint"},
        {"list of lists", "is no constraint"},
    };
    for (row const& each : rows) {
        std::string const message = argument_error([&] { (void)read_form(str(each.text)); });
        EXPECT_EQ(message.find("members{m}: the short text "), 0U) << message;
        EXPECT_NE(message.find(each.why), std::string::npos) << message;
    }
    EXPECT_EQ(argument_error([] { (void)read_form(str("int 5..1")); }),
              "members{m}: the bounds of an int cross: 5 is greater than 1");
    EXPECT_EQ(argument_error([] { (void)read_form(str("list of string matching (")); }),
              "members{m}: the pattern \"(\" is no regular expression: missing ): (");
}

TEST(short_text, may_be_marked_as_required) {
    std::string_view text = "required int";
    EXPECT_TRUE(take_required(text));
    EXPECT_EQ(text, "int");
    EXPECT_FALSE(take_required(text));
    EXPECT_EQ(text, "int");
}

TEST(short_text, asks_for_the_constraint_of_a_name) {
    rule const known = read_form(str("int"));
    std::string asked;
    auto const resolve = [&](std::string_view name) {
        asked = name;
        return known;
    };
    EXPECT_EQ(constraint_from_short_text("@some name", resolve).get(), known.get());
    EXPECT_EQ(asked, "some name");
    EXPECT_EQ(constraint_text(*constraint_from_short_text("list of @x", resolve)), "list (int)");
    EXPECT_EQ(asked, "x");
}

} // namespace
} // namespace kxcore::constraint_tests
