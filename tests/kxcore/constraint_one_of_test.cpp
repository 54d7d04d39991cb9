#include <kxcore/constraint_one_of.h>

#include "support/constraint_values.h"

#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>
#include <kxcore/xml_writer.h>

namespace kxcore::constraint_tests {
namespace {

constraint_one_of one_of(std::vector<rule> alternatives) {
    return constraint_one_of(std::move(alternatives));
}

TEST(constraint_one_of, accepts_what_one_alternative_accepts) {
    auto const by = one_of({make<constraint_int>(0, 5), make<constraint_enum>("auto|none")});
    EXPECT_TRUE(by.is_valid(num(5).get(), 0));
    EXPECT_TRUE(by.is_valid(str("none").get(), 0));
    EXPECT_FALSE(by.is_valid(num(6).get(), 0));
    EXPECT_FALSE(by.is_valid(str("all").get(), 0));
    EXPECT_FALSE(by.is_valid(flag(true).get(), 30));
}

TEST(constraint_one_of, flags_reach_the_alternatives) {
    auto const by = one_of({make<constraint_list>(make<constraint_bool>())});
    EXPECT_TRUE(by.is_valid(list({context()}).get(), validity::context));
    EXPECT_FALSE(by.is_valid(list({context()}).get(), validity::none));
}

TEST(constraint_one_of, without_alternatives_accepts_nothing) {
    auto const by = one_of({});
    EXPECT_FALSE(by.is_valid(num(1).get(), 30));
    EXPECT_FALSE(by.suggest_value());
    EXPECT_FALSE(by.closest_valid_value(num(1)));
    EXPECT_FALSE(by.exact_match(num(1).get()));
    EXPECT_EQ(constraint_description(by), "nothing (there are no alternatives)");
    EXPECT_EQ(constraint_text(by), "");
    EXPECT_EQ(by.property_kind(), property_kind::special);
}

TEST(constraint_one_of, needs_constraints) {
    EXPECT_EQ(argument_error([] { (void)one_of({rule()}); }), "an alternative must be a constraint");
}

TEST(constraint_one_of, tells_the_kind_that_all_share) {
    EXPECT_EQ(one_of({make<constraint_string>(), make<constraint_enum>("a")}).property_kind(), property_kind::string);
    EXPECT_EQ(one_of({make<constraint_string>(), make<constraint_int>()}).property_kind(), property_kind::special);
}

TEST(constraint_one_of, has_its_texts) {
    auto const by = one_of({make<constraint_enum>("a|b"), make<constraint_int>(0, 5)});
    EXPECT_EQ(constraint_text(by), "(enum \"a|b\")(int 0..5)");
    // The description of an enumeration ends in a blank, which is dropped before the comma.
    std::string described = constraint_description(constraint_enum("a|b"));
    ASSERT_EQ(described.back(), ' ');
    described.pop_back();
    EXPECT_EQ(constraint_description(by), described + ", or an int from 0 to 5");
    auto const nested = one_of(
        {make<constraint_one_of>(std::vector<rule>{make<constraint_bool>()}), make<constraint_property>(flag(true))});
    EXPECT_EQ(constraint_text(nested), "(one-of (bool))(property bool \"true\")");
}

TEST(constraint_one_of, suggests_what_the_first_suggests_that_can) {
    EXPECT_EQ(one_of({make<constraint_enum>(""), make<constraint_int>(4)}).suggest_value()->to_string(), "4");
}

TEST(constraint_one_of, closest_prefers_the_kind_given) {
    auto const by = one_of({make<constraint_int>(0, 5), make<constraint_enum>("auto|none")});
    EXPECT_EQ(by.closest_valid_value(str("nome"))->to_string(), "none");
    EXPECT_EQ(by.closest_valid_value(num(9))->to_string(), "5");
    EXPECT_EQ(by.closest_valid_value(tree())->to_string(), "0") << "neither: what it suggests";
    EXPECT_EQ(one_of({make<constraint_int>(0, 5)}).closest_valid_value(str("8"))->to_string(), "5");
}

TEST(constraint_one_of, matches_exactly_when_all_do) {
    EXPECT_TRUE(one_of({make<constraint_int>(4, 4), make<constraint_property>(num(4))}).exact_match(num(4).get()));
    EXPECT_FALSE(one_of({make<constraint_int>(4, 4), make<constraint_int>(5, 5)}).exact_match(num(4).get()));
}

TEST(constraint_one_of, documents_its_alternatives_as_deep_as_asked) {
    auto const by = one_of({make<constraint_bool>(), make<constraint_int>()});
    auto const document = [&by](unsigned int levels) {
        std::string text;
        xml::writer out(text, 0);
        by.to_documentation_xml(out, levels);
        return text;
    };
    EXPECT_EQ(document(0), "<one-of>\n<description>a bool, or an int</description>\n</one-of>");
    EXPECT_EQ(document(1), "<one-of>\n<description>a bool, or an int</description>\n"
                           "<alternative>\n<description>a bool</description>\n</alternative>\n"
                           "<alternative>\n<description>an int</description>\n</alternative>\n</one-of>");
    std::string html;
    std::set<std::string> documented;
    xml::writer out(html, 0);
    by.to_documentation_html_xmlrpc(out, documented);
    one_of({}).to_documentation_html_xmlrpc(out, documented);
    EXPECT_EQ(html, "One of<ul>\n<li>a bool</li>\n<li>an int</li>\n</ul>nothing (there are no alternatives)");
}

TEST(constraint_one_of, a_clone_shares_the_alternatives) {
    auto const by = one_of({make<constraint_bool>()});
    auto const clone = by.clone();
    EXPECT_EQ(static_cast<constraint_one_of const&>(*clone).alternatives()[0].get(), by.alternatives()[0].get());
}

} // namespace
} // namespace kxcore::constraint_tests
