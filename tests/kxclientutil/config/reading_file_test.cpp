#include "kxclientutil/support/config_fixture.h"
#include "kxclientutil/support/trees.h"

#include <kxclientutil/resolve.h>

#include <kxbase/errors.h>
#include <kxcore/constraint_values.h>
#include <kxcore/property_special.h>
#include <kxcore/taskutil.h>

#include <unistd.h>

namespace kxclientutil {

namespace {

using kx_test::flag;
using kx_test::message_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kxcore::configuration;
using kxcore::properties;

namespace es = kxbase::es;

class reading_file : public kx_test::config_fixture {
protected:
    std::string write(std::string const& name, std::string const& identifier, properties const& document,
                      unsigned int version = 7) {
        return folder.write(name, stored(identifier, document, version).text());
    }

    properties const before = *tree({{"from", text("an earlier read")}});
};

TEST_F(reading_file, reads_a_document_from_a_path_and_from_a_url) {
    auto const document = tree({{"name", text("x")}});
    std::string const path = write("a workflow.xml", "workflow", *document);
    for (std::string const& place : {path, "file:" + folder.path().string() + "/a%20workflow.xml"}) {
        out = before;
        EXPECT_EQ(read_file(place), config_workflow) << place;
        EXPECT_EQ(out, *document);
        EXPECT_EQ(format, configuration::format_xml);
        EXPECT_TRUE(recognizes_file(place, plugins));
    }
}

TEST_F(reading_file, takes_a_relative_path_from_the_current_folder) {
    write("task.xml", "task", *tree({{"name", text("x")}}));
    std::filesystem::path const back = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(read_file("task.xml"), config_task);
    EXPECT_TRUE(recognizes_file("task.xml", plugins));
    write_config_file("written.xml", config_task, plugins, constraints, out, configuration::format_binary);
    std::filesystem::current_path(back);
    EXPECT_EQ(read_file(folder.file("written.xml")), config_task);
}

TEST_F(reading_file, gives_unknown_and_keeps_out_for_what_is_no_document) {
    out = before;
    format = configuration::format_binary;
    std::string const path = folder.write("clip.mov", "no document at all");
    EXPECT_EQ(read_file(path), config_unknown);
    EXPECT_EQ(out, before);
    EXPECT_EQ(format, configuration::format_binary);
    EXPECT_FALSE(recognizes_file(path, plugins));
    EXPECT_EQ(read_file(folder.write("empty.xml", "")), config_unknown);
    EXPECT_EQ(out, before);
}

TEST_F(reading_file, raises_for_a_file_that_cannot_be_read) {
    out = before;
    EXPECT_THROW(static_cast<void>(read_file(folder.file("missing.xml"))), es::call);
    EXPECT_THROW(static_cast<void>(recognizes_file(folder.file("missing.xml"), plugins)), es::call);
    EXPECT_THROW(static_cast<void>(read_file(folder.file("missing.setting"))), es::call);
    EXPECT_EQ(out, before);
}

TEST_F(reading_file, recognizes_documents_that_it_cannot_read) {
    std::string const foreign = write("plugin.xml", "plugin", *tree({{"name", text("x")}}));
    EXPECT_TRUE(recognizes_file(foreign, plugins));
    EXPECT_EQ(message_of<es::arg>([&] { read_file(foreign); }),
              "Unexpected configuration data, data contains 'plugin'");
    std::string const whole(stored("task", *tree({{"name", text("x")}})).text());
    std::string const broken = folder.write("broken.xml", whole.substr(0, whole.size() - 3));
    EXPECT_TRUE(recognizes_file(broken, plugins));
    EXPECT_EQ(message_of<es::arg>([&] { read_file(broken); }), "Invalid configuration data");
}

TEST_F(reading_file, lends_a_source_the_name_of_its_file) {
    for (char const* identifier : {"file-source", "monitor-source", "edl-source", "iseq-source"}) {
        std::string const path = write("Evening News.v2.xml", identifier, *tree({{"marker", flag(true)}}));
        static_cast<void>(read_file(path));
        EXPECT_EQ(out, *tree({{"marker", flag(true)}, {"name", text("Evening News.v2")}, {"name-absent", flag(true)}}))
            << identifier;
    }
}

TEST_F(reading_file, decodes_the_name_that_it_lends) {
    write("a b.xml", "file-source", *tree({}));
    static_cast<void>(read_file("file:" + folder.path().string() + "/a%20b.xml"));
    EXPECT_EQ(text_at(out, "name"), "a b");
}

TEST_F(reading_file, takes_what_has_a_meaning_in_urls_for_itself_in_a_path) {
    for (char const* name : {"a#1", "50%", "a%20b", "what?", "a;b&c=d", "$x$"}) {
        std::string const path = write(std::string(name) + ".xml", "edl-source", *tree({}));
        EXPECT_TRUE(recognizes_file(path, plugins)) << name;
        EXPECT_EQ(read_file(path), config_edl_source) << name;
        EXPECT_EQ(text_at(out, "name"), name);
        write_config_file(path, config_edl_source, plugins, constraints, out, configuration::format_xml);
        EXPECT_EQ(folder.read(std::string(name) + ".xml"), stored("edl-source", *tree({})).text()) << name;
        EXPECT_EQ(read_file(folder.write(std::string(name) + ".setting", "")), config_task) << name;
        EXPECT_EQ(text_at(out, "name"), name);
    }
}

TEST_F(reading_file, keeps_the_own_name_of_a_source) {
    for (char const* name : {"Mine", ""}) {
        std::string const path = write("file.xml", "file-source", *tree({{"name", text(name)}}));
        static_cast<void>(read_file(path));
        EXPECT_EQ(out, *tree({{"name", text(name)}}));
    }
}

TEST_F(reading_file, keeps_a_name_of_any_kind) {
    static_cast<void>(read_file(write("file.xml", "file-source", *tree({{"name", kx_test::number(3)}}))));
    EXPECT_EQ(out, *tree({{"name", kx_test::number(3)}}));
}

TEST_F(reading_file, lends_other_documents_nothing) {
    for (char const* identifier : {"task", "workflow", "submission", "filter", "encoder", "packetizer", "exporter"}) {
        static_cast<void>(read_file(write("file.xml", identifier, *tree({{"marker", flag(true)}}))));
        EXPECT_EQ(out, *tree({{"marker", flag(true)}})) << identifier;
    }
}

constexpr char const* preset = "name = HD 1080\n[video]\nbitrate-kbps = 8000\nsomething = else\n";

TEST_F(reading_file, makes_an_encoder_task_of_a_preset) {
    std::string const path = folder.write("hd.setting", preset);
    EXPECT_TRUE(recognizes_file(path, plugins));
    EXPECT_EQ(read_file(path), config_task);
    auto const settings = kxcore::taskutil::create_configuration_from_setting("hd", preset, true);
    EXPECT_EQ(out, *tree({{"plugin-id", text("task/regular/ogencoder/1.0")},
                          {"configuration", settings},
                          {"name", settings->get_property("name")}}));
    EXPECT_EQ(format, configuration::format_xml);
}

TEST_F(reading_file, makes_a_task_of_any_preset_content) {
    for (std::string const& content :
         {std::string(), std::string("<?xml version=\"1.0\"?><x/>"), std::string("\x01\xff\0z", 4),
          std::string(stored("workflow", *tree({{"name", text("x")}})).text())}) {
        EXPECT_EQ(read_file(folder.write("odd one.setting", content)), config_task);
        EXPECT_EQ(text_at(out, "plugin-id"), "task/regular/ogencoder/1.0");
        EXPECT_FALSE(text_at(out, "name").empty());
    }
}

TEST_F(reading_file, names_a_preset_by_its_file) {
    static_cast<void>(read_file(folder.write("odd one.setting", "")));
    EXPECT_EQ(text_at(out, "name"), "odd one");
    EXPECT_FALSE(out.is_present("name-absent"));
}

TEST_F(reading_file, knows_presets_by_the_exact_suffix) {
    for (char const* name : {"a.Setting", "a.SETTING", "a.settings", "setting", "a.setting.txt"}) {
        std::string const path = folder.write(name, preset);
        EXPECT_FALSE(recognizes_file(path, plugins)) << name;
        EXPECT_EQ(read_file(path), config_unknown) << name;
    }
    EXPECT_TRUE(recognizes_file("file:/nowhere/a.setting", plugins)); // not looked into
}

TEST_F(reading_file, refuses_a_preset_without_the_task_constraint) {
    constraints.remove_constraint("node.user-task");
    out = before;
    std::string const path = folder.write("hd.setting", preset);
    EXPECT_EQ(message_of<es::unsupp>([&] { read_file(path); }), "user-task constraint missing");
    EXPECT_THROW(static_cast<void>(read_file(folder.file("missing.setting"))), es::call) << "the file is read first";
    EXPECT_EQ(out, before);
    try {
        static_cast<void>(read_file(path));
        FAIL() << "nothing raised";
    } catch (es::unsupp const& error) {
        EXPECT_STREQ(error.file(), kx_test::config_path);
    }
}

TEST_F(reading_file, holds_a_preset_to_the_task_constraint) {
    auto const database = kxbase::make_refcount<kxcore::constraint_db>(false);
    database->add_constraint("enabled", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    constraints.add_constraint("node.user-task", database, true);
    out = before;
    EXPECT_TRUE(message_of<es::arg>([&] {
                    read_file(folder.write("hd.setting", preset));
                }).starts_with("Invalid configuration ('"));
    EXPECT_EQ(out, before);
}

TEST_F(reading_file, writes_a_source_back_without_the_lent_name) {
    std::string const path = write("News.xml", "iseq-source", *tree({{"marker", flag(true)}}));
    auto const bytes = folder.read("News.xml");
    EXPECT_EQ(read_file(path), config_iseq_source);
    EXPECT_EQ(text_at(out, "name"), "News");
    write_config_file(path, config_iseq_source, plugins, constraints, out, configuration::format_xml);
    EXPECT_EQ(folder.read("News.xml"), bytes);
}

// Reading to edit.

struct reading_to_edit : reading_file {
    e_config_type edit(kxbase::buffer const& data) {
        return read_config_to_edit(data, plugins, constraints, out, &format);
    }
    e_config_type edit_file(std::string const& path) {
        return read_config_file_to_edit(path, plugins, constraints, out, &format);
    }
};

TEST_F(reading_to_edit, leaves_urls_as_they_are) {
    for (char const* url : {"$USERHOMEPATH$/in/", "file:$PRODLONG$//a/../b", "file:/$UNKNOWN$/x", "kxrc:/a//b?c#!d",
                            "ftp://host/$TMPPATH$/", "", "plain"}) {
        auto const document =
            tree({{"manager-configuration", tree({{"url", text(url)}, {"deep", tree({{"my-url", text(url)}})}})},
                  {"name", text("in")}});
        for (auto const stored_format : {configuration::format_xml, configuration::format_binary}) {
            auto const bytes = stored("monitor-source", *document, 7, stored_format);
            EXPECT_EQ(edit(bytes), config_monitor_source);
            EXPECT_EQ(out, *document) << url;
            EXPECT_EQ(format, stored_format);
            kxbase::buffer written;
            write_config(config_monitor_source, constraints, out, written, format);
            EXPECT_EQ(written, bytes) << url;
        }
    }
}

TEST_F(reading_to_edit, unwraps_credentials) {
    using kxcore::property_special;
    auto const wrapped =
        tree({{"configuration", tree({{"a-url", property_special::create_wrapped_urlupp("ftp://u:p@host/$TMPPATH$//x")},
                                      {"password", property_special::create_wrapped_encrypted("secret")}})}});
    EXPECT_EQ(edit(stored("task", *wrapped)), config_task);
    EXPECT_EQ(out, *tree({{"configuration",
                           tree({{"a-url", text("ftp://u:p@host/$TMPPATH$//x")}, {"password", text("secret")}})}}));
}

TEST_F(reading_to_edit, upgrades_an_old_document_with_its_placeholders) {
    auto const old = tree({{"name", text("Files")}, {"files", kx_test::list({tree({{"url", text("$TMPPATH$//a")}})})}});
    EXPECT_EQ(edit_file(write("old.xml", "file-source", *old, 1)), config_file_source);
    EXPECT_EQ(text_at(out, "files[0]{url}"), "$TMPPATH$//a");
    static_cast<void>(read_file(folder.file("old.xml")));
    EXPECT_EQ(text_at(out, "files[0]{url}"), resolve_path("$TMPPATH$") + "/a");
}

TEST_F(reading_to_edit, lends_a_source_no_name) {
    auto const document = tree({{"marker", flag(true)}});
    EXPECT_EQ(edit_file(write("News.xml", "iseq-source", *document)), config_iseq_source);
    EXPECT_EQ(out, *document);
}

TEST_F(reading_to_edit, takes_presets_and_refuses_what_reading_does) {
    EXPECT_EQ(edit_file(folder.write("hd.setting", preset)), config_task);
    EXPECT_EQ(text_at(out, "plugin-id"), "task/regular/ogencoder/1.0");
    out = before;
    EXPECT_EQ(edit_file(folder.write("clip.mov", "no document at all")), config_unknown);
    EXPECT_THROW(static_cast<void>(edit_file(folder.file("missing.xml"))), es::call);
    std::string const foreign = write("plugin.xml", "plugin", *tree({}));
    EXPECT_EQ(message_of<es::arg>([&] { edit_file(foreign); }), message_of<es::arg>([&] { read_file(foreign); }));
    EXPECT_EQ(out, before);
}

} // namespace

} // namespace kxclientutil
