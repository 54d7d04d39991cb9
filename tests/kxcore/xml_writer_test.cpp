#include <kxcore/xml_writer.h>

#include "support/constraint_values.h"

#include <functional>

namespace kxcore::constraint_tests {
namespace {

std::string written(std::function<void(xml::writer&)> const& write, unsigned int indentation = 2) {
    std::string text;
    xml::writer out(text, indentation);
    write(out);
    return text;
}

TEST(xml_writer, indents_nodes_by_their_depth) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.declaration();
                  out.start_node("a");
                  out.start_node("b", "x", "1");
                  out.text_node("c", "text");
                  out.empty_node("d", "y", "2");
                  out.end_node();
                  out.empty_node("e");
                  out.end_node();
              }),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>\n  <b x=\"1\">\n    <c>text</c>\n    <d y=\"2\"/>\n"
              "  </b>\n  <e/>\n</a>");
}

TEST(xml_writer, appends_to_what_is_there) {
    std::string text = "before";
    xml::writer out(text);
    out.empty_node("a");
    out.empty_node("b");
    EXPECT_EQ(text, "before<a/>\n<b/>");
}

TEST(xml_writer, a_node_without_content_is_empty) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.start_node("a");
                  out.append("");
                  out.end_node();
                  out.text_node("b", "");
                  out.text_node("c", {{"x", "1"}, {"y", "2"}}, "");
              }),
              "<a/>\n<b/>\n<c x=\"1\" y=\"2\"/>");
}

TEST(xml_writer, does_not_indent_beside_text) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.start_node("p");
                  out.append("one ");
                  out.text_node("b", "two");
                  out.append(" three");
                  out.start_node("i");
                  out.empty_node("br");
                  out.end_node();
                  out.end_node();
              }),
              "<p>one <b>two</b> three<i>\n    <br/>\n  </i></p>");
}

TEST(xml_writer, takes_line_breaks_back_when_text_comes_later) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.start_node("p");
                  out.start_node("b");
                  out.empty_node("c");
                  out.end_node();
                  out.empty_node("d");
                  out.append("late");
                  out.empty_node("e");
                  out.end_node();
              }),
              "<p><b>\n    <c/>\n  </b><d/>late<e/></p>");
    EXPECT_EQ(written([](xml::writer& out) {
                  out.empty_node("a");
                  out.empty_node("b");
                  out.append("text");
              }),
              "<a/><b/>text");
}

TEST(xml_writer, white_space_is_text) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.start_node("p");
                  out.append(" ");
                  out.empty_node("b");
                  out.end_node();
              }),
              "<p> <b/></p>");
}

TEST(xml_writer, escapes_text_and_attributes) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.start_node("a", "v", "<\"&'>\t\n\r]]>");
                  out.append("<\"&'>\t\n\r]]>");
                  out.end_node();
                  out.text_node("b", "a & b\r\n");
              }),
              "<a v=\"&lt;&quot;&amp;'&gt;&#9;&#10;&#13;]]&gt;\">&lt;\"&amp;'&gt;\t\n&#13;]]&gt;</a>\n"
              "<b>a &amp; b&#13;\n</b>");
}

TEST(xml_writer, several_attributes_keep_their_order) {
    EXPECT_EQ(written([](xml::writer& out) {
                  out.start_node("a", {{"z", "1"}, {"b", "2"}});
                  out.empty_node("c", {{"d", ""}});
                  out.end_node();
              }),
              "<a z=\"1\" b=\"2\">\n  <c d=\"\"/>\n</a>");
}

TEST(xml_writer, indentation_is_a_choice) {
    auto const nested = [](xml::writer& out) {
        out.start_node("a");
        out.start_node("b");
        out.empty_node("c");
        out.append("x");
        out.end_node();
        out.end_node();
    };
    EXPECT_EQ(written(nested, 0), "<a>\n<b><c/>x</b>\n</a>");
    EXPECT_EQ(written(nested, 4), "<a>\n    <b><c/>x</b>\n</a>");
}

TEST(xml_writer, counts_open_nodes) {
    std::string text;
    xml::writer out(text);
    EXPECT_EQ(out.depth(), 0U);
    out.start_node("a");
    out.start_node("b");
    EXPECT_EQ(out.depth(), 2U);
    out.end_node();
    EXPECT_EQ(out.depth(), 1U);
}

TEST(xml_writer, takes_every_character_that_xml_has) {
    for (std::string_view const good : {"\t\n", " ", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                                        "\xEE\x80\x80", "\xEF\xBF\xBD", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(written([&](xml::writer& out) { out.append(good); }), good);
}

TEST(xml_writer, refuses_what_xml_can_not_hold_and_writes_nothing) {
    for (std::string_view const bad :
         {std::string_view("\0", 1), std::string_view("\x01"), std::string_view("\x1F"), std::string_view("\x80"),
          std::string_view("\xC0\x80"), std::string_view("\xC3"), std::string_view("\xC3x"),
          std::string_view("\xE0\x80\x80"), std::string_view("\xED\xA0\x80"), std::string_view("\xEF\xBF\xBE"),
          std::string_view("\xEF\xBF\xBF"), std::string_view("\xF0\x80\x80\x80"), std::string_view("\xF4\x90\x80\x80"),
          std::string_view("\xF5\x80\x80\x80"), std::string_view("\xFF")}) {
        std::string text;
        xml::writer out(text);
        out.start_node("n");
        std::string const bytes = "ab" + std::string(bad);
        std::string const message = "XML can't hold the byte at offset 2 of the text in ";
        EXPECT_EQ(argument_error([&] { out.append(bytes); }), message + "\"n\"");
        EXPECT_EQ(argument_error([&] { out.text_node("t", bytes); }), message + "\"t\"");
        EXPECT_EQ(argument_error([&] { out.start_node("t", "v", bytes); }), message + "\"v\"");
        EXPECT_EQ(argument_error([&] { out.empty_node("t", "v", bytes); }), message + "\"v\"");
        EXPECT_EQ(text, "<n");
        out.end_node();
        EXPECT_EQ(text, "<n/>");
    }
}

TEST(xml_writer, refuses_names_that_xml_does_not_allow) {
    for (std::string_view const bad : {"", "1a", "-a", ".a", "a b", "a<", "a\"", "a>"}) {
        std::string text;
        xml::writer out(text);
        std::string const message = "\"" + std::string(bad) + "\" is not a name that XML allows";
        EXPECT_EQ(argument_error([&] { out.start_node(bad); }), message);
        EXPECT_EQ(argument_error([&] { out.empty_node("a", bad, "v"); }), message);
        EXPECT_EQ(text, "");
    }
    EXPECT_EQ(argument_error([] { written([](xml::writer& out) { out.start_node("a\xFF"); }); }),
              "XML can't hold the byte at offset 1 of the text in \"name\"");
    for (std::string_view const good : {"a", "_a", "xs:element", "a-1.b", "\xC3\xA4"})
        EXPECT_EQ(written([&](xml::writer& out) { out.empty_node(good); }), "<" + std::string(good) + "/>");
}

TEST(xml_writer, refuses_what_is_out_of_order) {
    EXPECT_EQ(argument_error([] { written([](xml::writer& out) { out.end_node(); }); }),
              "there is no open XML node to end");
    EXPECT_EQ(argument_error([] {
                  written([](xml::writer& out) {
                      out.empty_node("a");
                      out.declaration();
                  });
              }),
              "the XML declaration comes before anything else");
}

TEST(xml_writer, numbers_names_that_must_differ) {
    std::string text;
    xml::writer one(text);
    xml::writer other(text);
    EXPECT_EQ(one.next_number(), 1U);
    EXPECT_EQ(one.next_number(), 2U);
    EXPECT_EQ(other.next_number(), 1U);
}

} // namespace
} // namespace kxcore::constraint_tests
