#include "model_samples.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gtest/gtest.h>

#include <iostream>

namespace kxcore {
namespace {

using namespace samples;

std::string encoded(property_handle const& value, bool one_line = false) {
    std::string out;
    property::encode(value.get(), out, one_line);
    return out;
}

std::string message_of(property_kind kind, std::string_view text) {
    try {
        (void)property::decode(kind, text);
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
    return "no error";
}

TEST(property_text, shows_each_kind) {
    struct row {
        property_handle value;
        char const* expected;
    };
    row const rows[] = {
        {text("a b|c%"), "a b|c%"},
        {flag(true), "true"},
        {flag(false), "false"},
        {number(INT64_MIN), "-9223372036854775808"},
        {number(5), "5"},
        {bytes(std::string("\0\1\2", 3)), "AAEC"},
        {property_special::create_deferred(property_kind::string), "deferred:plain:string:"},
        {property_special::create_deferred_variable(property_kind::string, "dest-url"),
         "deferred:variable:string:dest-url"},
        {property_special::create_deferred_context(property_kind::list, "workflow.extra-inputs"),
         "deferred:context:list:workflow.extra-inputs"},
        {tree({}), ""},
        {list({}), ""},
        {tree({{"msni", number(1)}, {"fr", text("25/1")}, {"ewi", flag(true)}}), "ewi=true&fr=25/1&msni=1"},
        {tree({{"a b", text("x&y=z%+|;\xC3\xA4")}}), "a%20b=x%26y%3Dz%25%2B%7C%3B%C3%A4"},
        {tree({{"t", list({tree({{"u", text("1")}}), text("2")})}, {"e", list({})}, {"f", tree({})}}),
         "t%5B0%5D%7Bu%7D=1&t%5B1%5D=2"},
        {list({text("a"), number(2)}), "%5B0%5D=a&%5B1%5D=2"},
    };
    for (row const& row : rows) {
        EXPECT_EQ(row.value->to_string(), row.expected);
        std::string appended = "before ";
        row.value->to_string(appended);
        EXPECT_EQ(appended, std::string("before ") + row.expected);
    }
}

TEST(property_text, encodes_what_would_part_a_list) {
    EXPECT_EQ(encoded(text("50% a|b")), "50%25 a%7Cb");
    EXPECT_EQ(encoded(text("a\nb"), false), "a\nb");
    EXPECT_EQ(encoded(text("a\nb"), true), "a%0Ab");
    EXPECT_EQ(encoded(property_handle()), "");
    std::string appended = "x";
    property::encode(text("y").get(), appended, false);
    EXPECT_EQ(appended, "xy");
    EXPECT_EQ(encoded(tree({{"a", text("1")}, {"b", number(2)}, {"c", list({})}, {"d", tree({})}})),
              "a=1&b;int=2&c;list=&d;properties=");
}

TEST(property_text, decodes_to_a_new_string_each_time) {
    auto const one = property::decode(property_kind::string, "x");
    auto const other = property::decode(property_kind::string, "x");
    EXPECT_NE(one.get(), other.get());
    EXPECT_TRUE(*one == *other);
}

TEST(property_text, leaves_a_malformed_escape_alone) {
    for (char const* unchanged : {"%", "100%", "%4", "%zz", "%%", "% 1", "%4g"}) {
        EXPECT_EQ(property::decode(property_kind::string, unchanged)->to_string(), unchanged);
    }
    EXPECT_EQ(property::decode(property_kind::string, "%41%7c%25")->to_string(), "A|%");
    EXPECT_EQ(property::decode(property_kind::string, "%%41")->to_string(), "%A");
}

TEST(property_text, leads_back_for_every_kind) {
    for (property_handle const& value : one_of_each()) {
        for (bool const one_line : {false, true}) {
            std::string const text = encoded(value, one_line);
            EXPECT_EQ(text.find('|'), std::string::npos);
            EXPECT_TRUE(*property::decode(value->kind(), text) == *value) << text;
        }
    }
}

TEST(property_text, leads_back_for_each_byte_of_a_string) {
    for (char const byte : all_bytes()) {
        property_handle const value = text(std::string("a") + byte + "41");
        EXPECT_TRUE(*property::decode(property_kind::string, encoded(value)) == *value);
        std::string const line = encoded(value, true);
        EXPECT_TRUE(*property::decode(property_kind::string, line) == *value);
        for (char const written : line) {
            EXPECT_FALSE((written >= 0 && written < ' ') || written == '\x7f') << line;
        }
    }
}

TEST(property_text, leads_back_for_random_values) {
    constexpr std::uint64_t seed = 4711;
    std::cout << "seed " << seed << '\n';
    random_values random(seed);
    for (int count = 0; count < 2000; ++count) {
        property_handle const value = random.value(4);
        std::string const text = encoded(value);
        EXPECT_TRUE(*property::decode(value->kind(), text) == *value) << text;
    }
}

TEST(property_text, reads_the_query_of_a_url_as_strings) {
    auto const query = property::decode(property_kind::properties, "b=2&a=x%20y&flag&&c=");
    EXPECT_TRUE(*query == *tree({{"a", text("x y")}, {"b", text("2")}, {"c", text("")}, {"flag", text("")}}));
}

TEST(property_text, says_what_was_expected_and_where_without_showing_the_text) {
    struct row {
        property_kind kind;
        char const* text;
        char const* expected;
    };
    row const rows[] = {
        {property_kind::boolean, "yes", "text of kind bool, byte 0: expected true or false"},
        {property_kind::boolean, "", "text of kind bool, byte 0: expected true or false"},
        {property_kind::integer, "", "text of kind int, byte 0: expected a decimal number"},
        {property_kind::integer, "12x", "text of kind int, byte 2: expected the end of the number"},
        {property_kind::integer, "9223372036854775808", "text of kind int, byte 0: expected a number of 64 bits"},
        {property_kind::binary, "?", "text of kind binary, byte 0: expected base64"},
        {property_kind::special, "deferred", "text of kind special, byte 0: expected TYPE:SUB-TYPE:KIND:TEXT"},
        {property_kind::special, "secret:x:y:z", "text of kind special, byte 0: expected the name of a type"},
        {property_kind::special, "deferred:x:y:z", "text of kind special, byte 9: expected the name of a sub-type"},
        {property_kind::special, "deferred:plain:y:z", "text of kind special, byte 15: expected the name of a kind"},
        {property_kind::properties, "a=1&a=2", "text of kind properties, byte 4: expected each path once"},
        {property_kind::properties, "a=1&b%7B=2",
         "text of kind properties, byte 4: expected a path: key, {key} and [n]"},
        {property_kind::properties, "a;number=1", "text of kind properties, byte 2: expected the name of a kind"},
        {property_kind::properties, "a%5B1%5D=1",
         "text of kind properties, byte 0: expected the elements of a list in order"},
        {property_kind::properties, "a=1&a%7Bb%7D=2",
         "text of kind properties, byte 4: expected a path through values of their kinds; step 2 goes into another "
         "kind"},
        {property_kind::properties, "%FF=1",
         "text of kind properties, byte 0: expected a key that can be stored; this one is not UTF-8"},
        {property_kind::list, "a=1", "text of kind list, byte 0: expected a path: key, {key} and [n]"},
    };
    for (row const& row : rows) {
        EXPECT_EQ(message_of(row.kind, row.text), row.expected) << row.text;
    }
    EXPECT_EQ(message_of(static_cast<property_kind>(7), "x"), "no kind of value has the number 7");
}

TEST(property_text, refuses_to_encode_what_no_text_can_hold) {
    for (char const* key : {"a{", "}", "[", "x]y", "\xFF"}) {
        EXPECT_THROW((void)encoded(tree({{"ok", tree({{key, text("1")}})}})), kxbase::es::arg) << key;
        // The text for people has no such scruples.
        EXPECT_FALSE(tree({{key, text("1")}})->to_string().empty());
    }
}

TEST(property_text, keeps_to_the_limits_of_nesting_and_expansion) {
    property_handle nested = text("x");
    for (int level = 0; level < 128; ++level) {
        nested = tree({{"k", nested}});
    }
    EXPECT_TRUE(*property::decode(property_kind::properties, encoded(nested)) == *nested);
    property_handle const too_deep = tree({{"k", nested}});
    try {
        (void)encoded(too_deep);
        ADD_FAILURE() << "encoded";
    } catch (kxbase::es::arg const& error) {
        EXPECT_NE(std::string(error.message()).find("(limit nesting)"), std::string::npos) << error.message();
    }
    std::string const text_of_deep = too_deep->to_string();
    EXPECT_NE(message_of(property_kind::properties, text_of_deep).find("(limit nesting)"), std::string::npos);

    kxbase::limits small = kxbase::current_limits();
    small.expansion = 3;
    kxbase::scoped_limits const scope(small);
    EXPECT_EQ(tree({{"a", text("1")}})->to_string(), "a=1");
    EXPECT_THROW((void)tree({{"a", text("12")}})->to_string(), kxbase::es::arg);
    EXPECT_THROW((void)tree({{"a", text("12")}})->describe(), kxbase::es::arg);
    property_handle const described = tree({{"a", text("1")}});
    std::string const description = "properties of 1\n  \"a\": string \"1\"";
    small.expansion = description.size();
    kxbase::set_limits(small);
    EXPECT_EQ(described->describe(), description);
    --small.expansion;
    kxbase::set_limits(small);
    EXPECT_THROW((void)described->describe(), kxbase::es::arg);
}

} // namespace
} // namespace kxcore
