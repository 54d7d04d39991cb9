#include "kxclientutil/support/submission_fixture.h"

#include <kxbase/errors.h>

namespace kxclientutil {

namespace {

using kx_test::captured_report;
using kx_test::encoder_plid;
using kx_test::flag;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::message_of;
using kx_test::number;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using kxcore::properties;

namespace es = kxbase::es;

class workflow_finalization : public kx_test::submission_fixture {
protected:
    std::string const mail = wtid(mail_plid, "mail");
    std::string const encoder = wtid(encoder_plid, "encoder");
};

TEST_F(workflow_finalization, demands_the_node_alone) {
    use_tasks({task_of(mail_plid, "mail", tree({}))});
    settings.node_id = "node-1";
    finalize();
    EXPECT_EQ(text_at(workflow(), "capabilities{node-id}"), "node-1");
    auto const* const requirements =
        kxcore::property_cast<kxcore::property_constraint>(kx_test::task_in(workflow(), mail).find("requirements"));
    ASSERT_TRUE(requirements);
    auto const& database = dynamic_cast<kxcore::constraint_db const&>(*requirements->value());
    EXPECT_TRUE(database.get_constraint("node-id")); // the capability was known when the requirements were derived
    EXPECT_TRUE(database.get_constraint("plugins"));
}

TEST_F(workflow_finalization, demands_no_node_without_one) {
    use_tasks({});
    finalize();
    EXPECT_FALSE(workflow().find_referenced("capabilities{node-id}"));
}

TEST_F(workflow_finalization, configures_shared_storage_always) {
    for (bool const guess : {true, false}) {
        submission = *tree({});
        use_tasks({});
        settings.guess_shared_storage = guess;
        finalize();
        EXPECT_EQ(*workflow().find_referenced("configuration{guess-shared-storage}"), *flag(guess));
    }
}

TEST_F(workflow_finalization, configures_a_priority_that_was_given) {
    use_tasks({});
    finalize();
    EXPECT_FALSE(workflow().find_referenced("configuration{priority}"));
    settings.set_priority(0);
    finalize();
    EXPECT_EQ(*workflow().find_referenced("configuration{priority}"), *number(0));
    settings.set_priority(-7);
    finalize();
    EXPECT_EQ(*workflow().find_referenced("configuration{priority}"), *number(-7));
}

TEST_F(workflow_finalization, keeps_other_configuration_and_meta_data) {
    submission["workflow"] = tree({{"tasks", list({})},
                                   {"configuration", tree({{"mine", text("x")}})},
                                   {"workflow-meta", tree({{"parent-id", text("p")}})},
                                   {"unheard-of", text("kept")}});
    finalize();
    EXPECT_EQ(text_at(workflow(), "configuration{mine}"), "x");
    EXPECT_EQ(text_at(workflow(), "workflow-meta{parent-id}"), "p");
    EXPECT_EQ(text_at(workflow(), "unheard-of"), "kept");
}

TEST_F(workflow_finalization, is_of_the_ordinary_type) {
    for (auto const& tasks : {std::vector<kxcore::property_handle>{},
                              std::vector<kxcore::property_handle>{task_of(mail_plid, "mail", tree({}))}}) {
        submission = *tree({{"workflow", tree({{"type", number(2)}, {"tasks", list(tasks)}})}});
        finalize();
        auto const* const type = workflow().find("type");
        EXPECT_TRUE(!type || *type == *number(0));
    }
}

TEST_F(workflow_finalization, offers_values_to_all_tasks_that_accept_them) {
    use_tasks({task_of(mail_plid, "mail", tree({})), task_of(encoder_plid, "encoder", tree({{"bitrate", number(1)}}))});
    settings.in_values = {{"subject", text("Done")}, {"bitrate", number(2)}, {"nobody-has-it", text("x")}};
    captured_report const log;
    finalize();
    EXPECT_EQ(configuration(mail), *tree({{"subject", text("Done")}}));
    EXPECT_EQ(configuration(encoder), *tree({{"bitrate", number(2)}}));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(workflow_finalization, sets_values_by_path) {
    use_tasks({task_of(encoder_plid, "encoder",
                       tree({{"env", tree({{"A", text("1")}})}, {"parts", kx_test::texts({"x", "y"})}}))});
    settings.in_values = {{"env{A}", text("2")}, {"parts[1]", text("z")}};
    finalize();
    EXPECT_EQ(configuration(encoder),
              *tree({{"env", tree({{"A", text("2")}})}, {"parts", kx_test::texts({"x", "z"})}}));
}

TEST_F(workflow_finalization, lets_the_name_win_over_all_and_the_type_over_the_name) {
    use_tasks({task_of(mail_plid, "first", tree({})), task_of(mail_plid, "second", tree({})),
               task_of(upload_plid, "third", tree({}))});
    settings.in_values = {{"subject", text("all")}, {"message", text("all")}, {"dest-dir-url", text("all")}};
    settings.task_name_in_values["first"] = {{"subject", text("name")}, {"message", text("name")}};
    settings.task_name_in_values["nobody"] = {{"anything", text("x")}};
    settings.task_type_in_values["mail"] = {{"subject", text("type")}};
    settings.task_type_in_values["no such type"] = {{"anything", text("x")}};
    finalize();
    EXPECT_EQ(configuration(wtid(mail_plid, "first")), *tree({{"subject", text("type")}, {"message", text("name")}}));
    EXPECT_EQ(configuration(wtid(mail_plid, "second")), *tree({{"subject", text("type")}, {"message", text("all")}}));
    EXPECT_EQ(configuration(wtid(upload_plid, "third")), *tree({{"dest-dir-url", text("all")}}));
}

TEST_F(workflow_finalization, refuses_an_input_that_a_named_task_lacks) {
    use_tasks({task_of(mail_plid, "mail", tree({}))});
    settings.task_name_in_values["mail"]["bitrate"] = number(1);
    captured_report const log;
    constexpr char const* message = "'bitrate' isn't a possible input for task named 'mail' (mail)";
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), message);
    ASSERT_EQ(log.lines().size(), 1U);
    auto const line = log.lines().front();
    EXPECT_EQ(line.message, message);
    EXPECT_EQ(line.category, "task");
    EXPECT_EQ(line.kind, 8U);
    EXPECT_EQ(line.severity, 4U);
    EXPECT_EQ(line.file, kx_test::submission_path);
    EXPECT_GT(line.line, 0U);
}

TEST_F(workflow_finalization, refuses_an_input_that_a_type_lacks) {
    use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    settings.task_type_in_values["encoder"]["subject"] = text("x");
    captured_report const log;
    constexpr char const* message = "'subject' isn't a possible input for task type 'encoder'";
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), message);
    ASSERT_EQ(log.lines().size(), 1U);
    auto const line = log.lines().front();
    EXPECT_EQ(line.message, message);
    EXPECT_EQ(line.category, "task");
    EXPECT_EQ(line.kind, 8U);
    EXPECT_EQ(line.severity, 4U);
    EXPECT_EQ(line.file, kx_test::submission_path);
}

TEST_F(workflow_finalization, raises_with_the_source_path_of_the_family) {
    use_tasks({task_of(mail_plid, "mail", tree({}))});
    settings.task_name_in_values["mail"]["bitrate"] = number(1);
    captured_report const log;
    try {
        finalize();
        FAIL() << "nothing raised";
    } catch (es::arg const& error) {
        EXPECT_STREQ(error.file(), kx_test::submission_path);
        EXPECT_GT(error.line(), 0U);
    }
}

TEST_F(workflow_finalization, treats_tasks_in_the_order_of_their_wtids) {
    // Both lack it; the first by wtid is the one that is told, although it stands second.
    use_tasks({task_of(upload_plid, "same", tree({})), task_of(mail_plid, "same", tree({}))});
    settings.task_name_in_values["same"]["nothing"] = text("x");
    captured_report const log;
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }),
              "'nothing' isn't a possible input for task named 'same' (mail)");
}

TEST_F(workflow_finalization, treats_inputs_in_byte_order) {
    use_tasks({task_of(mail_plid, "mail", tree({}))});
    settings.task_name_in_values["mail"] = {{"b", text("x")}, {"B", text("x")}, {"a", text("x")}};
    captured_report const log;
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "'B' isn't a possible input for task named 'mail' (mail)");
}

TEST_F(workflow_finalization, says_the_values_of_percent_signs_as_they_are) {
    use_tasks({task_of(mail_plid, "mail", tree({}))});
    settings.task_name_in_values["mail"]["100%s"] = text("x");
    captured_report const log;
    EXPECT_EQ(message_of<es::arg>([&] { finalize(); }), "'100%s' isn't a possible input for task named 'mail' (mail)");
}

TEST_F(workflow_finalization, records_the_name_of_every_task) {
    auto const nameless = tree({{"plugin-id", text(mail_plid)}, {"id", text(wtid(mail_plid, "n"))}});
    auto const noted = tree({{"id", text(encoder)},
                             {"name", text("720p")},
                             {"ext-meta", tree({{"client", text("desktop")}, {"KVD-8292", text("an earlier name")}})}});
    use_tasks({task_of(mail_plid, "mail", tree({})), nameless, noted});
    finalize();
    EXPECT_EQ(text_at(kx_test::task_in(workflow(), mail), "ext-meta{KVD-8292}"), "mail");
    EXPECT_EQ(text_at(kx_test::task_in(workflow(), wtid(mail_plid, "n")), "ext-meta{KVD-8292}"), "");
    EXPECT_EQ(*kx_test::task_in(workflow(), encoder).get_properties_value("ext-meta"),
              *tree({{"client", text("desktop")}, {"KVD-8292", text("720p")}}));
}

TEST_F(workflow_finalization, turns_files_in_configurations_into_resources) {
    settings.resource_uri_option = true;
    settings.node_id = "node";
    use_tasks({task_of(encoder_plid, "encoder",
                       tree({{"watermark-url", text("file:/logo//l.png")},
                             {"plain", text("/logo/l.png")},
                             {"nested", tree({{"any key", kx_test::texts({"file:/b.mov", "smb://host/s/c.mov#x"})}})},
                             {"remote", text("ftp://host/$TMPPATH$/d.mov")},
                             {"web", text("http://host/e.mov")},
                             {"folder", text("kxrc:/#!create-dir")},
                             {"earlier", text("kxrc:/f.mov#old")},
                             {"flag", flag(true)},
                             {"later", kx_test::deferred()}}))});
    finalize();
    EXPECT_EQ(
        configuration(encoder),
        *tree({{"watermark-url", text("kxrc:/logo/l.png#node,origin")},
               {"plain", text("/logo/l.png")},
               {"nested",
                tree({{"any key", kx_test::texts({"kxrc:/b.mov#node,origin", "smb://host/s/c.mov#node,origin"})}})},
               {"remote", text("ftp://host/$TMPPATH$/d.mov#node,origin")},
               {"web", text("http://host/e.mov")},
               {"folder", text("kxrc:/#!create-dir")},
               {"earlier", text("kxrc:/f.mov#node,origin")},
               {"flag", flag(true)},
               {"later", kx_test::deferred()}}));
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/b.mov#node,origin", "kxrc:/f.mov#node,origin",
                                                     "kxrc:/logo/l.png#node,origin"}));
}

TEST_F(workflow_finalization, makes_no_resources_without_the_option) {
    use_tasks({task_of(encoder_plid, "encoder", tree({{"intro", text("file:/b//c.mov")}}))});
    finalize();
    EXPECT_EQ(configuration(encoder), *tree({{"intro", text("file:/b/c.mov#origin")}}));
    EXPECT_TRUE(resources.empty());
}

TEST_F(workflow_finalization, collects_a_resource_that_does_not_change) {
    settings.resource_uri_option = true;
    use_tasks({task_of(encoder_plid, "encoder", tree({{"intro", text("kxrc:/a.mov#origin")}}))});
    auto const before = submission.find_referenced("workflow{tasks}[0]{configuration}");
    properties const kept = submission;
    finalize();
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/a.mov#origin"}));
    EXPECT_EQ(configuration(encoder), *before);
}

TEST_F(workflow_finalization, makes_resources_of_values_given_for_inputs) {
    settings.resource_uri_option = true;
    use_tasks({task_of(encoder_plid, "encoder", tree({}))});
    settings.in_values["dest-dir-url"] = text("file:/out/");
    finalize();
    EXPECT_EQ(configuration(encoder), *tree({{"dest-dir-url", text("kxrc:/out/#origin")}}));
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/out/#origin"}));
}

// Files are looked for before variables are resolved: what a variable becomes is no resource of the submitting client, but
// a text of the workflow.
TEST_F(workflow_finalization, makes_no_resources_of_what_variables_become) {
    settings.resource_uri_option = true;
    submission_add_workflow(
        *kx_test::workflow_of({task_of(mail_plid, "mail", tree({{"subject", text("$workflow.name$")}}))},
                              "file:/media//a.mov"),
        submission);
    finalize();
    EXPECT_EQ(configuration(mail), *tree({{"subject", text("file:/media//a.mov")}}));
    EXPECT_TRUE(resources.empty());
}

// Nor is a setting looked at again that another task takes over: it is what it became where it stands.
TEST_F(workflow_finalization, makes_one_resource_of_a_setting_that_is_taken_over) {
    constexpr char const* mbr_plid = "task/regular/mbr/1.0";
    kx_test::add_plugin(plugins, {mbr_plid, "mbr", {}, {"dest-url"}});
    settings.resource_uri_option = true;
    use_tasks({task_of(mbr_plid, "package", tree({{"logo", text("file:/logo.png")}})),
               task_of(mail_plid, "mail",
                       tree({{"subject", text("kxvar:/#mbr.logo")}, {"message", text("kxvar:/#mbr.logo")}}))});
    submission.set_create_referenced_property(
        "workflow{workflow-meta}{connections}",
        list({tree({{"from-wtid", text(wtid(mbr_plid, "package"))}, {"to-wtid", text(mail)}})}));
    finalize();
    EXPECT_EQ(text_at(configuration(wtid(mbr_plid, "package")), "logo"), "kxrc:/logo.png#origin");
    EXPECT_EQ(configuration(mail),
              *tree({{"subject", text("kxrc:/logo.png#origin")}, {"message", text("kxrc:/logo.png#origin")}}));
    EXPECT_EQ(collected(), (std::vector<std::string>{"kxrc:/logo.png#origin"}));
}

TEST_F(workflow_finalization, looks_at_configurations_alone) {
    settings.resource_uri_option = true;
    auto const task = tree({{"id", text(mail)}, {"ext-meta", tree({{"logo", text("file:/logo.png")}})}});
    use_tasks({task});
    finalize();
    EXPECT_EQ(text_at(kx_test::task_in(workflow(), mail), "ext-meta{logo}"), "file:/logo.png");
    EXPECT_TRUE(resources.empty());
}

TEST_F(workflow_finalization, passes_on_what_the_workflow_has_wrong) {
    use_tasks({task_of("task/regular/unheard-of/1.0", "x", tree({}))});
    std::string const message = message_of<es::arg>([&] { finalize(); });
    EXPECT_NE(message.find("task/regular/unheard-of/1.0"), std::string::npos) << message;
}

} // namespace

} // namespace kxclientutil
