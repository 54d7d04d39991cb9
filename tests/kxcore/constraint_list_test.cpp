#include <kxcore/constraint_list.h>

#include "support/constraint_values.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_values.h>
#include <kxcore/xml_writer.h>

namespace kxcore::constraint_tests {
namespace {

TEST(constraint_list, size_is_bounded_at_both_ends) {
    constraint_list const by(make<constraint_int>(), 1, 2);
    EXPECT_FALSE(by.is_valid(list().get(), 0));
    EXPECT_TRUE(by.is_valid(list({num(1)}).get(), 0));
    EXPECT_TRUE(by.is_valid(list({num(1), num(2)}).get(), 0));
    EXPECT_FALSE(by.is_valid(list({num(1), num(2), num(3)}).get(), 0));
    EXPECT_TRUE(constraint_list(make<constraint_int>()).is_valid(list().get(), 0));
}

TEST(constraint_list, every_element_must_be_valid) {
    constraint_list const by(make<constraint_int>(0, 5));
    EXPECT_TRUE(by.is_valid(list({num(0), num(5)}).get(), 0));
    EXPECT_FALSE(by.is_valid(list({num(0), num(6)}).get(), 0));
    EXPECT_FALSE(by.is_valid(list({num(0), str("1")}).get(), 0));
    for (value const& other : {str("a"), num(1), flag(true), bytes("a"), value(tree())})
        EXPECT_FALSE(by.is_valid(other.get(), 30));
}

TEST(constraint_list, flags_reach_the_elements) {
    constraint_list const by(make<constraint_int>());
    EXPECT_TRUE(by.is_valid(list({num(1), context()}).get(), validity::context));
    EXPECT_FALSE(by.is_valid(list({num(1), context()}).get(), validity::deferred));
}

TEST(constraint_list, refuses_what_makes_no_sense) {
    EXPECT_EQ(argument_error([] { constraint_list{rule()}; }),
              "a constraint on lists needs a constraint on their elements");
    EXPECT_EQ(argument_error([] { constraint_list(make<constraint_any>(), 2, 1); }),
              "the bounds of a list's size cross: 2 is greater than 1");
}

TEST(constraint_list, has_its_texts) {
    struct row {
        constraint_list by;
        std::string_view described;
        std::string_view text;
    };
    row const rows[] = {
        {constraint_list(make<constraint_any>()), "a list", "list (any)"},
        {constraint_list(make<constraint_any>(), 1), "a list of at least 1 element", "list 1.. (any)"},
        {constraint_list(make<constraint_int>(0, 5), 1, 3), "a list of 1 to 3 elements, each an int from 0 to 5",
         "list 1..3 (int 0..5)"},
        {constraint_list(make<constraint_list>(make<constraint_bool>())), "a list, each a list, each a bool",
         "list (list (bool))"},
    };
    for (row const& each : rows) {
        EXPECT_EQ(constraint_description(each.by), each.described);
        EXPECT_EQ(constraint_text(each.by), each.text);
    }
    EXPECT_EQ(constraint_text(constraint_list(make<constraint_enum>("a|b"))), "list (enum \"a|b\")");
}

TEST(constraint_list, suggests_the_shortest_list) {
    EXPECT_TRUE(*constraint_list(make<constraint_int>()).suggest_value() == *list());
    EXPECT_TRUE(*constraint_list(make<constraint_int>(4), 2).suggest_value() == *list({num(4), num(4)}));
    EXPECT_FALSE(constraint_list(make<constraint_enum>(""), 1).suggest_value());
    EXPECT_TRUE(constraint_list(make<constraint_int>(), 1000).suggest_value());
    EXPECT_FALSE(constraint_list(make<constraint_int>(), 1001).suggest_value());
}

TEST(constraint_list, closest_keeps_what_it_can) {
    constraint_list const by(make<constraint_int>(0, 5), 1, 2);
    EXPECT_TRUE(*by.closest_valid_value(list({num(1), num(9)})) == *list({num(1), num(5)}));
    EXPECT_TRUE(*by.closest_valid_value(list({num(1), num(2), num(3)})) == *list({num(1), num(2)}));
    EXPECT_TRUE(*by.closest_valid_value(num(9)) == *list({num(5)})) << "a single value as a list of it";
    EXPECT_TRUE(*by.closest_valid_value(list()) == *list({num(0)})) << "too short: what it suggests";
    constraint_list const impossible(make<constraint_enum>(""));
    EXPECT_TRUE(*impossible.closest_valid_value(list({num(1)})) == *list());
}

TEST(constraint_list, documents_its_elements_as_deep_as_asked) {
    auto const document = [](unsigned int levels) {
        std::string text;
        xml::writer out(text, 0);
        constraint_list(make<constraint_bool>(), 1).to_documentation_xml(out, levels);
        return text;
    };
    EXPECT_EQ(document(0), "<list>\n<description>a list of at least 1 element, each a bool</description>\n</list>");
    EXPECT_EQ(document(1), "<list>\n<description>a list of at least 1 element, each a bool</description>\n"
                           "<element>\n<description>a bool</description>\n</element>\n</list>");
    std::string html;
    std::set<std::string> documented;
    xml::writer out(html);
    constraint_list(make<constraint_bool>(), 1).to_documentation_html_xmlrpc(out, documented);
    EXPECT_EQ(html, "a list of at least 1 element, each a bool");
}

TEST(constraint_list, a_clone_shares_the_element_constraint) {
    constraint_list const by(make<constraint_bool>(), 1, 2);
    auto const clone = by.clone();
    auto const& cloned = static_cast<constraint_list const&>(*clone);
    EXPECT_EQ(cloned.element().get(), by.element().get());
    EXPECT_EQ(cloned.min_size(), 1U);
    EXPECT_EQ(cloned.max_size(), 2U);
}

} // namespace
} // namespace kxcore::constraint_tests
