// The XML form of documents, read: grammar, places of errors, limits.
#include "document_samples.h"
#include "support/captured_report.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/document_places.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using testing::HasSubstr;

std::string const head = "<document identifier=\"task\" version=\"7\">";

/// The message and place of an error, "" for none.
std::string fault_of(std::string_view bytes) {
    kx_test::captured_report log;
    configuration document;
    configuration::read_error const code = read(document, bytes);
    EXPECT_EQ(code == configuration::read_ok, document.get_diagnostic().message.empty());
    if (code == configuration::read_ok) return {};
    EXPECT_EQ(code, configuration::read_invalid);
    std::string text = document.get_diagnostic().to_string();
    EXPECT_THAT(log.messages(), testing::ElementsAre(text)) << "the log tells the same";
    EXPECT_TRUE(document.get_config().empty());
    return text;
}

properties tree_of(std::string_view members) {
    configuration document;
    EXPECT_EQ(read(document, xml_document(members)), configuration::read_ok) << document.get_diagnostic().to_string();
    return document.get_config();
}

TEST(xml_reading, takes_every_kind_as_people_write_it) {
    properties const tree = tree_of(R"(
        <string key='text'>a &amp; b &lt; &#13;<![CDATA[<c>]]> </string>
        <!-- a remark -->
        <string key="coded" encoding="base64"> AAEC
            /w== </string>
        <bool key="yes"> true </bool><bool key="no">false</bool>
        <int key="number">
            -12
        </int>
        <binary key="bytes">/w
            ==</binary>
        <properties key="tree"><string key="z"/><string key="a"></string></properties>
        <list key="list"><int>1</int><list/><properties/></list>
        <special key="later" type="deferred" sub-type="variable" kind="string">dest-url</special>
        <string key-base64="AQI=">odd key</string>
        )");
    EXPECT_EQ(tree.get_string_value("text"), "a & b < \r<c> ");
    EXPECT_EQ(tree.get_string_value("coded"), std::string("\x00\x01\x02\xff", 4));
    EXPECT_TRUE(tree.get_bool_value("yes"));
    EXPECT_FALSE(tree.get_bool_value("no"));
    EXPECT_EQ(tree.get_int_value("number"), -12);
    EXPECT_TRUE(*tree.get_property("bytes") == *a_binary("\xff"));
    EXPECT_TRUE(*tree.get_property("tree") == a_tree({{"a", a_string("")}, {"z", a_string("")}}));
    EXPECT_TRUE(*tree.get_property("list") == *a_list({an_int(1), a_list({}), nested(properties())}));
    EXPECT_TRUE(*tree.get_property("later") ==
                *property_special::create_deferred_variable(kxcore::property_kind::string, "dest-url"));
    EXPECT_EQ(tree.get_string_value("\x01\x02"), "odd key");
}

TEST(xml_reading, takes_carriage_returns_in_the_text_for_line_ends) {
    EXPECT_EQ(tree_of("<string key=\"a\">1\r\n2\r3</string>").get_string_value("a"), "1\n2\n3");
}

TEST(xml_reading, tells_what_is_wrong_and_where) {
    struct {
        std::string members;
        std::string expected;
    } const cases[] = {
        {"<string>x</string>", "line 1, column 41: the attribute \"key\" is missing"},
        {"\n  <number key=\"a\">1</number>", "line 2, column 3: found the unknown element <number>"},
        {"<int key=\"a\">1<int/></int>", "line 1, column 55: a: found the element <int> where only text may be"},
        {"text", "line 1, column 41: found text where only elements may be"},
        {"<list key=\"l\">text</list>", "l: found text where only elements may be"},
        {"<list key=\"l\"><int key=\"a\">1</int></list>", "l: found a key in a list, whose elements have none"},
        {"<int key=\"a\" key-base64=\"YQ==\">1</int>", "found both \"key\" and \"key-base64\""},
        {"<int key-base64=\"?\">1</int>", "expected base64 as \"key-base64\""},
        {"<int key-base64=\"/w==\">1</int>", "UTF-8"},
        {"<int key=\"a{b\">1</int>", "the key \"a{b\": "},
        {"<int key=\"a}b\">1</int>", "the key \"a}b\": "},
        {"<int key=\"a[b\">1</int>", "the key \"a[b\": "},
        {"<int key=\"a]b\">1</int>", "the key \"a]b\": "},
        {"<int key=\"a\">1</int><int key=\"a\">1</int>", "line 1, column 61: found the key \"a\" twice"},
        {"<int key=\"b\">1</int><int key=\"a\">1</int><int key=\"b\">1</int>", "the key 'b' comes twice in one tree"},
        {"<int key=\"(limit key)\">1</int><int key=\"(\">1</int><int key=\"(limit key)\">1</int>",
         "the key '(limit key)' comes twice in one tree"},
        {"<int key=\"a\" size=\"1\">1</int>", "found the unknown attribute \"size\" of <int>"},
        {"<int key=\"a\" encoding=\"base64\">MQ==</int>", "found the unknown attribute \"encoding\" of <int>"},
        {"<string key=\"a\" encoding=\"hex\">00</string>", "expected the encoding \"base64\", found \"hex\""},
        {"<string key=\"a\" encoding=\"base64\">0</string>", "a: expected base64"},
        {"<binary key=\"a\">0</binary>", "a: expected base64"},
        {"<bool key=\"a\">TRUE</bool>", "a: expected true or false"},
        {"<bool key=\"a\"/>", "a: expected true or false"},
        {"<int key=\"a\"/>", "a: expected an integer of 64 bits in decimal"},
        {"<int key=\"a\">+1</int>", "a: expected an integer of 64 bits in decimal"},
        {"<int key=\"a\">0x1</int>", "a: expected an integer of 64 bits in decimal"},
        {"<int key=\"a\">9223372036854775808</int>", "a: expected an integer of 64 bits in decimal"},
        {"<int key=\"a\">1 2</int>", "a: expected an integer of 64 bits in decimal"},
        {"<properties key=\"t\"><list key=\"l\"><int>1</int><int>x</int></list></properties>", "t{l}[1]: expected an"},
        {"<special key=\"a\" sub-type=\"plain\" kind=\"int\"/>", "a: expected the \"type\" of a special"},
        {"<special key=\"a\" type=\"x\" sub-type=\"plain\" kind=\"int\"/>", "a: expected the \"type\" of a special"},
        {"<special key=\"a\" type=\"deferred\" kind=\"int\"/>", "a: expected the \"sub-type\" of a special"},
        {"<special key=\"a\" type=\"deferred\" sub-type=\"plain\"/>", "a: expected the \"kind\" of the value"},
        {"<special key=\"a\" type=\"deferred\" sub-type=\"credential\" kind=\"string\"/>", "a: "},
        {"<constraint key=\"a\"/>", "a: not a constraint: "},
        {"<constraint key=\"a\"><string key=\"type\">nonsense</string></constraint>", "a: not a constraint: "},
        {"<constraint key=\"a\">text</constraint>", "a: found text where only elements may be"},
        {"<string key=\"a\">\xff</string>", "not well-formed XML"},
        {"<string key=\"a\">\xED\xA0\x80</string>", "not well-formed XML"},
        {"<string key=\"a\">&unknown;</string>", "not well-formed XML: undefined entity"},
        {"<string key=\"a\">&#0;</string>", "not well-formed XML"},
        {"<string key=\"a\">\x01</string>", "not well-formed XML"},
        {"<string key=\"a\">", "not well-formed XML"},
        {"<string key=\"a\"></int>", "not well-formed XML"},
    };
    for (auto const& [members, expected] : cases)
        EXPECT_THAT(fault_of(xml_document(members)), HasSubstr(expected)) << members;
}

TEST(xml_reading, tells_what_is_wrong_around_the_members) {
    struct {
        std::string bytes;
        std::string expected;
    } const cases[] = {
        {"<document version=\"7\"/>", "line 1, column 1: the attribute \"identifier\" of <document> is missing"},
        {"<document identifier=\"task\"/>", "the attribute \"version\" of <document> is missing"},
        {"<document identifier=\"\" version=\"7\"/>", "a document needs an identifier"},
        {"<document identifier=\"Ü\" version=\"7\"/>", "an identifier of other characters than ASCII"},
        {"<document identifier=\"" + std::string(257, 'a') + "\" version=\"7\"/>",
         "an identifier of more than 256 bytes"},
        {"<document identifier=\"task\" version=\"-7\"/>", "expected a version from 0 to 4294967295, found \"-7\""},
        {"<document identifier=\"task\" version=\"4294967296\"/>", "expected a version from 0 to 4294967295"},
        {"<document identifier=\"task\" version=\"\"/>", "expected a version from 0 to 4294967295, found \"\""},
        {"<document identifier=\"task\" version=\"7\" x=\"\"/>", "found the unknown attribute \"x\" of <document>"},
        {head + "</document><document/>", "not well-formed XML: junk after document element"},
        {head + "</document>text", "not well-formed XML"},
        {"<?xml version=\"1.1\"?>" + head + "</document>", "expected XML version 1.0, found \"1.1\""},
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + head + "</document>",
         "expected the encoding UTF-8, found \"ISO-8859-1\""},
        {"<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + head + "</document>", "expected the encoding UTF-8"},
        {"\n<?xml version=\"1.0\"?>" + head + "</document>", "line 2, column 1: not well-formed XML"},
        {"<!DOCTYPE document>" + head + "</document>", "found a DOCTYPE, which no document may have"},
    };
    for (auto const& [bytes, expected] : cases)
        EXPECT_THAT(fault_of(bytes), HasSubstr(expected)) << bytes;
    EXPECT_EQ(fault_of(head + "</document>\n<!-- end -->\n"), "");
}

TEST(xml_reading, refuses_entities_before_they_are_expanded) {
    std::string bomb = "<!DOCTYPE document [<!ENTITY a0 \"ha\">";
    for (int i = 1; i != 100; ++i)
        bomb +=
            "<!ENTITY a" + std::to_string(i) + " \"&a" + std::to_string(i - 1) + ";&a" + std::to_string(i - 1) + ";\">";
    bomb += "]>" + head + "<string key=\"a\">&a99;</string></document>";
    EXPECT_THAT(fault_of(bomb), HasSubstr("found a DOCTYPE, which no document may have"));
    EXPECT_THAT(fault_of("<!DOCTYPE document SYSTEM \"file:///etc/passwd\">" + head + "</document>"),
                HasSubstr("found a DOCTYPE"));
}

TEST(xml_reading, gives_the_byte_offset_too) {
    kx_test::captured_report log;
    configuration document;
    ASSERT_EQ(read(document, head + "\n\n <oops/></document>"), configuration::read_invalid);
    EXPECT_EQ(document.get_diagnostic().line, 3U);
    EXPECT_EQ(document.get_diagnostic().column, 2U);
    EXPECT_EQ(document.get_diagnostic().offset, head.size() + 3);
    EXPECT_EQ(document.get_diagnostic().path, "");
}

TEST(xml_reading, names_the_element_that_was_open) {
    configuration document;
    ASSERT_EQ(read(document, xml_document("<list key=\"l\"><int>1</int><int>x</int></list>")),
              configuration::read_invalid);
    EXPECT_EQ(document.get_diagnostic().path, "l[1]");
    EXPECT_EQ(document.get_diagnostic().message, "l[1]: expected an integer of 64 bits in decimal");
    ASSERT_EQ(read(document, xml_document("<list key=\"l\"><int>1</lint></list>")), configuration::read_invalid);
    EXPECT_EQ(document.get_diagnostic().path, "l[0]");
    EXPECT_THAT(document.get_diagnostic().message, testing::StartsWith("not well-formed XML: "));
}

TEST(xml_reading, keeps_places_when_asked_for) {
    configuration document;
    std::string const bytes = xml_document("\n<string key=\"a\">x</string>\n  <properties key=\"t\">\n"
                                           "<list key=\"l\"><int>1</int>\n<properties><int key=\"n\">1</int>"
                                           "</properties></list></properties>");
    ASSERT_EQ(read(document, bytes), configuration::read_ok);
    EXPECT_TRUE(document.get_places().empty());
    document.keep_places(true);
    ASSERT_EQ(read(document, bytes), configuration::read_ok);
    kxcore::document_places const& places = document.get_places();
    using place = kxcore::document_place;
    EXPECT_EQ(places.size(), 7U);
    EXPECT_EQ(places.find(""), (place{1, 1})) << "the root";
    EXPECT_EQ(places.find("a"), (place{2, 1}));
    EXPECT_EQ(places.find("t"), (place{3, 3}));
    EXPECT_EQ(places.find("t{l}"), (place{4, 1}));
    EXPECT_EQ(places.find("t{l}[0]"), (place{4, 15}));
    EXPECT_EQ(places.find("t{l}[1]{n}"), (place{5, 13}));
    document.keep_places(false);
    ASSERT_EQ(read(document, bytes), configuration::read_ok);
    EXPECT_TRUE(document.get_places().empty());
}

/// Reads with a limit set; the message that was raised, "" when it was read.
std::string raised(std::string_view members, std::size_t kxbase::limits::*limit, std::size_t value) {
    kx_test::captured_report log;
    kxbase::limits limits;
    limits.*limit = value;
    kxbase::scoped_limits const scope(limits);
    configuration document;
    try {
        EXPECT_EQ(read(document, xml_document(members)), configuration::read_ok) << document.get_diagnostic().message;
        return {};
    } catch (kxbase::es::arg const& error) {
        EXPECT_TRUE(document.get_config().empty());
        EXPECT_TRUE(log.has(error.what()));
        return error.what();
    }
}

TEST(xml_reading, raises_one_past_each_limit_and_names_it) {
    using kxbase::limits;
    std::string const text = "<string key=\"abc\">12345</string>";
    EXPECT_EQ(raised(text, &limits::string, 5), "");
    EXPECT_THAT(raised(text, &limits::string, 4),
                testing::AllOf(HasSubstr("abc: a string of more than 4 bytes (limit string)"), HasSubstr("line 1")));
    std::string const coded = "<string key=\"abc\" encoding=\"base64\">MTIzNDU=</string>";
    EXPECT_EQ(raised(coded, &limits::string, 5), "");
    EXPECT_THAT(raised(coded, &limits::string, 4), HasSubstr("(limit string)"));
    EXPECT_EQ(raised(text, &limits::key, 3), "");
    EXPECT_THAT(raised(text, &limits::key, 2), HasSubstr("a key of more than 2 bytes (limit key)"));
    for (std::string const name : {"properties", "list"}) {
        std::string const inside =
            name == "list" ? "<int>1</int><int>2</int>" : "<int key=\"a\">1</int><int key=\"b\">2</int>";
        std::string const members = "<" + name + " key=\"t\">" + inside + "</" + name + ">";
        EXPECT_EQ(raised(members, &limits::members, 2), "");
        EXPECT_THAT(raised(members, &limits::members, 1),
                    HasSubstr("t: a tree or list of more than 1 members (limit members)"));
        EXPECT_EQ(raised(members, &limits::nesting, 2), "");
        EXPECT_THAT(raised(members, &limits::nesting, 1), HasSubstr("t: nesting deeper than 1 levels (limit nesting)"));
    }
}

} // namespace
