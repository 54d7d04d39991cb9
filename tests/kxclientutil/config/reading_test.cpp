#include "kxclientutil/support/config_fixture.h"
#include "kxclientutil/support/many_threads.h"
#include "kxclientutil/support/trees.h"
#include "support/captured_report.h"

#include <kxclientutil/resolve.h>

#include <kxbase/errors.h>
#include <kxcore/constraint_list.h>
#include <kxcore/constraint_one_of.h>
#include <kxcore/constraint_values.h>

namespace kxclientutil {

namespace {

using kx_test::config_path;
using kx_test::flag;
using kx_test::list;
using kx_test::message_of;
using kx_test::number;
using kx_test::stored_type;
using kx_test::stored_types;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kxcore::configuration;
using kxcore::properties;

namespace es = kxbase::es;

class reading : public kx_test::config_fixture {
protected:
    /// Puts a constraint in the place of the open one: a database with one string member.
    void constrain(char const* name, char const* member, bool required, bool closed = false) {
        auto const database = kxbase::make_refcount<kxcore::constraint_db>(closed);
        database->add_constraint(member, kxbase::make_refcount<kxcore::constraint_bool>(), required);
        constraints.add_constraint(name, database, true);
    }

    properties const before = *tree({{"from", text("an earlier read")}});
};

TEST_F(reading, gives_every_type_of_document_in_both_formats) {
    for (stored_type const& row : stored_types)
        for (auto const stored_format : {configuration::format_xml, configuration::format_binary}) {
            auto const document = tree({{"name", text(row.identifier)}, {"marker", number(5)}});
            format =
                stored_format == configuration::format_xml ? configuration::format_binary : configuration::format_xml;
            EXPECT_EQ(read(stored(row.identifier, *document, 7, stored_format)), row.type) << row.identifier;
            EXPECT_EQ(out, *document) << row.identifier;
            EXPECT_EQ(format, stored_format) << row.identifier;
        }
}

TEST_F(reading, needs_no_place_for_the_format) {
    auto const bytes = stored("task", *tree({{"name", text("x")}}));
    EXPECT_EQ(read_config(bytes, plugins, constraints, out, nullptr), config_task);
    EXPECT_EQ(text_at(out, "name"), "x");
}

TEST_F(reading, replaces_what_out_held) {
    out = before;
    static_cast<void>(read(stored("task", *tree({{"name", text("x")}}))));
    EXPECT_EQ(out, *tree({{"name", text("x")}}));
}

TEST_F(reading, does_not_lend_a_name_to_what_has_none) {
    for (stored_type const& row : stored_types) {
        static_cast<void>(read(stored(row.identifier, *tree({{"marker", flag(true)}}))));
        EXPECT_EQ(out, *tree({{"marker", flag(true)}})) << row.identifier;
    }
}

TEST_F(reading, refuses_a_foreign_identifier_and_keeps_out) {
    out = before;
    for (char const* identifier : {"plugin", "Task", "tasks", "node.user-task"}) {
        auto const bytes = stored(identifier, *tree({{"name", text("x")}}));
        EXPECT_EQ(message_of<es::arg>([&] { read(bytes); }),
                  "Unexpected configuration data, data contains '" + std::string(identifier) + "'");
        EXPECT_EQ(out, before);
    }
}

TEST_F(reading, refuses_what_is_no_document_and_keeps_out) {
    out = before;
    for (char const* bytes : {"", "plain text", "<html></html>", "[section]\nkey = value\n"}) {
        EXPECT_EQ(message_of<es::arg>([&] { read(kxbase::buffer(std::string_view(bytes))); }),
                  "Unknown configuration data")
            << bytes;
        EXPECT_EQ(out, before);
    }
}

TEST_F(reading, refuses_a_malformed_document_and_keeps_out) {
    out = before;
    kx_test::captured_report const log;
    std::string const whole(stored("task", *tree({{"name", text("x")}})).text());
    EXPECT_EQ(message_of<es::arg>([&] { read(kxbase::buffer(std::string_view(whole).substr(0, whole.size() - 5))); }),
              "Invalid configuration data");
    EXPECT_EQ(out, before);
    EXPECT_FALSE(log.messages().empty()); // what is broken, and where
}

TEST_F(reading, refuses_a_newer_version_as_malformed) {
    out = before;
    kx_test::captured_report const log;
    EXPECT_EQ(message_of<es::arg>([&] {
                  read(stored("task", *tree({{"name", text("x")}}), 8));
              }),
              "Invalid configuration data");
    EXPECT_EQ(out, before);
    EXPECT_TRUE(log.has("8"));
}

TEST_F(reading, misses_the_constraint_of_each_type_alone) {
    for (stored_type const& row : stored_types) {
        auto const bytes = stored(row.identifier, *tree({{"name", text("x")}}));
        auto const kept = constraints.get_constraint(row.constraint);
        constraints.remove_constraint(row.constraint);
        out = before;
        EXPECT_EQ(message_of<es::arg>([&] { read(bytes); }),
                  "failed to find constraint for ('" + std::string(row.identifier) + "')");
        EXPECT_EQ(out, before);
        for (stored_type const& other : stored_types)
            if (std::string_view(other.constraint) != row.constraint) {
                EXPECT_EQ(read(stored(other.identifier, *tree({{"name", text("x")}}))), other.type);
            }
        constraints.add_constraint(row.constraint, kept, true);
    }
}

TEST_F(reading, takes_a_constraint_that_is_no_database_for_none) {
    constraints.add_constraint("node.workflow", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    EXPECT_EQ(message_of<es::arg>([&] {
                  read(stored("workflow", *tree({{"name", text("x")}})));
              }),
              "failed to find constraint for ('workflow')");
}

TEST_F(reading, refuses_a_document_that_does_not_fit_with_the_reason) {
    constrain("node.user-task", "enabled", false);
    auto const document = tree({{"enabled", text("yes")}});
    std::string reason;
    static_cast<kxcore::constraint_db const&>(*constraints.get_constraint("node.user-task"))
        .get_invalid_reason(*document, reason, 30);
    ASSERT_FALSE(reason.empty());
    out = before;
    EXPECT_EQ(message_of<es::arg>([&] { read(stored("task", *document)); }),
              "Invalid configuration ('" + reason + "')");
    EXPECT_EQ(out, before);
}

TEST_F(reading, refuses_a_document_that_lacks_a_value_with_the_reason) {
    constrain("node.workflow", "enabled", true);
    auto const document = tree({{"name", text("x")}});
    std::string reason;
    static_cast<kxcore::constraint_db const&>(*constraints.get_constraint("node.workflow"))
        .get_constraints_not_satisfied_reason(*document, reason, 30);
    ASSERT_FALSE(reason.empty());
    out = before;
    EXPECT_EQ(message_of<es::arg>([&] { read(stored("workflow", *document)); }),
              "Invalid configuration ('" + reason + "')");
    EXPECT_EQ(out, before);
}

TEST_F(reading, says_first_what_does_not_fit_and_then_what_is_missing) {
    auto const database = kxbase::make_refcount<kxcore::constraint_db>(false);
    database->add_constraint("a-missing", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    database->add_constraint("enabled", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    constraints.add_constraint("node.user-task", database, true);
    auto const document = tree({{"enabled", text("yes")}});
    std::string reason;
    database->get_invalid_reason(*document, reason, 30);
    EXPECT_EQ(message_of<es::arg>([&] { read(stored("task", *document)); }),
              "Invalid configuration ('" + reason + "')");
}

// The reason is asked for with the flags that the document was judged with.
TEST_F(reading, does_not_give_a_special_value_as_the_reason) {
    auto const database = kxbase::make_refcount<kxcore::constraint_db>(false);
    database->add_constraint("a-later", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    database->add_constraint("enabled", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    constraints.add_constraint("node.user-task", database, true);
    auto const document = tree({{"a-later", kx_test::deferred()}, {"enabled", text("yes")}});
    std::string reason;
    database->get_invalid_reason(*document, reason, 30);
    EXPECT_NE(reason.find("enabled"), std::string::npos) << reason;
    EXPECT_EQ(message_of<es::arg>([&] { read(stored("task", *document)); }),
              "Invalid configuration ('" + reason + "')");
}

// What is missing inside one of several alternatives is found only where the alternative accepts the special beside it.
TEST_F(reading, misses_a_value_beside_a_special_one) {
    auto const element = kxbase::make_refcount<kxcore::constraint_db>(false);
    element->add_constraint("enabled", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    std::vector<kxbase::ptr_refcount<kxcore::constraint const>> const alternatives{
        kxbase::make_refcount<kxcore::constraint_list>(element), kxbase::make_refcount<kxcore::constraint_bool>()};
    auto const database = kxbase::make_refcount<kxcore::constraint_db>(false);
    database->add_constraint("parts", kxbase::make_refcount<kxcore::constraint_one_of>(alternatives), true);
    constraints.add_constraint("node.user-task", database, true);
    auto const document = tree({{"parts", list({tree({}), kx_test::deferred()})}});
    std::string reason;
    database->get_constraints_not_satisfied_reason(*document, reason, 30);
    EXPECT_NE(reason.find("parts[0]{enabled}"), std::string::npos) << reason;
    EXPECT_EQ(message_of<es::arg>([&] { read(stored("task", *document)); }),
              "Invalid configuration ('" + reason + "')");
}

TEST_F(reading, refuses_an_unknown_member_where_the_constraint_is_closed) {
    constrain("node.user-task", "enabled", false, true);
    EXPECT_EQ(read(stored("task", *tree({{"enabled", flag(true)}}))), config_task);
    EXPECT_TRUE(message_of<es::arg>([&] {
                    read(stored("task", *tree({{"enabled", flag(true)}, {"other", text("x")}})));
                }).starts_with("Invalid configuration ('"));
}

// The flags accept every special value in the place of whatever the constraint asks for.
TEST_F(reading, accepts_every_special_value_anywhere) {
    constrain("node.user-task", "enabled", true);
    for (auto const& special : {kx_test::deferred(), kx_test::context("job"), kx_test::output_reference("dest-url"),
                                kxcore::property_handle(kxcore::property_special::create_wrapped_encrypted("secret"))})
        EXPECT_EQ(read(stored("task", *tree({{"enabled", special}}))), config_task);
}

TEST_F(reading, raises_with_the_source_path_of_the_family) {
    try {
        static_cast<void>(read(kxbase::buffer(std::string_view("no document"))));
        FAIL() << "nothing raised";
    } catch (es::arg const& error) {
        EXPECT_STREQ(error.file(), config_path);
        EXPECT_GT(error.line(), 0U);
    }
}

TEST_F(reading, unwraps_credentials_and_nothing_else) {
    auto const wrapped = tree({
        {"login-password", kxcore::property_special::create_wrapped_encrypted("secret")},
        {"configuration", tree({{"dest-dir-url", kxcore::property_special::create_wrapped_urlupp("ftp://u:p@host/in/")},
                                {"source-url", kx_test::output_reference("dest-url")},
                                {"name", kx_test::context("workflow.source-name")},
                                {"later", kx_test::deferred()}})},
    });
    EXPECT_EQ(read(stored("task", *wrapped)), config_task);
    EXPECT_EQ(out, *tree({
                       {"login-password", text("secret")},
                       {"configuration", tree({{"dest-dir-url", text("ftp://u:p@host/in/")},
                                               {"source-url", kx_test::output_reference("dest-url")},
                                               {"name", kx_test::context("workflow.source-name")},
                                               {"later", kx_test::deferred()}})},
                   }));
}

TEST_F(reading, keeps_out_when_a_credential_cannot_be_unwrapped) {
    auto const bytes =
        stored("task", *tree({{"password", kxcore::property_special::create_wrapped_encrypted("secret")}}));
    kxcore::process_context::instance().set_key_file(folder.file("another.key"));
    out = before;
    std::string const message = message_of<es::arg>([&] { read(bytes); });
    EXPECT_NE(message.find("password"), std::string::npos) << message;
    EXPECT_EQ(message.find("secret"), std::string::npos) << message;
    EXPECT_EQ(out, before);
}

TEST_F(reading, normalizes_urls_by_their_path) {
    std::string const product = resolve_path("$PRODLONG$");
    struct {
        char const* stored_value;
        std::string expected;
    } const cases[] = {
        {"kxrc:/media//in/a.mov", "file:/media/in/a.mov"},
        {"kxrc:/media/a%20b.mov?query#node", "file:/media/a%20b.mov"},
        {"kxrc://server/share/a.mov", "file:/share/a.mov"},
        {"kxrc:/$PRODLONG$/a.mov", "file:/" + product + "/a.mov"},
        {"kxrc:/#!create-dir", "file:/"},
        {"file:/$PRODLONG$//a.mov", "file:/" + product + "/a.mov"},
        {"ftp://u:p@host/$PRODLONG$/a.mov#x", "ftp://u:p@host/" + product + "/a.mov#x"},
        {"http://host/x/../y", "http://host/y"},
        {"kxrc+iseq:/a//b", "kxrc+iseq:/a/b"},
        {"kxvar:/#uuid", "kxvar:/#uuid"},
        {"$PRODLONG$//x", product + "/x"},
        {"", ""},
    };
    for (auto const& [stored_value, expected] : cases) {
        static_cast<void>(
            read(stored("task", *tree({{"configuration", tree({{"dest-dir-url", text(stored_value)}})}}))));
        EXPECT_EQ(text_at(out, "configuration{dest-dir-url}"), expected) << stored_value;
    }
}

TEST_F(reading, normalizes_wherever_the_path_contains_it) {
    auto const value = text("kxrc:/a//b");
    auto const document = tree({
        {"source-url", value},                                      // no "url}" in the path
        {"ext-meta", tree({{"name", value}, {"url-name", value}})}, // neither
        {"configuration", tree({{"source-url", value},              //
                                {"my-curl", value},                 // ends so too
                                {"SOURCE-URL", value},              // case matters
                                {"url", tree({{"deep", value}})},   // deeper than the key that ends so
                                {"urls", list({value, tree({{"url", value}})})},
                                {"some-url", list({value})}})},
        {"files", list({tree({{"url", value}, {"name", value}})})},
    });
    static_cast<void>(read(stored("submission", *document)));
    auto const file = text("file:/a/b");
    EXPECT_EQ(out, *tree({
                       {"source-url", value},
                       {"ext-meta", tree({{"name", value}, {"url-name", value}})},
                       {"configuration", tree({{"source-url", file},
                                               {"my-curl", file},
                                               {"SOURCE-URL", value},
                                               {"url", tree({{"deep", file}})},
                                               {"urls", list({value, tree({{"url", file}})})},
                                               {"some-url", list({file})}})},
                       {"files", list({tree({{"url", file}, {"name", value}})})},
                   }));
}

TEST_F(reading, normalizes_a_url_that_was_wrapped) {
    auto const wrapped = kxcore::property_special::create_wrapped_urlupp("ftp://u:p@host/$PRODLONG$//a.mov");
    static_cast<void>(read(stored("task", *tree({{"configuration", tree({{"source-url", wrapped}})}}))));
    EXPECT_EQ(text_at(out, "configuration{source-url}"), "ftp://u:p@host/" + resolve_path("$PRODLONG$") + "/a.mov");
}

TEST_F(reading, leaves_other_kinds_under_a_url_path_alone) {
    auto const document = tree({{"configuration", tree({{"a-url", flag(true)},
                                                        {"b-url", number(7)},
                                                        {"c-url", kx_test::bytes("kxrc:/x")},
                                                        {"d-url", kx_test::deferred()},
                                                        {"e-url", tree({})},
                                                        {"f-url", list({})}})}});
    static_cast<void>(read(stored("task", *document)));
    EXPECT_EQ(out, *document);
}

// A path longer than any reference can name is walked all the same.
TEST_F(reading, normalizes_leaves_whose_path_is_too_long_to_be_named) {
    std::string const key(3000, 'k');
    auto const document = tree({{key.c_str(), tree({{key.c_str(), tree({{"source-url", text("kxrc:/a//b")}})}})}});
    static_cast<void>(read(stored("task", *document)));
    EXPECT_EQ(out, *tree({{key.c_str(), tree({{key.c_str(), tree({{"source-url", text("file:/a/b")}})}})}}));
}

TEST_F(reading, goes_on_in_many_threads_at_once) {
    auto const document = tree({{"configuration", tree({{"source-url", text("kxrc:/$PRODLONG$//b")}})},
                                {"password", kxcore::property_special::create_wrapped_encrypted("secret")}});
    auto const bytes = stored("task", *document);
    auto const expected =
        tree({{"configuration", tree({{"source-url", text("file:/Vostrel/b")}})}, {"password", text("secret")}});
    kx_test::run_in_threads([&] {
        properties own(false);
        EXPECT_EQ(read_config(bytes, plugins, constraints, own, nullptr), config_task);
        EXPECT_EQ(own, *expected);
    });
}

TEST_F(reading, gives_equal_documents_for_equal_bytes) {
    auto const bytes = stored("workflow", *tree({{"name", text("x")}, {"tasks", list({})}}));
    static_cast<void>(read(bytes));
    properties const first = out;
    static_cast<void>(read(bytes));
    EXPECT_EQ(out, first);
}

} // namespace

} // namespace kxclientutil
