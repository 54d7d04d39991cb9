#include <kxcore/configuration.h>

#include "document_samples.h"
#include "support/captured_report.h"
#include "support/scratch_folder.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/document_places.h>
#include <kxcore/plugin_db.h>

#include <gmock/gmock.h>

namespace {

using namespace kx_test;
using kxcore::constraint_db;
using testing::HasSubstr;

TEST(configuration, is_empty_at_first) {
    configuration const document;
    EXPECT_EQ(document.get_identifier(), "");
    EXPECT_EQ(document.get_version(), 0U);
    EXPECT_TRUE(document.get_config().empty());
    EXPECT_EQ(document.get_diagnostic().message, "");
    EXPECT_EQ(document.get_diagnostic().to_string(), "");
}

TEST(configuration, numbers_formats_and_read_codes_as_callers_store_them) {
    EXPECT_EQ(configuration::format_xml, 0);
    EXPECT_EQ(configuration::format_binary, 1);
    EXPECT_EQ(configuration::read_ok, 0);
    EXPECT_EQ(configuration::read_old_version, 1);
    EXPECT_EQ(configuration::read_unexpected, 2);
    EXPECT_EQ(configuration::read_unknown, 3);
    EXPECT_EQ(configuration::read_invalid, 4);
}

TEST(configuration, reads_back_every_kind_and_every_byte_in_both_formats) {
    properties const tree = a_sample();
    for (configuration::format const format : both_formats) {
        configuration document;
        configuration::format found =
            format == configuration::format_xml ? configuration::format_binary : configuration::format_xml;
        ASSERT_EQ(read(document, written(tree, format), &found), configuration::read_ok)
            << document.get_diagnostic().to_string();
        EXPECT_EQ(found, format);
        EXPECT_TRUE(document.get_config() == tree) << document.get_config().describe();
        EXPECT_EQ(document.get_identifier(), "task");
        EXPECT_EQ(document.get_version(), 7U);
    }
}

TEST(configuration, writes_equal_trees_to_equal_bytes_however_they_were_built) {
    properties there;
    there.set_property("b", a_string("2"));
    there.set_property("a", a_string("1"));
    properties const back = a_tree({{"a", a_string("1")}, {"b", a_string("2")}});
    for (configuration::format const format : both_formats) {
        EXPECT_EQ(written(there, format), written(back, format));
        configuration document;
        ASSERT_EQ(read(document, written(a_sample(), format)), configuration::read_ok);
        EXPECT_EQ(written(document.get_config(), format), written(a_sample(), format));
    }
}

TEST(configuration, tells_versions_apart) {
    struct {
        unsigned int version;
        configuration::read_error expected;
    } const cases[] = {{7, configuration::read_ok},
                       {6, configuration::read_old_version},
                       {0, configuration::read_old_version},
                       {8, configuration::read_invalid},
                       {std::numeric_limits<unsigned int>::max(), configuration::read_invalid}};
    properties const tree = a_tree({{"name", a_string("x")}});
    for (auto const& [version, expected] : cases)
        for (configuration::format const format : both_formats) {
            kx_test::captured_report log;
            configuration document;
            EXPECT_EQ(read(document, written(tree, format, "task", version)), expected) << version;
            EXPECT_EQ(document.get_version(), version);
            EXPECT_EQ(document.get_identifier(), "task");
            EXPECT_TRUE(document.get_config() == tree);
            bool const is_above = expected == configuration::read_invalid;
            EXPECT_EQ(log.has("version " + std::to_string(version) + " of \"task\" is above the current one, 7"),
                      is_above);
            EXPECT_EQ(log.lines().size(), is_above ? 1U : 0U);
        }
}

TEST(configuration, gives_identifier_version_and_tree_of_a_foreign_document) {
    properties const tree = a_tree({{"name", a_string("x")}});
    for (configuration::format const format : both_formats) {
        kx_test::captured_report log;
        configuration document;
        EXPECT_EQ(read(document, written(tree, format, "recipe", 3)), configuration::read_unexpected);
        EXPECT_EQ(document.get_identifier(), "recipe");
        EXPECT_EQ(document.get_version(), 3U);
        EXPECT_TRUE(document.get_config() == tree);
        EXPECT_TRUE(log.has("the identifier \"recipe\" is not an expected one"));
    }
}

TEST(configuration, compares_identifiers_byte_by_byte) {
    kx_test::captured_report const log;
    configuration document;
    EXPECT_EQ(read(document, written(properties(), configuration::format_xml, "Task")), configuration::read_unexpected);
}

TEST(configuration, accepts_an_identifier_whose_constraint_is_missing) {
    constraint_db accepted;
    accepted.add_constraint("task", {}, true);
    for (auto const& table :
         {std::map<std::string, unsigned int>{{"task", 7}}, std::map<std::string, unsigned int>()}) {
        configuration document;
        kxbase::buffer const bytes(written(properties(), configuration::format_xml));
        EXPECT_EQ(document.read_config(accepted, table, bytes, nullptr), configuration::read_ok);
    }
}

TEST(configuration, does_not_validate) {
    constraint_db accepted;
    auto const closed = make_refcount<constraint_db>(true);
    accepted.add_constraint("task", closed, true);
    configuration document;
    kxbase::buffer const bytes(written(a_sample(), configuration::format_xml));
    EXPECT_EQ(document.read_config(accepted, versions, bytes, nullptr), configuration::read_ok);
}

TEST(configuration, tells_what_is_no_document_from_a_broken_one) {
    struct {
        std::string bytes;
        configuration::read_error expected;
    } const cases[] = {
        {"", configuration::read_unknown},
        {" ", configuration::read_unknown},
        {"name = preset\n", configuration::read_unknown},
        {"<?xml version=\"1.0\"?>", configuration::read_unknown},
        {"<?xml version=\"1.0\"?><html/>", configuration::read_unknown},
        {"<!DOCTYPE html><html/>", configuration::read_unknown},
        {"<documents/>", configuration::read_unknown},
        {"<documen", configuration::read_unknown},
        {std::string("\xFF\xFE<\0d\0o\0c\0", 10), configuration::read_unknown},
        {"\x89KXD\r\n", configuration::read_unknown},
        {"\x89KXD\n\x1a\x01", configuration::read_unknown},
        {"\x89PNG\r\n\x1a\n", configuration::read_unknown},
        {"<document>", configuration::read_invalid},
        {"<document/>", configuration::read_invalid},
        {"<document identifier=\"task\"/>", configuration::read_invalid},
        {"<document version=\"7\"/>", configuration::read_invalid},
        {"<document identifier=\"task\" version=\"7\"", configuration::read_invalid},
        {"<!DOCTYPE document><document identifier=\"task\" version=\"7\"/>", configuration::read_invalid},
        {"\x89KXD\r\n\x1a\x01", configuration::read_invalid},
        {"<document identifier=\"task\" version=\"7\"/>", configuration::read_ok},
        {"\xEF\xBB\xBF<document identifier=\"task\" version=\"7\"/>", configuration::read_ok},
        {"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!-- mine --><?x y?>\n<document identifier=\"task\" "
         "version=\"7\"/>",
         configuration::read_ok},
    };
    for (auto const& [bytes, expected] : cases) {
        kx_test::captured_report log;
        configuration document;
        EXPECT_EQ(read(document, bytes), expected) << bytes << document.get_diagnostic().to_string();
        EXPECT_TRUE(document.get_config().empty());
        EXPECT_EQ(configuration::recognizes(bytes), expected != configuration::read_unknown) << bytes;
        EXPECT_EQ(document.get_diagnostic().message.empty(), expected == configuration::read_ok);
        EXPECT_EQ(log.lines().size(), expected == configuration::read_ok ? 0U : 1U);
    }
}

TEST(configuration, keeps_the_format_pointed_to_when_there_is_none) {
    kx_test::captured_report log;
    configuration document;
    auto format = configuration::format_binary;
    EXPECT_EQ(read(document, "nothing", &format), configuration::read_unknown);
    EXPECT_EQ(format, configuration::format_binary);
}

TEST(configuration, looks_at_four_kibibytes_and_no_further_to_recognize_a_document) {
    std::string const document = "<document identifier=\"task\" version=\"7\"/>";
    std::size_t const last_place = 4096 - std::string("<document ").size();
    EXPECT_TRUE(configuration::recognizes(std::string(last_place, '\n') + document));
    EXPECT_FALSE(configuration::recognizes(std::string(last_place + 1, '\n') + document));
}

TEST(configuration, forgets_what_was_read_before) {
    kx_test::captured_report log;
    configuration document;
    document.keep_places(true);
    ASSERT_EQ(read(document, xml_document("<int key=\"a\">1</int>")), configuration::read_ok);
    EXPECT_EQ(document.get_places().size(), 2U);
    ASSERT_EQ(read(document, "nothing"), configuration::read_unknown);
    EXPECT_EQ(document.get_identifier(), "");
    EXPECT_EQ(document.get_version(), 0U);
    EXPECT_TRUE(document.get_config().empty());
    EXPECT_TRUE(document.get_places().empty());
    ASSERT_EQ(read(document, xml_document("<int key=\"a\">x</int>")), configuration::read_invalid);
    EXPECT_EQ(document.get_identifier(), "task");
    EXPECT_EQ(document.get_version(), 7U);
    EXPECT_TRUE(document.get_config().empty());
    EXPECT_TRUE(document.get_places().empty());
    ASSERT_EQ(read(document, xml_document("")), configuration::read_ok);
    EXPECT_EQ(document.get_diagnostic().to_string(), "");
}

TEST(configuration, gives_and_writes_the_default_tree_until_another_is_set) {
    configuration document(constraint_db(), {"task", 7});
    properties const standard = a_tree({{"name", a_string("standard")}});
    properties const mine = a_tree({{"name", a_string("mine")}});
    document.set_default_config(standard);
    EXPECT_TRUE(document.get_config() == standard);
    document.set_config(mine);
    EXPECT_TRUE(document.get_config() == mine);
    document.set_config(properties());
    EXPECT_TRUE(document.get_config().empty());
}

TEST(configuration, shares_the_tree_that_is_set_and_sees_no_later_change) {
    configuration document(constraint_db(), {"task", 7});
    properties tree = a_tree({{"name", a_string("before")}});
    document.set_config(tree);
    tree.set_property("name", a_string("after"));
    EXPECT_EQ(document.get_config().get_string_value("name"), "before");
}

TEST(configuration, is_a_value) {
    configuration first(constraint_db(), {"task", 7});
    first.set_config(a_tree({{"name", a_string("first")}}));
    configuration second = first;
    second.set_config(a_tree({{"name", a_string("second")}}));
    EXPECT_EQ(first.get_config().get_string_value("name"), "first");
    first = second;
    EXPECT_EQ(first.get_config().get_string_value("name"), "second");
    configuration const moved = std::move(first);
    EXPECT_EQ(moved.get_identifier(), "task");
    first = moved;
    EXPECT_EQ(first.get_version(), 7U);
    first = configuration();
    EXPECT_EQ(first.get_identifier(), "");
}

TEST(configuration, appends_what_it_writes) {
    configuration document(constraint_db(), {"task", 7});
    for (configuration::format const format : both_formats) {
        kxbase::buffer out(std::string_view("before"));
        document.write_config(out, format);
        EXPECT_EQ(out.text(), "before" + written(properties(), format));
    }
}

TEST(configuration, refuses_to_write_an_identifier_that_no_reader_accepts) {
    for (std::string const& identifier :
         {std::string(), std::string("a\nb"), std::string("Zürich"), std::string(257, 'a')})
        for (configuration::format const format : both_formats)
            EXPECT_THROW(static_cast<void>(written(properties(), format, identifier)), kxbase::es::arg) << identifier;
    EXPECT_NO_THROW(static_cast<void>(written(properties(), configuration::format_xml, std::string(256, 'a'))));
}

TEST(configuration, refuses_to_write_a_format_that_does_not_exist) {
    EXPECT_THROW(static_cast<void>(written(properties(), static_cast<configuration::format>(2))), kxbase::es::arg);
}

TEST(configuration, raises_when_a_document_is_too_large_and_names_the_limit) {
    kxbase::limits limits;
    for (configuration::format const format : both_formats) {
        std::string const bytes = written(a_sample(), format);
        kx_test::captured_report log;
        {
            limits.document = bytes.size();
            kxbase::scoped_limits const scope(limits);
            configuration document;
            EXPECT_EQ(read(document, bytes), configuration::read_ok);
            EXPECT_EQ(written(a_sample(), format), bytes);
        }
        limits.document = bytes.size() - 1;
        kxbase::scoped_limits const scope(limits);
        configuration document;
        try {
            static_cast<void>(read(document, bytes));
            FAIL() << "was read";
        } catch (kxbase::es::arg const& error) {
            EXPECT_THAT(error.what(), HasSubstr("(limit document)"));
        }
        EXPECT_TRUE(log.has("(limit document)"));
        EXPECT_TRUE(document.get_config().empty());
        EXPECT_THROW(static_cast<void>(written(a_sample(), format)), kxbase::es::arg);
    }
}

TEST(configuration, recognizes_files_by_their_beginning_alone) {
    scratch_folder const folder;
    kxcore::plugin_db const plugins;
    std::string const foreign = written(properties(), configuration::format_binary, "recipe");
    struct {
        std::string name;
        std::string content;
        bool expected;
    } const cases[] = {
        {"good.xml", written(a_sample(), configuration::format_xml), true},
        {"good.bin", written(a_sample(), configuration::format_binary), true},
        {"foreign.bin", foreign, true},
        {"cut.bin", foreign.substr(0, foreign.size() - 1), true},
        {"broken.xml", "<document identifier=\"task\" version=\"7\"><int", true},
        {"page.xml", "<html/>", false},
        {"empty", "", false},
    };
    for (auto const& [name, content, expected] : cases) {
        std::string const path = folder.write(name, content);
        EXPECT_EQ(configuration::recognizes_file(path, plugins), expected) << name;
        EXPECT_EQ(configuration::recognizes_file("file:" + path, plugins), expected) << name;
    }
    EXPECT_THROW(static_cast<void>(configuration::recognizes_file(folder.file("missing"), plugins)), kxbase::es::call);
    EXPECT_THROW(static_cast<void>(configuration::recognizes_file(folder.path().string(), plugins)), kxbase::es::call);
}

} // namespace
