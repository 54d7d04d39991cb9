#include "kxclientutil/support/config_fixture.h"
#include "kxclientutil/support/trees.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_string.h>

namespace kxclientutil {

namespace {

using kx_test::flag;
using kx_test::list;
using kx_test::message_of;
using kx_test::number;
using kx_test::stored_type;
using kx_test::stored_types;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::tree_handle;
using kxcore::configuration;
using kxcore::properties;
using kxcore::property_special;

namespace es = kxbase::es;

class reading_old : public kx_test::config_fixture {
protected:
    properties const before = *tree({{"from", text("an earlier read")}});
};

constexpr char const* encoder_id = "wtid:task/regular/ogencoder/1.0#a";

/// A type, a document of version 1 and what has become of it at version 7, all of it written down by hand.
struct upgraded_document {
    char const* identifier;
    tree_handle old;
    tree_handle now;
};

std::vector<upgraded_document> upgraded_documents() {
    auto const old_task = tree({{"id", text(encoder_id)}, {"configuration", tree({{"name", text("720p")}})}});
    auto const new_task = tree({{"id", text(encoder_id)},
                                {"plugin-id", text("task/regular/ogencoder/1.0")},
                                {"name", text("720p")},
                                {"configuration", tree({})}});
    auto const old_workflow = tree({{"name", text("News")}, {"tasks", list({old_task})}});
    auto const new_workflow = tree({{"tasks", list({new_task})}, {"workflow-meta", tree({{"connections", list({})}})}});
    auto const old_manager = tree({{"url", text("file:/in")},
                                   {"pickup-present", flag(true)},
                                   {"rules", list({tree({{"include", text(".*")}})})}});
    auto const new_manager = tree({{"url", text("file:/in")},
                                   {"pickup-present", flag(true)},
                                   {"filter", tree({{"include-regexp", text(".*")}})},
                                   {"pairing", text("global")},
                                   {"dep-files", tree({{"audio", flag(false)}, {"cc", flag(false)}})}});
    auto const edit = tree({{"name", text("Edit")}, {"int-meta", tree({{"a", number(1)}})}});
    return {
        {"task", old_task, new_task},
        {"workflow", old_workflow, new_workflow},
        {"submission", tree({{"int-meta", number(1)}, {"workflow", old_workflow}}), tree({{"workflow", new_workflow}})},
        {"file-source",
         tree({{"name", text("Files")}, {"files", list({tree({{"url", text("file:/a.mov")}, {"size", number(5)}})})}}),
         tree({{"name", text("Files")}, {"files", list({tree({{"url", text("file:/a.mov")}})})}})},
        {"monitor-source", tree({{"manager-configuration", old_manager}}),
         tree({{"name", text("Untitled")}, {"manager-configuration", new_manager}})},
        {"edl-source", edit, edit},
        {"iseq-source", edit, edit},
    };
}

TEST_F(reading_old, upgrades_every_type_that_has_an_upgrade_in_both_formats) {
    for (upgraded_document const& row : upgraded_documents())
        for (auto const stored_format : {configuration::format_xml, configuration::format_binary})
            for (unsigned int const version : {0U, 1U}) {
                out = before;
                auto const type = read(stored(row.identifier, *row.old, version, stored_format));
                EXPECT_STREQ(type_c_str(type), row.identifier);
                EXPECT_EQ(out, *row.now) << row.identifier;
                EXPECT_EQ(format, stored_format);
            }
}

TEST_F(reading_old, leaves_out_the_steps_that_a_later_version_has_behind_it) {
    auto const task = tree(
        {{"id", text(encoder_id)}, {"configuration", tree({{"name", text("720p")}, {"text", text("$encoder-id$")}})}});
    read(stored("task", *task, 3));
    EXPECT_EQ(out, *tree({{"id", text(encoder_id)},
                          {"configuration", tree({{"name", text("720p")}, {"text", text("$encoder.name$")}})}}));
    read(stored("task", *task, 4));
    EXPECT_EQ(out, *task);
}

TEST_F(reading_old, takes_the_name_that_a_source_had_none_of_from_its_file) {
    auto const path = folder.file("Evening news.xml");
    folder.write("Evening news.xml", stored("file-source", *tree({{"files", list({})}}), 1).text());
    EXPECT_EQ(read_file(path), config_file_source);
    EXPECT_EQ(out, *tree({{"files", list({})}, {"name", text("Evening news")}, {"name-absent", flag(true)}}));
}

TEST_F(reading_old, normalizes_urls_of_what_was_upgraded) {
    auto const manager = tree({{"url", text("kxrc:/in")},
                               {"pickup-present", flag(false)},
                               {"rules", list({tree({{"include", text("a")}})})}});
    read(stored("monitor-source", *tree({{"manager-configuration", manager}}), 6));
    EXPECT_EQ(text_at(out, "manager-configuration{url}"), "file:/in");

    auto const task = tree({{"id", text(encoder_id)},
                            {"name", text("x")},
                            {"configuration", tree({{"dest-dir-url", text("kxrc:/#!create-dir")}})}});
    read(stored("task", *task, 1));
    EXPECT_EQ(text_at(out, "configuration{dest-dir-url}"), "file:/");
}

TEST_F(reading_old, unwraps_credentials_before_it_upgrades) {
    auto const source =
        tree({{"name", text("x")},
              {"files", list({tree({{"url", property_special::create_wrapped_urlupp("ftp://u:p@host/a.mov")}})})}});
    read(stored("file-source", *source, 1));
    EXPECT_EQ(text_at(out, "files[0]{url}"), "ftp://u:p@host/a.mov");

    auto const upload =
        tree({{"id", text("wtid:task/regular/upload/1.0#a")},
              {"name", text("x")},
              {"configuration", tree({{"dest-dir-url", property_special::create_wrapped_encrypted("kxvar:/#any")}})}});
    read(stored("task", *upload, 1));
    EXPECT_EQ(text_at(out, "configuration{dest-dir-url}"), "kxvar:/?url.parent_directory_url#workflow.spawn-value");
}

TEST_F(reading_old, refuses_a_media_component_with_the_stored_document_in_out) {
    for (char const* identifier : {"filter", "encoder", "packetizer", "exporter"})
        for (unsigned int const version : {0U, 1U, 6U}) {
            out = before;
            auto const document = tree({{"name", text(identifier)}});
            EXPECT_EQ(message_of<es::arg>([&] { read(stored(identifier, *document, version)); }), "Not implemented");
            EXPECT_EQ(out, *document) << identifier;
        }
}

TEST_F(reading_old, refuses_a_media_component_before_it_looks_for_the_constraint) {
    constraints.remove_constraint("media.component-description");
    EXPECT_EQ(message_of<es::arg>([&] { read(stored("filter", *tree({{"name", text("x")}}), 6)); }), "Not implemented");
}

TEST_F(reading_old, upgrades_before_it_looks_for_the_constraint) {
    for (stored_type const& row : stored_types)
        constraints.remove_constraint(row.constraint);
    for (upgraded_document const& row : upgraded_documents()) {
        EXPECT_EQ(message_of<es::arg>([&] { read(stored(row.identifier, *row.old, 1)); }),
                  "failed to find constraint for ('" + std::string(row.identifier) + "')");
        EXPECT_EQ(out, *row.old) << row.identifier;
    }
    // What cannot be upgraded is told of that, and not of the constraint.
    EXPECT_EQ(message_of<es::arg>([&] {
                  read(stored("workflow", *tree({{"name", text("x")}}), 2));
              }),
              "member 'tasks' is missing; expected kind list");
}

TEST_F(reading_old, unwraps_a_credential_before_anything_else_fails) {
    auto const broken = property_special::create_from_parts(property_special::e_type::wrapped_encrypted,
                                                            property_special::e_sub_type::credential,
                                                            kxcore::property_kind::string, "kxt1:AAAA");
    for (char const* identifier : {"filter", "workflow"}) {
        out = before;
        std::string const message = message_of<es::arg>([&] {
            read(stored(identifier, *tree({{"password", broken}}), 1));
        });
        EXPECT_NE(message.find("password"), std::string::npos) << message;
        EXPECT_EQ(message.find("AAAA"), std::string::npos) << message;
        EXPECT_EQ(out, before);
    }
}

TEST_F(reading_old, leaves_the_stored_document_unwrapped_when_it_cannot_be_upgraded) {
    auto const document =
        tree({{"password", property_special::create_wrapped_encrypted("secret")}, {"later", kx_test::deferred()}});
    auto const unwrapped = tree({{"password", text("secret")}, {"later", kx_test::deferred()}});
    for (char const* identifier : {"exporter", "task", "workflow", "submission", "file-source", "monitor-source"}) {
        out = before;
        EXPECT_NE(message_of<es::arg>([&] { read(stored(identifier, *document, 1)); }), "(nothing raised)");
        EXPECT_EQ(out, *unwrapped) << identifier;
    }
}

TEST_F(reading_old, leaves_the_stored_document_when_the_upgraded_one_does_not_fit) {
    auto const closed = kxbase::make_refcount<kxcore::constraint_db>(true);
    closed->add_constraint("name", kxbase::make_refcount<kxcore::constraint_string>(), true);
    constraints.add_constraint("node.user-task", closed, true);
    auto const document = tree({{"id", text(encoder_id)}, {"configuration", tree({{"name", text("720p")}})}});
    out = before;
    EXPECT_NE(message_of<es::arg>([&] { read(stored("task", *document, 1)); }).find("Invalid configuration ('"),
              std::string::npos);
    EXPECT_EQ(out, *document);
}

TEST_F(reading_old, judges_the_upgraded_document_and_not_the_stored_one) {
    auto const closed = kxbase::make_refcount<kxcore::constraint_db>(true);
    for (char const* key : {"name", "id", "plugin-id"})
        closed->add_constraint(key, kxbase::make_refcount<kxcore::constraint_string>(), true);
    closed->add_constraint("configuration", kxbase::make_refcount<kxcore::constraint_db>(true), true);
    constraints.add_constraint("node.user-task", closed, true);
    read(stored("task", *tree({{"id", text(encoder_id)}, {"configuration", tree({{"name", text("720p")}})}}), 1));
    EXPECT_EQ(text_at(out, "name"), "720p");
}

TEST_F(reading_old, is_written_and_read_back_equal) {
    for (upgraded_document const& row : upgraded_documents()) {
        auto const type = read(stored(row.identifier, *row.old, 1));
        kxbase::buffer bytes;
        write_config(type, constraints, out, bytes, configuration::format_binary);
        properties const once = out;
        EXPECT_EQ(read(bytes), type);
        EXPECT_EQ(out, once) << row.identifier;
    }
}

} // namespace

} // namespace kxclientutil
