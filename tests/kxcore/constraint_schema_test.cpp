#include <kxcore/constraint_schema.h>

#include "support/constraint_values.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_values.h>
#include <kxcore/xml_writer.h>

#include <functional>

namespace kxcore::constraint_tests {
namespace {

std::string written(std::function<void(xml::writer&)> const& write) {
    std::string text;
    xml::writer out(text, 0);
    write(out);
    // One line reads better in a comparison.
    std::erase(text, '\n');
    return text;
}

std::string rng(constraint const& by) {
    return written([&](xml::writer& out) { by.to_rng(out); });
}

std::string xsd(constraint const& by) {
    return written([&](xml::writer& out) { by.to_xsd(out); });
}

std::string member(constraint const* by, std::string_view const* key) {
    return written([&](xml::writer& out) { write_rng_member(out, by, key); });
}

std::string const any_type =
    R"(<xs:complexType><xs:complexContent><xs:extension base="any-content"/></xs:complexContent></xs:complexType>)";

// A plus sign, which the schema type would take.
std::string const plain_digits = R"(<xs:pattern value="\s*-?[0-9]+\s*"/>)";

TEST(schema, fragments_of_single_values) {
    struct row {
        rule by;
        std::string rng;
        std::string xsd;
    };
    auto const simple = [](std::string const& base, std::string const& facets) {
        std::string const begin = "<xs:simpleType><xs:restriction base=\"" + base + "\"";
        return begin + (facets.empty() ? "/>" : ">" + facets + "</xs:restriction>") + "</xs:simpleType>";
    };
    row const rows[] = {
        {make<constraint_any>(), R"(<ref name="any-content"/>)", any_type},
        {make<constraint_string>(), "<text/>", simple("xs:string", "")},
        {make<constraint_string>(1U, 5U, "[a-z]+"),
         R"(<data type="string"><param name="minLength">1</param><param name="maxLength">5</param>)"
         R"(<param name="pattern">[a-z]+</param></data>)",
         simple("xs:string", R"(<xs:minLength value="1"/><xs:maxLength value="5"/><xs:pattern value="[a-z]+"/>)")},
        {make<constraint_string>("(?i)abc"), "<text/>", simple("xs:string", "")},
        {make<constraint_any>(property_kind::string), R"(<ref name="any-string"/>)", simple("xs:string", "")},
        {make<constraint_any>(property_kind::list), R"(<ref name="any-list"/>)", any_type},
        {make<constraint_bool>(), R"(<ref name="any-bool"/>)",
         simple("xs:token", R"(<xs:enumeration value="true"/><xs:enumeration value="false"/>)")},
        {make<constraint_int>(), R"(<ref name="any-int"/>)", simple("xs:long", plain_digits)},
        {make<constraint_int>(-1, 5),
         R"(<data type="long"><param name="minInclusive">-1</param><param name="maxInclusive">5</param>)"
         R"(<param name="pattern">\s*-?[0-9]+\s*</param></data>)",
         simple("xs:long", R"(<xs:minInclusive value="-1"/><xs:maxInclusive value="5"/>)" + plain_digits)},
        {make<constraint_binary>(), R"(<data type="base64Binary"/>)", simple("xs:base64Binary", "")},
        {make<constraint_binary>(1U, 5U),
         R"(<data type="base64Binary"><param name="minLength">1</param><param name="maxLength">5</param></data>)",
         simple("xs:base64Binary", R"(<xs:minLength value="1"/><xs:maxLength value="5"/>)")},
        {make<constraint_property>(str("a<")), R"(<value type="string">a&lt;</value>)",
         simple("xs:string", R"(<xs:enumeration value="a&lt;"/>)")},
        {make<constraint_property>(flag(true)), "<value>true</value>",
         simple("xs:string", R"(<xs:enumeration value="true"/>)")},
        {make<constraint_property>(num(5)), R"(<value type="long">5</value>)",
         simple("xs:long", R"(<xs:enumeration value="5"/>)")},
        {make<constraint_property>(bytes("ab")), R"(<value type="base64Binary">YWI=</value>)",
         simple("xs:base64Binary", R"(<xs:enumeration value="YWI="/>)")},
        {make<constraint_property>(tree()), R"(<ref name="any-properties"/>)", any_type},
        {make<constraint_one_of>(std::vector<rule>{}), "<notAllowed/>", any_type},
        {make<constraint_one_of>(std::vector<rule>{make<constraint_string>(), make<constraint_int>()}),
         R"(<choice><group><text/></group><group><ref name="any-int"/></group></choice>)",
         "<xs:simpleType><xs:union>" + simple("xs:string", "") + simple("xs:long", plain_digits) +
             "</xs:union></xs:simpleType>"},
        {make<constraint_one_of>(std::vector<rule>{make<constraint_any>()}),
         R"(<choice><group><ref name="any-content"/></group></choice>)", any_type},
    };
    for (row const& each : rows) {
        EXPECT_EQ(rng(*each.by), each.rng);
        EXPECT_EQ(xsd(*each.by), each.xsd);
    }
}

std::string const special = R"(<element name="special"><ref name="any-special"/></element>)";

std::string key_attribute(std::string const& key) {
    return "<attribute name=\"key\"><value type=\"string\">" + key + "</value></attribute>";
}

TEST(schema, a_member_is_its_element_or_a_special_one) {
    std::string_view const key = "k<";
    std::string const attribute = key_attribute("k&lt;");
    std::string const keyed_special =
        "<element name=\"special\">" + attribute + R"(<ref name="any-special"/></element>)";
    constraint_int const number;
    EXPECT_EQ(member(&number, nullptr),
              R"(<choice><element name="int"><ref name="any-int"/></element>)" + special + "</choice>");
    EXPECT_EQ(member(&number, &key), "<choice><element name=\"int\">" + attribute +
                                         R"(<ref name="any-int"/></element>)" + keyed_special + "</choice>");
    constraint_string const string;
    EXPECT_EQ(member(&string, nullptr),
              R"(<choice><element name="string"><choice><text/><ref name="base64-string"/></choice></element>)" +
                  special + "</choice>");
    std::string any = "<choice>";
    for (auto const* kind : {"string", "bool", "int", "binary", "properties", "list", "constraint"})
        any +=
            "<element name=\"" + std::string(kind) + "\">" + attribute + "<ref name=\"any-" + kind + "\"/></element>";
    EXPECT_EQ(member(nullptr, &key), any + keyed_special + "</choice>");
    EXPECT_EQ(member(nullptr, nullptr), R"(<ref name="any-element"/>)");
}

TEST(schema, a_key_that_xml_cannot_hold_stands_in_base64) {
    std::string_view const key = "\x01";
    constraint_bool const flag_value;
    EXPECT_NE(member(&flag_value, &key)
                  .find(R"(<attribute name="key-base64"><value type="base64Binary">AQ==</value></attribute>)"),
              std::string::npos);
    constraint_db by(true);
    by.add_constraint(key, make<constraint_bool>(), true);
    EXPECT_NE(xsd(by).find(R"(<xs:attribute name="key" type="key" use="prohibited"/><xs:attribute name="key-base64" )"
                           R"(use="required"><xs:simpleType><xs:restriction base="xs:base64Binary">)"
                           R"(<xs:enumeration value="AQ=="/>)"),
              std::string::npos)
        << xsd(by);
}

// Blanks at the ends of a string count; those of the fragment would not.
TEST(schema, values_of_an_enumeration_are_compared_to_the_blank) {
    constraint_enum const by("a|b");
    EXPECT_EQ(rng(by), "<choice><value>a</value><value>b</value></choice>");
    EXPECT_NE(member(&by, nullptr).find(R"(<value type="string">a</value><value type="string">b</value>)"),
              std::string::npos);
}

TEST(schema, alternatives_are_elements_of_their_own) {
    constraint_one_of const by(
        {make<constraint_bool>(),
         make<constraint_one_of>(std::vector<rule>{make<constraint_list>(make<constraint_int>())}),
         make<constraint_property>(deferred())});
    EXPECT_EQ(member(&by, nullptr),
              "<choice><element name=\"bool\">" + rng(constraint_bool()) + "</element><element name=\"list\">" +
                  rng(constraint_list(make<constraint_int>())) + "</element>" + special + "</choice>");
    constraint_any const any_tree(property_kind::properties);
    EXPECT_EQ(member(&any_tree, nullptr),
              R"(<choice><element name="properties"><ref name="any-properties"/></element>)" + special + "</choice>");
    constraint_one_of const with_any({make<constraint_bool>(), make<constraint_any>()});
    EXPECT_EQ(member(&with_any, nullptr), R"(<ref name="any-element"/>)");
    constraint_one_of const none(std::vector<rule>{});
    EXPECT_EQ(member(&none, nullptr), "<choice>" + special + "</choice>");
}

TEST(schema, lists_repeat_their_element_as_long_as_that_is_short) {
    std::string const one = member(make<constraint_int>().get(), nullptr);
    std::string const maybe = "<optional>" + one + "</optional>";
    auto const of = [](std::size_t min, std::size_t max) {
        return rng(constraint_list(make<constraint_int>(), min, max));
    };
    EXPECT_EQ(rng(constraint_list(make<constraint_int>())), "<zeroOrMore>" + one + "</zeroOrMore>");
    EXPECT_EQ(of(2, 4), one + one + maybe + maybe);
    EXPECT_EQ(of(3, constraint_list::unbounded), one + one + "<oneOrMore>" + one + "</oneOrMore>");
    EXPECT_EQ(of(0, 17), "<zeroOrMore>" + one + "</zeroOrMore>");
    EXPECT_EQ(of(17, 20), "<oneOrMore>" + one + "</oneOrMore>");
    EXPECT_EQ(of(0, 0), "<empty/>");
}

TEST(schema, members_of_a_closed_database_stand_in_their_order) {
    constraint_db by(true);
    EXPECT_EQ(rng(by), "<empty/>");
    by.add_constraint("b", make<constraint_int>(), true);
    by.add_constraint("a", make<constraint_bool>(), false);
    std::string_view const a = "a";
    std::string_view const b = "b";
    EXPECT_EQ(rng(by), "<optional>" + member(make<constraint_bool>().get(), &a) + "</optional>" +
                           member(make<constraint_int>().get(), &b));
}

TEST(schema, others_stand_between_the_members_of_an_open_database) {
    constraint_db by;
    EXPECT_EQ(rng(by), R"(<ref name="any-properties"/>)");
    by.add_constraint("a", make<constraint_bool>(), true);
    std::string_view const a = "a";
    std::string const text = rng(by);
    std::string const middle = member(make<constraint_bool>().get(), &a);
    std::size_t const at = text.find(middle);
    ASSERT_NE(at, std::string::npos) << text;
    std::string const others = text.substr(0, at);
    EXPECT_EQ(text, others + middle + others);
    EXPECT_EQ(others.find("<zeroOrMore>"), 0U);
    EXPECT_NE(others.find(R"(<except><value type="string">a</value></except>)"), std::string::npos);
}

TEST(schema, elements_of_one_kind_share_a_type) {
    constraint_db by(true);
    by.add_constraint("a", make<constraint_int>(0, 5), true);
    by.add_constraint("b", make<constraint_int>(), true);
    by.add_constraint("c", make<constraint_string>(), false);
    std::string const text = xsd(by);
    EXPECT_NE(text.find(R"(<xs:restriction base="keyed-value"><xs:simpleType><xs:union>)" + xsd(constraint_int(0, 5)) +
                        xsd(constraint_int()) + "</xs:union></xs:simpleType>" +
                        R"(<xs:attribute name="key" use="required"><xs:simpleType><xs:restriction base="key">)"
                        R"(<xs:enumeration value="a"/><xs:enumeration value="b"/></xs:restriction>)"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(R"(<xs:restriction base="keyed-text">)" + xsd(constraint_string())), std::string::npos) << text;
    EXPECT_EQ(text.find(R"(<xs:element name="bool")"), std::string::npos);
}

TEST(schema, nested_trees_and_lists_are_merged) {
    auto const first = kxbase::make_refcount<constraint_db>(true);
    first->add_constraint("x", make<constraint_bool>(), true);
    first->add_constraint("z", make<constraint_bool>(), true);
    auto const second = kxbase::make_refcount<constraint_db>(true);
    second->add_constraint("y", make<constraint_list>(make<constraint_int>(), 1, 2), false);
    second->add_constraint("z", make<constraint_bool>(), true);
    constraint_db by(true);
    by.add_constraint("a", first, true);
    by.add_constraint("b", second, true);
    std::string const text = xsd(by);
    EXPECT_EQ(text.find("name=\"properties\""), text.rfind("name=\"properties\""));
    EXPECT_NE(text.find(R"(<xs:element name="list"><xs:complexType><xs:choice minOccurs="1" maxOccurs="2">)"),
              std::string::npos)
        << text;
    // What both require is required: a fixed attribute refers to the members' keys.
    EXPECT_NE(
        text.find(R"(<xs:attribute name="required-1" type="key" fixed="z"/></xs:complexType>)"
                  R"(<xs:key name="members-1"><xs:selector xpath="*"/><xs:field xpath="@key|@key-base64"/></xs:key>)"
                  R"(<xs:keyref name="members-1-required-1" refer="members-1"><xs:selector xpath="."/>)"
                  R"(<xs:field xpath="@required-1"/></xs:keyref>)"),
        std::string::npos)
        << text;
    EXPECT_EQ(text.find("required-2"), std::string::npos);
}

TEST(schema, what_is_open_takes_anything_but_known_keys_of_another_kind) {
    EXPECT_NE(xsd(constraint_list(make<constraint_any>(), 1, 4))
                  .find(R"(<xs:element name="properties"><xs:complexType><xs:group ref="any-members" )"),
              std::string::npos);
    constraint_db by;
    by.add_constraint("n", make<constraint_int>(), false);
    std::string const text = xsd(by);
    std::string const but_n = R"(<xs:pattern value="([^n][\s\S]*|n([\s\S][\s\S]*))?"/>)";
    // Of the eight elements, an int and a special value may have the key.
    std::size_t excluding = 0;
    for (std::size_t at = text.find(but_n); at != std::string::npos; at = text.find(but_n, at + 1))
        ++excluding;
    EXPECT_EQ(excluding, 6U) << text;

    // Where another open tree has the same element, the key means nothing.
    constraint_db around(true);
    around.add_constraint("a", kxbase::make_refcount<constraint_db>(by), false);
    around.add_constraint("b", kxbase::make_refcount<constraint_db>(), false);
    EXPECT_EQ(xsd(around).find(but_n), std::string::npos);
}

TEST(schema, members_stand_without_the_type_for_whoever_adds_attributes) {
    constraint_db const by(true);
    EXPECT_EQ("<xs:complexType>" + written([&](xml::writer& out) { write_xsd_members(out, by); }) + "</xs:complexType>",
              xsd(by));
    constraint_list const list_of(make<constraint_int>());
    EXPECT_EQ(written([&](xml::writer& out) { write_xsd_list(out, list_of); }), xsd(list_of));
    EXPECT_EQ(written([&](xml::writer& out) { write_rng_members(out, by); }), rng(by));
    EXPECT_EQ(written([&](xml::writer& out) { write_rng_elements(out, list_of); }), rng(list_of));
}

schema_document document_of(kxbase::ptr_refcount<constraint_db const> tree) {
    return {{"task", "chore"}, 7, {std::move(tree)}};
}

TEST(schema, a_grammar_defines_each_database_and_each_shared_member_once) {
    auto const inner = kxbase::make_refcount<constraint_db>(true);
    rule const shared = make<constraint_string>(1U, 5U);
    inner->add_constraint("name", shared, false);
    auto const outer = kxbase::make_refcount<constraint_db>(true);
    outer->add_constraint("in", inner, true);
    outer->add_constraint("more", make<constraint_list>(inner), false);
    outer->add_constraint("name", shared, false);
    std::string const text = written([&](xml::writer& out) { write_rng_grammar(out, document_of(outer)); });
    auto const count = [&text](std::string const& what) {
        std::size_t found = 0;
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
            ++found;
        return found;
    };
    EXPECT_NE(text.find(R"(<start><element name="document"><attribute name="identifier"><choice>)"
                        R"(<value type="string">task</value><value type="string">chore</value></choice></attribute>)"
                        R"(<attribute name="version"><value type="string">7</value></attribute>)"
                        R"(<choice><ref name="tree-task"/></choice></element></start>)"),
              std::string::npos)
        << text;
    EXPECT_EQ(count(R"(<define name="tree-)"), 2U);
    EXPECT_EQ(count(R"(<ref name="tree-in"/>)"), 2U);
    EXPECT_EQ(count(R"(<define name="member-name">)"), 1U);
    EXPECT_EQ(count(R"(<optional><ref name="member-name"/></optional>)"), 2U);
    EXPECT_EQ(count(R"(<param name="maxLength">5</param>)"), 1U);
}

TEST(schema, a_whole_xml_schema_fixes_identifier_and_version) {
    auto const tree_rule = kxbase::make_refcount<constraint_db>(true);
    tree_rule->add_constraint("name", make<constraint_string>(), true);
    std::string const text = written([&](xml::writer& out) { write_xsd_schema(out, document_of(tree_rule)); });
    EXPECT_NE(text.find(R"(<xs:enumeration value="task"/><xs:enumeration value="chore"/>)"), std::string::npos);
    EXPECT_NE(text.find(R"(<xs:attribute name="version" type="xs:string" use="required" fixed="7"/>)"
                        R"(<xs:attribute name="required-1" type="key" fixed="name"/>)"),
              std::string::npos)
        << text;
}

TEST(schema, definitions_name_what_fragments_refer_to) {
    std::string const rng_text = written([](xml::writer& out) { write_rng_definitions(out); });
    for (std::string_view const name :
         {"any-string", "any-bool", "any-int", "any-binary", "any-properties", "any-list", "any-constraint",
          "any-special", "any-content", "any-element", "any-member", "base64-string"})
        EXPECT_NE(rng_text.find("<define name=\"" + std::string(name) + "\">"), std::string::npos);
    std::string const xsd_text = written([](xml::writer& out) { write_xsd_definitions(out); });
    for (std::string_view const name : {"any-content", "text", "keyed-text", "keyed-value", "special", "keyed-special"})
        EXPECT_NE(xsd_text.find("<xs:complexType name=\"" + std::string(name) + "\""), std::string::npos);
}

} // namespace
} // namespace kxcore::constraint_tests
