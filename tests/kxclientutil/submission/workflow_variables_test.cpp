#include "kxclientutil/support/submission_fixture.h"

#include <kxclientutil/config.h>

#include <regex>
#include <set>

namespace kxclientutil {

namespace {

using kx_test::captured_report;
using kx_test::context;
using kx_test::encoder_plid;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::wtid;
using kxcore::properties;
using kxcore::property_handle;

class workflow_variables : public kx_test::submission_fixture {
protected:
    /// What becomes of a value in a task's configuration.
    property_handle resolved(property_handle const& value) {
        submission = *tree({{"name", text("Submission")}});
        use_tasks({task_of(mail_plid, "mail", tree({{"subject", value}}))});
        finalize();
        return configuration(wtid(mail_plid, "mail")).get_property("subject");
    }

    /// The value stays and this is all that is said.
    void expect_left(char const* value, std::string const& message) {
        captured_report const log;
        EXPECT_EQ(*resolved(text(value)), *text(value)) << value;
        ASSERT_EQ(log.messages(), std::vector<std::string>{message}) << value;
        auto const line = log.lines().front();
        EXPECT_EQ(line.category, "ClientProxy");
        EXPECT_EQ(line.kind, 4U);
        EXPECT_EQ(line.severity, 4U);
        EXPECT_EQ(line.file, kx_test::submission_path);
        EXPECT_GT(line.line, 0U);
    }
};

TEST_F(workflow_variables, become_contexts_of_the_job) {
    constexpr std::pair<char const*, char const*> cases[] = {
        {"source.name", "workflow.source-name"},
        {"source.url", "workflow.spawn-value"},
        {"source.path", "workflow.spawn-value?url.native_platform_path"},
        {"source.filename", "workflow.spawn-value?url.path_name"},
        {"source.extension", "workflow.spawn-value?url.path_suffix"},
        {"source.file", "workflow.spawn-value?url.path_file"},
        {"source.parent-dir-name", "workflow.spawn-value?url.path_parent_directory_name"},
        {"source.parent-dir-path", "workflow.spawn-value?url.path_parent_directory"},
        {"source.parent-dir-url", "workflow.spawn-value?url.parent_directory_url"},
        {"source.grandparent-dir-name", "workflow.spawn-value?url.path_grand_parent_directory_name"},
        {"source.grandparent-dir-path", "workflow.spawn-value?url.path_grand_parent_directory"},
        {"workflow.submission-name", "workflow.submission-name"},
        {"workflow.submission-time", "workflow.submission-time"},
        {"workflow.submission-client", "workflow.submission-client"},
        {"workflow.submission-host", "workflow.submission-host"},
        {"workflow.template-id", "workflow.parent-id"},
        {"workflow.id", "workflow.id"},
        {"workflow.spawn-value", "workflow.spawn-value"},
        {"workflow.spawn-time", "workflow.spawn-time"},
        {"workflow.seq-nr", "workflow.seq-nr"},
        {"dynamic.time", "unix-timestring"},
        {"dynamic.hr-time", "hr-time"},
        {"dynamic.year.YY", "year.YY"},
        {"dynamic.year.YYYY", "year.YYYY"},
        {"dynamic.month.name", "month.name"},
        {"dynamic.month.short-name", "month.short-name"},
        {"dynamic.month.MM", "month.MM"},
        {"dynamic.day.name", "day.name"},
        {"dynamic.day.short-name", "day.short-name"},
        {"dynamic.day.DD", "day.DD"},
        {"dynamic.hours.HH", "hours.HH"},
        {"dynamic.minutes.MM", "minutes.MM"},
        {"dynamic.seconds.SS", "seconds.SS"},
        {"dynamic.hostname", "hostname"},
        {"dynamic.node-id", "node-id"},
        {"dynamic.platform", "platform"},
    };
    captured_report const log;
    for (auto const& [name, expected] : cases)
        for (std::string const& form : {std::string(name), "$" + std::string(name) + "$", get_variable(name)})
            EXPECT_EQ(*resolved(text(form)), *context(expected)) << form;
    EXPECT_TRUE(log.lines().empty());
}

// Every variable of the table is accounted for: those above, the three below that become texts, the one that is unknown,
// and those of a chained task.
TEST_F(workflow_variables, are_all_judged) {
    std::set<std::string> contexts;
    for (auto const& [name, uri] : get_variable_map()) {
        captured_report const log;
        auto const value = resolved(text("$" + name + "$"));
        if (name.starts_with("encoder.") || name.starts_with("mbr.") || name.starts_with("deployment.") ||
            name.starts_with("destination.")) {
            EXPECT_EQ(*value, *text("$" + name + "$")) << name;
        } else if (name == "source.type") {
            EXPECT_TRUE(log.has("Unknown variable 'source.type'"));
        } else {
            EXPECT_NE(*value, *text("$" + name + "$")) << name;
        }
    }
}

TEST_F(workflow_variables, give_the_name_of_the_workflow) {
    for (char const* form :
         {"workflow.name", "$workflow.name$", "kxvar:/#workflow.name", "kxvar:/?any.query#workflow.name"})
        EXPECT_EQ(*resolved(text(form)), *text("Workflow")) << form;
}

TEST_F(workflow_variables, give_the_name_that_the_workflow_gets) {
    submission =
        *tree({{"name", text("Submission")},
               {"workflow",
                tree({{"tasks", list({task_of(mail_plid, "mail", tree({{"subject", text("workflow.name")}}))})}})}});
    settings.submission_name = "Override";
    finalize();
    EXPECT_EQ(text_at(configuration(wtid(mail_plid, "mail")), "subject"), "Override");
}

TEST_F(workflow_variables, put_a_query_behind_any_workflow_name) {
    EXPECT_EQ(*resolved(text("kxvar:/?some.accessor#workflow.unheard-of")),
              *context("workflow.unheard-of?some.accessor"));
    EXPECT_EQ(*resolved(text("kxvar:/#workflow.")), *context("workflow."));
    EXPECT_EQ(*resolved(text("kxvar:/#workflow.anything.at.all")), *context("workflow.anything.at.all"));
}

TEST_F(workflow_variables, give_fresh_identifiers) {
    std::regex const upper("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    std::regex const lower("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    struct {
        char const* value;
        std::regex const& form;
    } const cases[] = {
        {"uuid", upper},
        {"$uuid$", upper},
        {"uuid.uppercase", upper},
        {"uuid.lowercase", lower},
        {"kxvar:/#uuid.lowercase", lower},
        {"kxvar:/?query#uuid.lowercase", lower},
        {"kxvar:/#uuid.anything", upper},
        {"kxvar:/#uuidx", upper},
        {"kxvar:/#uuid.lowercase2", upper},
    };
    for (auto const& [value, form] : cases) {
        auto const found = resolved(text(value));
        auto const* const identifier = kxcore::property_cast<kxcore::property_string>(found.get());
        ASSERT_TRUE(identifier) << value;
        EXPECT_TRUE(std::regex_match(std::string(identifier->value()), form)) << value << ": " << identifier->value();
    }
}

TEST_F(workflow_variables, give_each_leaf_its_own_identifier) {
    use_tasks({task_of(mail_plid, "a", tree({{"subject", text("uuid")}, {"message", text("uuid")}})),
               task_of(mail_plid, "b", tree({{"subject", text("uuid")}}))});
    finalize();
    std::set<std::string> const identifiers{text_at(configuration(wtid(mail_plid, "a")), "subject"),
                                            text_at(configuration(wtid(mail_plid, "a")), "message"),
                                            text_at(configuration(wtid(mail_plid, "b")), "subject")};
    EXPECT_EQ(identifiers.size(), 3U);
}

TEST_F(workflow_variables, accept_any_source_name_that_ends_so) {
    EXPECT_EQ(*resolved(text("kxvar:/#source.name")), *context("workflow.source-name"));
    EXPECT_EQ(*resolved(text("kxvar:/?query#source.deep.name")), *context("workflow.source-name"));
}

TEST_F(workflow_variables, report_what_they_do_not_know_and_leave_it) {
    expect_left("kxvar:/#source.type", "Unknown variable 'source.type'");
    expect_left("$source.type$", "Unknown variable 'source.type'"); // recognized, but nothing stands for it
    expect_left("source.type", "Unknown variable 'source.type'");
    expect_left("kxvar:/#source.", "Unknown variable 'source.'");
    expect_left("kxvar:/#source.file-name", "Unknown variable 'source.file-name'");
    expect_left("kxvar:/#dynamic.", "Unknown variable 'dynamic.'");
    expect_left("kxvar:/#dynamic.Time", "Unknown variable 'dynamic.Time'");
    expect_left("kxvar:/#dynamic.year", "Unknown variable 'dynamic.year'");
    expect_left("kxvar:/#dynamic.unix-timestring", "Unknown variable 'dynamic.unix-timestring'");
    expect_left("kxvar:/#Source.name", "Unknown variable 'Source.name'");
    expect_left("kxvar:/#name", "Unknown variable 'name'");
    expect_left("kxvar:/#sourcename", "Unknown variable 'sourcename'");
    expect_left("kxvar:/#workflow", "Unknown variable 'workflow'");
    expect_left("kxvar:/", "Unknown variable ''");
    expect_left("kxvar:/?query", "Unknown variable ''");
    expect_left("kxvar:/#100%25s", "Unknown variable '100%s'");
}

TEST_F(workflow_variables, leave_everything_that_is_no_variable_in_silence) {
    captured_report const log;
    for (char const* value :
         {"", "$", "plain", "$unknown$", "$uuid$-x", "x$uuid$", "uuid ", "UUID", "KXVAR:/#uuid", "kxvars:/#uuid",
          " kxvar:/#uuid", "$source-filename$", "http://host/#uuid", "$source.filename$.mov", "C:/uuid"})
        EXPECT_EQ(*resolved(text(value)), *text(value)) << value;
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(workflow_variables, leave_other_kinds_alone) {
    for (auto const& value : {context("uuid"), kx_test::bytes("uuid"), kx_test::output_reference("uuid"),
                              kx_test::deferred(), kx_test::number(5)})
        EXPECT_EQ(*resolved(value), *value);
}

TEST_F(workflow_variables, are_found_at_any_depth) {
    use_tasks({task_of(encoder_plid, "encoder",
                       tree({{"env", tree({{"NAME", text("$source.name$")}})},
                             {"dest-filename", kx_test::texts({"$source.filename$", "_", "$dynamic.year.YYYY$"})},
                             {"clips", list({tree({{"url", text("kxvar:/#workflow.spawn-value")}})})}}))});
    finalize();
    EXPECT_EQ(configuration(wtid(encoder_plid, "encoder")),
              *tree({{"env", tree({{"NAME", context("workflow.source-name")}})},
                     {"dest-filename",
                      list({context("workflow.spawn-value?url.path_name"), text("_"), context("year.YYYY")})},
                     {"clips", list({tree({{"url", context("workflow.spawn-value")}})})}}));
}

TEST_F(workflow_variables, are_resolved_in_values_given_for_inputs) {
    use_tasks({task_of(mail_plid, "mail", tree({}))});
    settings.in_values["subject"] = text("$source.name$");
    finalize();
    EXPECT_EQ(configuration(wtid(mail_plid, "mail")), *tree({{"subject", context("workflow.source-name")}}));
}

TEST_F(workflow_variables, go_on_after_one_that_is_unknown) {
    use_tasks(
        {task_of(mail_plid, "mail", tree({{"message", text("kxvar:/#nothing")}, {"subject", text("$source.name$")}}))});
    captured_report const log;
    finalize();
    EXPECT_EQ(configuration(wtid(mail_plid, "mail")),
              *tree({{"message", text("kxvar:/#nothing")}, {"subject", context("workflow.source-name")}}));
    EXPECT_EQ(log.messages(), std::vector<std::string>{"Unknown variable 'nothing'"});
}

// No leaf is too deep or too odd for it.
TEST_F(workflow_variables, are_resolved_in_leaves_that_no_path_names) {
    std::string const key(3000, 'k');
    use_tasks({task_of(
        mail_plid, "mail",
        tree({{key.c_str(), tree({{key.c_str(), text("$source.name$")}})}, {"", kx_test::texts({"workflow.id"})}}))});
    finalize();
    EXPECT_EQ(configuration(wtid(mail_plid, "mail")),
              *tree({{key.c_str(), tree({{key.c_str(), context("workflow.source-name")}})},
                     {"", list({context("workflow.id")})}}));
}

TEST_F(workflow_variables, stay_in_the_original) {
    use_tasks({task_of(mail_plid, "mail", tree({{"subject", text("$uuid$")}}))});
    finalize();
    EXPECT_EQ(text_at(*submission_get_unfinalized_submission(submission), "workflow{tasks}[0]{configuration}{subject}"),
              "$uuid$");
}

TEST_F(workflow_variables, feed_a_source_input_for_good) {
    use_tasks({task_of(encoder_plid, "encoder", tree({{"source-url", text("$source.url$")}}))});
    submission_add_files({"file:/a.mov"}, "Files", submission);
    finalize();
    EXPECT_EQ(kx_test::texts_at(submission, "file-source{files}[0]{targets}"), std::vector<std::string>{});
}

} // namespace

} // namespace kxclientutil
