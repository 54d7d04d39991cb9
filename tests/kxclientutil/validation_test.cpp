#include "support/scratch_folder.h"

#include <kxclientutil/validation.h>

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/installation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

using kxclientutil::document_problem;
using kxclientutil::find_document_problems;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

kxcore::installation const& installation() {
    static auto const loaded = kxcore::installation::load(kx_test::source_path("share/installation"));
    return loaded;
}

std::vector<document_problem> problems_of(std::string_view content) {
    return find_document_problems(kxbase::buffer(content), installation().get_plugins(),
                                  installation().get_constraints());
}

std::vector<document_problem> problems_of_file(std::string const& path) {
    return find_document_problems(path, installation().get_plugins(), installation().get_constraints());
}

/// A document of seven lines and more: the members begin on line 3.
std::string document(std::string_view identifier, std::string_view members) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<document identifier=\"" + std::string(identifier) +
           "\" version=\"7\">\n" + std::string(members) + "</document>\n";
}

TEST(validation, finds_nothing_wrong_with_any_example) {
    for (auto const& entry : std::filesystem::directory_iterator(kx_test::source_path("share/installation/examples"))) {
        if (!entry.is_regular_file()) continue;
        EXPECT_THAT(problems_of_file(entry.path()), IsEmpty()) << entry.path();
    }
}

TEST(validation, tells_each_problem_with_path_line_and_column) {
    auto const problems = problems_of(document("task", "  <string key=\"configuraton\">x</string>\n"
                                                       "  <int key=\"name\">5</int>\n"));
    ASSERT_THAT(problems, SizeIs(3));
    EXPECT_EQ(problems[0].path, "configuraton");
    EXPECT_EQ(problems[0].line, 3U);
    EXPECT_EQ(problems[0].column, 3U);
    EXPECT_THAT(problems[0].what, HasSubstr("did you mean \"configuration\"?"));
    EXPECT_EQ(problems[1].path, "name");
    EXPECT_EQ(problems[1].line, 4U);
    EXPECT_EQ(problems[1].what, "name: found the int 5, must be a string");
    EXPECT_EQ(problems[2].path, "plugin-id");
    EXPECT_THAT(problems[2].what, HasSubstr("missing"));
}

TEST(validation, judges_the_configuration_of_a_task_by_its_plugin) {
    auto const problems = problems_of(document("task", "  <properties key=\"configuration\">\n"
                                                       "    <string key=\"port\">often</string>\n"
                                                       "  </properties>\n"
                                                       "  <string key=\"plugin-id\">task/regular/mail/1.0</string>\n"));
    auto const port = std::ranges::find(problems, "configuration{port}", &document_problem::path);
    ASSERT_NE(port, problems.end());
    EXPECT_EQ(port->line, 4U);
    EXPECT_THAT(port->what, testing::StartsWith("configuration{port}: found the string \"often\", must be an int"));
}

TEST(validation, judges_the_tasks_of_a_workflow_and_of_a_submission) {
    std::string const tasks = "<list key=\"tasks\"><properties>"
                              "<properties key=\"configuration\"><string key=\"source-ulr\">x</string></properties>"
                              "<string key=\"id\">wtid:task/regular/delete/1.0#a</string>"
                              "</properties></list>\n";
    auto const of_workflow = problems_of(document("workflow", tasks));
    EXPECT_EQ(of_workflow.back().path, "tasks[0]{configuration}{source-url}");
    auto const of_submission =
        problems_of(document("submission", "<properties key=\"workflow\">" + tasks + "</properties>\n"));
    EXPECT_EQ(of_submission.back().path, "workflow{tasks}[0]{configuration}{source-url}");
    EXPECT_EQ(of_submission.size(), of_workflow.size());
}

TEST(validation, names_a_plugin_that_the_installation_does_not_have) {
    auto const by_plugin_id =
        problems_of(document("task", "  <string key=\"plugin-id\">task/regular/nonesuch/1.0</string>\n"));
    EXPECT_THAT(by_plugin_id,
                ElementsAre(document_problem{
                    "plugin-id", 3, 3, "plugin-id: the installation has no plugin \"task/regular/nonesuch/1.0\""}));
    auto const by_id = problems_of(
        document("workflow",
                 "<list key=\"tasks\"><properties><string key=\"id\">wtid:nonesuch#a</string></properties></list>\n"));
    ASSERT_THAT(by_id, SizeIs(1));
    EXPECT_EQ(by_id[0].path, "tasks[0]{id}");
    EXPECT_EQ(by_id[0].what, "tasks[0]{id}: the installation has no plugin \"nonesuch\"");
}

TEST(validation, judges_the_configuration_of_a_monitor) {
    std::string monitor = kx_test::read_file(kx_test::source_path("share/installation/examples/monitor-source.xml"));
    std::string const open = "<properties key=\"plugin-configuration\">";
    auto const place = monitor.find(open);
    ASSERT_NE(place, std::string::npos);
    monitor.insert(place + open.size(), "<string key=\"a-key-of-nobody\">x</string>");
    auto const problems = problems_of(monitor);
    ASSERT_THAT(problems, SizeIs(1));
    EXPECT_EQ(problems[0].path, "plugin-configuration{a-key-of-nobody}");
}

TEST(validation, tells_what_breaks_the_document_as_a_whole_and_nothing_else) {
    struct {
        std::string content;
        std::size_t line;
        char const* what;
    } const rows[] = {
        {"notes", 0, "not a document: neither of XML nor of the binary format"},
        {document("playlist", ""), 2, "a document of the unknown type \"playlist\""},
        {document("task", "<int key=\"a\">x</int>\n"), 3, "a broken document: "},
        {"<document identifier=\"task\" version=\"8\"/>", 1, "a broken document: version 8"},
        {"<document identifier=\"task\" version=\"3\"/>", 0,
         "version 3 of \"task\" is not supported, only version 7 is"},
    };
    for (auto const& row : rows) {
        auto const problems = problems_of(row.content);
        ASSERT_THAT(problems, SizeIs(1)) << row.content;
        EXPECT_EQ(problems[0].path, "");
        EXPECT_EQ(problems[0].line, row.line) << row.content;
        EXPECT_THAT(problems[0].what, testing::StartsWith(row.what));
    }
}

TEST(validation, says_when_the_installation_has_no_constraint_of_the_type) {
    kxcore::constraint_db const empty;
    auto const problems =
        find_document_problems(kxbase::buffer(document("filter", "")), installation().get_plugins(), empty);
    EXPECT_THAT(problems, ElementsAre(document_problem{
                              "", 0, 0, "the installation has no constraint \"media.component-description\""}));
}

TEST(validation, shows_no_credential) {
    auto const problems = problems_of(document("task", "  <properties key=\"configuration\">\n"
                                                       "    <int key=\"password\">918273645</int>\n"
                                                       "  </properties>\n"
                                                       "  <string key=\"plugin-id\">task/regular/mail/1.0</string>\n"));
    EXPECT_FALSE(problems.empty());
    for (auto const& problem : problems)
        EXPECT_THAT(problem.what, testing::Not(HasSubstr("918273645")));
}

TEST(validation, judges_a_preset_as_the_task_that_it_stands_for) {
    kx_test::scratch_folder const folder;
    auto const preset = folder.write("web.setting", "[video]\nwidth = 1280\n");
    for (auto const& problem : problems_of_file(preset))
        EXPECT_EQ(problem.line, 0U);
}

TEST(validation, raises_for_a_file_that_cannot_be_read) {
    kx_test::scratch_folder const folder;
    EXPECT_THROW(static_cast<void>(problems_of_file(folder.file("missing.xml"))), kxbase::es::call);
}

} // namespace
