// kx finalize --explain.

#include "kx_run.h"

#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using kx_test::example;
using kx_test::run_kx;
using kx_test::scratch_folder;
using testing::HasSubstr;
using testing::Not;

TEST(kx_finalize_explain, tells_every_example_step_by_step_and_writes_no_job_unasked) {
    struct {
        char const* submission;
        std::vector<char const*> told;
    } const rows[] = {
        {"submission-remote.xml",
         {"Files that encoders need beside their source\n  new task \"Intro\" (localizer): it fetches a file from its "
          "server: \"http://archive.example.com/design/intro.mov\"\n",
          "  \"720p\" (encoder): intro-url, which was \"http://archive.example.com/design/intro.mov\", gets the output "
          "dest-url of \"Intro\" (localizer): the file is on a server\n",
          "  new task \"Main Source\" (localizer): it fetches the source from its server\n",
          "  \"Main Source\" (localizer): ftp-ssl-mode is fed by the source\n"}},
        {"submission-actions.xml",
         {"When something fails\n  new task \"failed\" (move): it moves the source, and the files that belong to it, "
          "to "
          "\"file:/media/failed/\"\n  \"failed\" (move) runs when any one of \"1080p\" (encoder), \"360p\" (encoder) "
          "or "
          "\"720p\" (encoder) has failed, could not start, was cancelled, or lacked what it needs\n",
          "  when \"1080p\" (encoder) has failed, could not start, was cancelled, or lacked what it needs, \"360p\" "
          "(encoder) and \"720p\" (encoder) are "
          "stopped\n",
          "When all has gone well\n  new task \"Delete Source\" (delete): it deletes the source, and the files that "
          "belong to it\n",
          "\"Upload of 360p\" (upload): dest-filename[2], which was \"$encoder.name$\", is now \"360p\"\n"}},
        {"submission-edl.xml", {"new task \"harbour.mxf\" (localizer): it fetches a clip from its server:"}},
        {"submission-iseq.xml", {"numbered stills become one file"}},
        {"submission-watch-folder.xml", {"it is attached to the watched folder"}},
        {"submission.xml", {"What nodes reach through this client\n  \"kxrc:/media/in/#desk\"\n"}},
    };
    for (auto const& [submission, told] : rows) {
        auto const result = run_kx(
            {"finalize", "--submission", example(submission), "--explain", "--as-resources", "--origin-node", "desk"});
        EXPECT_EQ(result.exit_code, 0) << submission << result.err;
        for (auto const* const each : told)
            EXPECT_THAT(result.out, HasSubstr(each)) << submission;
        EXPECT_THAT(result.out, Not(HasSubstr("the job \""))) << submission;
    }
}

TEST(kx_finalize_explain, goes_together_with_the_job_and_changes_nothing_in_it) {
    scratch_folder const folder;
    auto const plain = folder.file("plain.job");
    auto const explained = folder.file("explained.job");
    std::vector<std::string> const base = {"finalize", "--workflow", example("workflow-proxy.xml"), "-o"};
    auto with = [&](std::string const& job, std::vector<std::string> const& more) {
        std::vector<std::string> arguments = base;
        arguments.push_back(job);
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run_kx(arguments);
    };
    ASSERT_EQ(with(plain, {}).exit_code, 0);
    auto const result = with(explained, {"--explain"});
    EXPECT_THAT(result.out, testing::StartsWith("Settings of the job\n"));
    EXPECT_THAT(result.out, HasSubstr("explained.job: the job \""));
    EXPECT_EQ(run_kx({"diff", plain, explained}).exit_code, 0);
}

TEST(kx_finalize_explain, tells_programs_the_same) {
    auto const result =
        run_kx({"--json", "finalize", "--submission", example("submission-remote.xml"), "--explain"}).json();
    EXPECT_FALSE(result.contains("job"));
    EXPECT_EQ(result["name"], "Interviews from servers");
    EXPECT_EQ(result["explanation"]["complete"], true);
    auto const& events = result["explanation"]["events"];
    auto const added =
        std::find_if(events.begin(), events.end(), [](auto const& event) { return event["change"] == "task-added"; });
    ASSERT_NE(added, events.end());
    EXPECT_EQ((*added)["step"], "media-files");
    EXPECT_EQ((*added)["task"]["name"], "Intro");
    EXPECT_EQ((*added)["task"]["kind"], "localizer");
    EXPECT_EQ((*added)["after"], "http://archive.example.com/design/intro.mov");
}

TEST(kx_finalize_explain, tells_what_was_done_before_an_error_and_where_it_was) {
    std::vector<std::string> const arguments = {"finalize",  "--submission", example("submission-remote.xml"),
                                                "--explain", "--task-in",    "360p:no-such=1"};
    auto const result = run_kx(arguments);
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("The source\n"));
    EXPECT_THAT(result.out, testing::EndsWith("It ended here, at \"Your values for inputs\"\n"));
    EXPECT_THAT(result.err, HasSubstr("'no-such' isn't a possible input for task named '360p' (encoder)"));

    auto programs = arguments;
    programs.insert(programs.begin(), "--json");
    auto const json = run_kx(programs).json();
    EXPECT_THAT(json["errors"][0], HasSubstr("'no-such' isn't a possible input"));
    EXPECT_EQ(json["explanation"]["complete"], false);
    EXPECT_EQ(json["explanation"]["last-step"], "input-values");
}

TEST(kx_finalize_explain, names_why_a_variable_stays_and_a_value_goes_nowhere) {
    auto const result = run_kx({"finalize", "--workflow", example("workflow.xml"), "--explain", "--in", "thread:=4"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.out, HasSubstr("  your 4 for thread goes nowhere: no task has the input\n"));
    EXPECT_THAT(result.out, HasSubstr("is filled in by the node when the job runs (workflow.source-name)\n"));
    EXPECT_EQ(run_kx({"finalize", "--workflow", example("workflow.xml")}).exit_code, 2);
}

} // namespace
