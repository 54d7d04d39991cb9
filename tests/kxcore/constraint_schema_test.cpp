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
        {make<constraint_bool>(), "<choice><value>true</value><value>false</value></choice>",
         simple("xs:string", R"(<xs:enumeration value="true"/><xs:enumeration value="false"/>)")},
        {make<constraint_int>(), R"(<data type="long"/>)", simple("xs:long", "")},
        {make<constraint_int>(-1, 5),
         R"(<data type="long"><param name="minInclusive">-1</param><param name="maxInclusive">5</param></data>)",
         simple("xs:long", R"(<xs:minInclusive value="-1"/><xs:maxInclusive value="5"/>)")},
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
        {make<constraint_property>(tree()), R"(<ref name="any-content"/>)", any_type},
        {make<constraint_one_of>(std::vector<rule>{}), "<notAllowed/>", any_type},
        {make<constraint_one_of>(std::vector<rule>{make<constraint_string>(), make<constraint_int>()}),
         R"(<choice><group><text/></group><group><data type="long"/></group></choice>)",
         "<xs:simpleType><xs:union>" + simple("xs:string", "") + simple("xs:long", "") + "</xs:union></xs:simpleType>"},
        {make<constraint_one_of>(std::vector<rule>{make<constraint_any>()}),
         R"(<choice><group><ref name="any-content"/></group></choice>)", any_type},
    };
    for (row const& each : rows) {
        EXPECT_EQ(rng(*each.by), each.rng);
        EXPECT_EQ(xsd(*each.by), each.xsd);
    }
}

std::string const special = R"(<element name="special"><ref name="any-content"/></element>)";

TEST(schema, a_member_is_its_element_or_a_special_one) {
    std::string_view const key = "k<";
    std::string const attribute = R"(<attribute name="key"><value type="string">k&lt;</value></attribute>)";
    std::string const keyed_special =
        "<element name=\"special\">" + attribute + R"(<ref name="any-content"/></element>)";
    constraint_int const number;
    EXPECT_EQ(member(&number, nullptr),
              R"(<choice><element name="int"><data type="long"/></element>)" + special + "</choice>");
    EXPECT_EQ(member(&number, &key), "<choice><element name=\"int\">" + attribute + R"(<data type="long"/></element>)" +
                                         keyed_special + "</choice>");
    constraint_string const string;
    EXPECT_EQ(member(&string, nullptr),
              R"(<choice><element name="string"><choice><text/><group><attribute name="encoding"><value>base64</value>)"
              R"(</attribute><data type="base64Binary"/></group></choice></element>)" +
                  special + "</choice>");
    EXPECT_EQ(member(nullptr, &key), "<element><anyName/>" + attribute + R"(<ref name="any-content"/></element>)");
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
              R"(<choice><element name="properties"><ref name="any-content"/></element>)" + special + "</choice>");
    constraint_one_of const with_any({make<constraint_bool>(), make<constraint_any>()});
    EXPECT_EQ(member(&with_any, nullptr), R"(<element><anyName/><ref name="any-content"/></element>)");
}

TEST(schema, lists_say_whether_they_may_be_empty) {
    std::string const element = member(make<constraint_int>().get(), nullptr);
    EXPECT_EQ(rng(constraint_list(make<constraint_int>())), "<zeroOrMore>" + element + "</zeroOrMore>");
    EXPECT_EQ(rng(constraint_list(make<constraint_int>(), 2, 5)), "<oneOrMore>" + element + "</oneOrMore>");
    EXPECT_EQ(rng(constraint_list(make<constraint_int>(), 0, 0)), "<empty/>");
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
    std::string const begin = R"(<zeroOrMore><element><anyName/><attribute name="key"><data type="string")";
    std::string const end = R"(</attribute><ref name="any-content"/></element></zeroOrMore>)";
    EXPECT_EQ(rng(by), begin + "/>" + end);
    by.add_constraint("a", make<constraint_bool>(), true);
    std::string_view const a = "a";
    std::string const others = begin + R"(><except><value type="string">a</value></except></data>)" + end;
    EXPECT_EQ(rng(by), others + member(make<constraint_bool>().get(), &a) + others);
}

TEST(schema, elements_of_one_kind_share_a_type) {
    constraint_db by(true);
    by.add_constraint("a", make<constraint_int>(0, 5), true);
    by.add_constraint("b", make<constraint_int>(), true);
    by.add_constraint("c", make<constraint_string>(), false);
    std::string const begin = R"(<xs:complexType><xs:simpleContent><xs:restriction base="simple-value">)";
    std::string const end = "</xs:restriction></xs:simpleContent></xs:complexType></xs:element>";
    auto const keys = [](std::initializer_list<std::string> all) {
        std::string text =
            R"(<xs:attribute name="key" use="required"><xs:simpleType><xs:restriction base="xs:string">)";
        for (std::string const& each : all)
            text += "<xs:enumeration value=\"" + each + "\"/>";
        return text + "</xs:restriction></xs:simpleType></xs:attribute>";
    };
    EXPECT_EQ(xsd(by), R"(<xs:complexType><xs:choice minOccurs="2" maxOccurs="3"><xs:element name="string">)" + begin +
                           xsd(constraint_string()) + keys({"c"}) + end + R"(<xs:element name="int">)" + begin +
                           "<xs:simpleType><xs:union>" + xsd(constraint_int(0, 5)) + xsd(constraint_int()) +
                           "</xs:union></xs:simpleType>" + keys({"a", "b"}) + end +
                           R"(<xs:element name="special" type="any-content"/></xs:choice></xs:complexType>)");
}

TEST(schema, nested_trees_and_lists_are_merged) {
    auto const first = kxbase::make_refcount<constraint_db>(true);
    first->add_constraint("x", make<constraint_bool>(), true);
    auto const second = kxbase::make_refcount<constraint_db>(true);
    second->add_constraint("y", make<constraint_list>(make<constraint_int>(), 1, 2), false);
    constraint_db by(true);
    by.add_constraint("a", first, true);
    by.add_constraint("b", second, true);
    std::string const text = xsd(by);
    // One element for both, which may have the members of either, none of them required by both.
    EXPECT_NE(text.find(R"(<xs:element name="properties"><xs:complexType><xs:choice minOccurs="0" maxOccurs="2">)"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("properties"), text.rfind("properties"));
    EXPECT_NE(text.find(R"(<xs:element name="list"><xs:complexType><xs:choice minOccurs="1" maxOccurs="2">)"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(R"(<xs:enumeration value="a"/><xs:enumeration value="b"/>)"), std::string::npos) << text;
}

TEST(schema, what_is_open_takes_anything) {
    EXPECT_EQ(xsd(constraint_db()),
              R"(<xs:complexType><xs:sequence><xs:any minOccurs="0" maxOccurs="unbounded" processContents="skip"/>)"
              "</xs:sequence></xs:complexType>");
    EXPECT_EQ(xsd(constraint_list(make<constraint_any>(), 1, 4)),
              R"(<xs:complexType><xs:sequence><xs:any minOccurs="1" maxOccurs="4" processContents="skip"/>)"
              "</xs:sequence></xs:complexType>");
    constraint_db any_string(true);
    any_string.add_constraint("s", make<constraint_any>(property_kind::string), false);
    EXPECT_NE(xsd(any_string).find(R"(<xs:element name="string" type="any-content"/>)"), std::string::npos);
    constraint_db by(true);
    by.add_constraint("t", make<constraint_property>(tree()), true);
    EXPECT_EQ(xsd(by), R"(<xs:complexType><xs:choice minOccurs="1" maxOccurs="1"><xs:element name="properties" )"
                       R"(type="any-content"/><xs:element name="special" type="any-content"/></xs:choice>)"
                       "</xs:complexType>");
}

TEST(schema, members_stand_without_the_type_for_whoever_adds_attributes) {
    constraint_db const by(true);
    EXPECT_EQ("<xs:complexType>" + written([&](xml::writer& out) { write_xsd_members(out, by); }) + "</xs:complexType>",
              xsd(by));
    constraint_list const list_of(make<constraint_int>());
    EXPECT_EQ(written([&](xml::writer& out) { write_xsd_list(out, list_of); }), xsd(list_of));
    EXPECT_EQ(written([&](xml::writer& out) { write_rng_members(out, by); }), rng(by));
}

TEST(schema, definitions_name_what_fragments_refer_to) {
    std::string const rng_text = written([](xml::writer& out) { write_rng_definitions(out); });
    for (std::string_view const name : {"any-content", "any-element"})
        EXPECT_NE(rng_text.find("<define name=\"" + std::string(name) + "\">"), std::string::npos);
    std::string const xsd_text = written([](xml::writer& out) { write_xsd_definitions(out); });
    for (std::string_view const name : {"any-content", "simple-value"})
        EXPECT_NE(xsd_text.find("<xs:complexType name=\"" + std::string(name) + "\""), std::string::npos);
}

} // namespace
} // namespace kxcore::constraint_tests
