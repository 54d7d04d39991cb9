// The XML form of documents, written: the bytes, what they can hold, and what is refused.
#include "document_samples.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using testing::HasSubstr;

TEST(xml_writing, is_stable_to_the_byte) {
    properties const tree = a_tree({
        {"z-binary", a_binary("\xff")},
        {"yes", a_bool(true)},
        {"number", an_int(-5)},
        {"name", a_string("R&D <\"quoted\">\r\n\tend")},
        {"empty", a_string("")},
        {"bytes", a_string(std::string("\0", 1))},
        {"later", property_special::create_deferred_variable(kxcore::property_kind::string, "dest-url")},
        {"tree", nested(a_tree({{"list", a_list({a_string("a"), nested(properties()), a_list({an_int(1)})})}}))},
    });
    EXPECT_EQ(written(tree, configuration::format_xml, "workflow"), R"(<?xml version="1.0" encoding="UTF-8"?>
<document identifier="workflow" version="7">
  <string key="bytes" encoding="base64">AA==</string>
  <string key="empty"/>
  <special key="later" type="deferred" sub-type="variable" kind="string">dest-url</special>
  <string key="name">R&amp;D &lt;"quoted">&#13;
	end</string>
  <int key="number">-5</int>
  <properties key="tree">
    <list key="list">
      <string>a</string>
      <properties/>
      <list>
        <int>1</int>
      </list>
    </list>
  </properties>
  <bool key="yes">true</bool>
  <binary key="z-binary">/w==</binary>
</document>
)");
    EXPECT_EQ(written(properties(), configuration::format_xml), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                                                "<document identifier=\"task\" version=\"7\"/>\n");
}

TEST(xml_writing, escapes_the_end_mark_of_a_section_and_no_other_greater_than_sign) {
    EXPECT_THAT(written(a_tree({{"a", a_string("1>2]>3]]>4]]]>")}}), configuration::format_xml),
                HasSubstr("<string key=\"a\">1>2]>3]]&gt;4]]]&gt;</string>"));
}

TEST(xml_writing, escapes_an_identifier) {
    EXPECT_THAT(written(properties(), configuration::format_xml, "a\"&<"),
                HasSubstr("identifier=\"a&quot;&amp;&lt;\""));
}

TEST(xml_writing, loses_no_byte_of_a_string_or_of_a_special) {
    std::vector<std::string> texts = {std::string(),
                                      every_byte(),
                                      " ",
                                      "\n",
                                      "\t",
                                      "]]>",
                                      "&#13;",
                                      "\xC3",
                                      "\xED\xA0\x80",
                                      "\xEF\xBF\xBE",
                                      "\xEF\xBF\xBF",
                                      "\xEF\xBB\xBF",
                                      "\xF4\x8F\xBF\xBF",
                                      "\xC2\x85",
                                      "\x7f",
                                      std::string(100'000, 'x') + '\r'};
    for (int i = 0; i != 256; ++i) {
        texts.emplace_back(1, static_cast<char>(i));
        texts.push_back("a" + std::string(1, static_cast<char>(i)) + "b");
    }
    for (configuration::format const format : both_formats)
        for (std::string const& text : texts) {
            properties const tree =
                a_tree({{"text", a_string(text)},
                        {"special", property_special::create_deferred_context(kxcore::property_kind::integer, text)}});
            configuration document;
            ASSERT_EQ(read(document, written(tree, format)), configuration::read_ok)
                << document.get_diagnostic().to_string();
            EXPECT_TRUE(document.get_config() == tree) << testing::PrintToString(text);
        }
}

TEST(xml_writing, loses_no_byte_of_a_key) {
    for (configuration::format const format : both_formats)
        for (int i = 0; i != 128; ++i) {
            char const c = static_cast<char>(i);
            if (std::string("{}[]").find(c) != std::string::npos) continue;
            properties const tree = a_tree({{std::string(1, c), an_int(1)}, {std::string("k") + c + "k", an_int(2)}});
            configuration document;
            ASSERT_EQ(read(document, written(tree, format)), configuration::read_ok)
                << i << document.get_diagnostic().to_string();
            EXPECT_TRUE(document.get_config() == tree) << i;
        }
    properties const tree = a_tree({{"", an_int(1)}, {"\xEF\xBF\xBF", an_int(2)}, {"東京", an_int(3)}});
    for (configuration::format const format : both_formats) {
        configuration document;
        ASSERT_EQ(read(document, written(tree, format)), configuration::read_ok);
        EXPECT_TRUE(document.get_config() == tree);
    }
}

/// What is raised when the tree is written; the buffer must be as it was.
std::string refusal(properties const& tree, configuration::format format) {
    configuration document(kxcore::constraint_db(), {"task", 7});
    document.set_config(tree);
    kxbase::buffer out(std::string_view("before"));
    try {
        document.write_config(out, format);
        return {};
    } catch (kxbase::es::arg const& error) {
        EXPECT_EQ(out.text(), "before");
        return error.what();
    }
}

TEST(writing, refuses_keys_that_could_not_be_read_back) {
    for (configuration::format const format : both_formats)
        for (std::string const key : {"a{b", "a}b", "[", "]", "\xff", "a\xC3"}) {
            properties const inner = a_tree({{key, an_int(1)}});
            EXPECT_NE(refusal(inner, format), "") << key;
            properties const tree = a_tree({{"list", a_list({an_int(0), nested(inner)})}});
            EXPECT_THAT(refusal(tree, format), HasSubstr("list[1]")) << key;
        }
}

TEST(writing, refuses_one_past_each_limit_and_names_it) {
    properties const tree = a_tree({{"abc", nested(a_tree({{"x", a_string("12345")}, {"y", a_list({})}}))}});
    struct {
        std::size_t kxbase::limits::*limit;
        std::size_t fits;
        std::string word;
    } const cases[] = {{&kxbase::limits::string, 5, "(limit string)"},
                       {&kxbase::limits::key, 3, "(limit key)"},
                       {&kxbase::limits::members, 2, "(limit members)"},
                       {&kxbase::limits::nesting, 3, "(limit nesting)"}};
    for (configuration::format const format : both_formats)
        for (auto const& [limit, fits, word] : cases) {
            kxbase::limits limits;
            limits.*limit = fits;
            {
                kxbase::scoped_limits const scope(limits);
                EXPECT_EQ(refusal(tree, format), "") << word;
                configuration document;
                EXPECT_EQ(read(document, written(tree, format)), configuration::read_ok) << word;
            }
            limits.*limit = fits - 1;
            kxbase::scoped_limits const scope(limits);
            EXPECT_THAT(refusal(tree, format), HasSubstr(word));
        }
}

TEST(writing, counts_levels_alike_in_both_formats) {
    for (configuration::format const format : both_formats) {
        properties tree;
        for (std::size_t level = 1; level != kxbase::limit_nesting; ++level)
            tree = a_tree({{"k", level % 2 == 0 ? nested(tree) : a_list({nested(tree)})}});
        // Each second level is a list with a tree in it, so the tree is deeper than the limit already.
        EXPECT_THAT(refusal(tree, format), HasSubstr("(limit nesting)"));
        tree = properties();
        for (std::size_t level = 1; level != kxbase::limit_nesting; ++level)
            tree = a_tree({{"k", nested(tree)}});
        EXPECT_EQ(refusal(tree, format), "");
        configuration document;
        EXPECT_EQ(read(document, written(tree, format)), configuration::read_ok);
        tree = a_tree({{"k", nested(tree)}});
        EXPECT_THAT(refusal(tree, format), HasSubstr("(limit nesting)"));
    }
}

TEST(writing, refuses_a_tree_that_shares_its_way_to_an_endless_document) {
    property_handle shared = a_string("leaf");
    for (int i = 0; i != 40; ++i)
        shared = a_list({shared, shared, shared});
    kxbase::limits limits;
    limits.document = 100'000;
    limits.frame = 100'000;
    kxbase::scoped_limits const scope(limits);
    EXPECT_THAT(refusal(a_tree({{"bomb", shared}}), configuration::format_xml), HasSubstr("(limit document)"));
}

TEST(writing, refuses_a_binary_value_that_no_document_can_hold_before_it_takes_memory) {
    kxbase::limits limits;
    limits.document = 1000;
    kxbase::scoped_limits const scope(limits);
    for (configuration::format const format : both_formats)
        EXPECT_THAT(refusal(a_tree({{"b", a_binary(std::string(2000, 'x'))}}), format), HasSubstr("(limit document)"));
}

} // namespace
