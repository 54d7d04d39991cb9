// kx finalize, show of a job, and original.

#include "kx_run.h"

#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using kx_test::example;
using kx_test::run_kx;
using kx_test::scratch_folder;
using testing::HasSubstr;

/// Two clips and a job made of them with every setting of the command.
struct finalized_job {
    finalized_job() {
        clip_a = folder.write("clips/a.mov", "a");
        clip_b = folder.write("clips/b.mov", "b");
        job = folder.file("news.job");
        result = run_kx({"finalize", "--workflow", example("workflow.xml"), "--file", clip_a, clip_b, "--as-resources",
                         "--node", "node-7", "--origin-node", "desk-1", "--name", "Evening news", "--priority", "5",
                         "-o", job});
    }
    scratch_folder folder;
    std::string clip_a;
    std::string clip_b;
    std::string job;
    kx_test::kx_result result;
};

TEST(kx_finalize, makes_a_job_with_rewritten_urls_capability_settings_meta_data_and_targets) {
    finalized_job const made;
    ASSERT_EQ(made.result.exit_code, 0) << made.result.err;
    EXPECT_THAT(made.result.out, HasSubstr("the job \"Evening news\""));

    auto const job = run_kx({"show", made.job, "--json"}).json();
    EXPECT_EQ(job["name"], "Evening news");
    auto const& workflow = job["workflow"];
    EXPECT_EQ(workflow["capabilities"]["node-id"], "node-7");
    EXPECT_EQ(workflow["configuration"]["priority"], 5);
    EXPECT_EQ(workflow["configuration"]["guess-shared-storage"], true);
    EXPECT_EQ(workflow["workflow-meta"]["source-type"], "file");
    EXPECT_EQ(workflow["workflow-meta"]["source-name"], "a");
    auto const& files = job["file-source"]["files"];
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0]["url"], "kxrc:" + made.clip_a + "#node-7,desk-1");
    EXPECT_EQ(files[1]["url"], "kxrc:" + made.clip_b + "#node-7,desk-1");
    EXPECT_EQ(files[0]["targets"], files[1]["targets"]);
    EXPECT_THAT(files[0]["targets"].dump(), HasSubstr("workflow:wtid:task/regular/ogencoder/1.0#1080p>source-url"));
    for (auto const& task : workflow["tasks"])
        EXPECT_EQ(task["ext-meta"]["KVD-8292"], task["name"]);
}

TEST(kx_finalize, tells_the_folders_that_nodes_fetch_from) {
    finalized_job const made;
    auto const folder = made.clip_a.substr(0, made.clip_a.size() - 5);
    EXPECT_THAT(made.result.out, HasSubstr("the nodes will fetch from kxrc:" + folder + "#node-7,desk-1\n"));
}

TEST(kx_finalize, writes_a_job_file_for_the_owner_alone) {
    finalized_job const made;
    struct stat status {};
    ASSERT_EQ(::stat(made.job.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(run_kx({"--json", "identify", made.job}).json()[0]["type"], "job");
}

TEST(kx_original, gives_back_what_was_finalized) {
    finalized_job const made;
    auto const original = run_kx({"original", made.job, "--json"}).json();
    EXPECT_EQ(original["workflow"], run_kx({"show", example("workflow.xml"), "--json"}).json());
    EXPECT_EQ(original["file-source"]["files"][0]["url"], "file:" + made.clip_a);
    EXPECT_EQ(original["file-source"]["files"][0]["targets"], nlohmann::json::array());
    EXPECT_FALSE(original.contains("ext-meta"));

    auto const document = made.folder.file("original.xml");
    ASSERT_EQ(run_kx({"original", made.job, "-o", document}).exit_code, 0);
    EXPECT_EQ(run_kx({"show", document, "--json"}).json(), original);
}

TEST(kx_finalize, gives_inputs_their_values_and_names_an_impossible_one) {
    scratch_folder const folder;
    auto const clip = folder.write("a.mov", "a");
    auto const job = folder.file("a.job");
    std::vector<std::string> const base = {"finalize", "--workflow", example("workflow.xml"), "--file", clip,
                                           "-o",       job};
    auto with = [&](std::vector<std::string> more) {
        more.insert(more.begin(), base.begin(), base.end());
        return run_kx(more);
    };
    ASSERT_EQ(with({"--task-in", "1080p:video{width}:=1440", "--in", "threads:=4"}).exit_code, 0);
    auto const task = run_kx({"show", job, "--json"}).json()["workflow"]["tasks"][0];
    EXPECT_EQ(task["configuration"]["video"]["width"], 1440);
    EXPECT_EQ(task["configuration"]["threads"], 4);

    auto const impossible = with({"--task-in", "1080p:no-such=1"});
    EXPECT_EQ(impossible.exit_code, 1);
    EXPECT_THAT(impossible.err, HasSubstr("'no-such' isn't a possible input for task named '1080p'"));
    EXPECT_EQ(with({"--in", "nonsense"}).exit_code, 2);
    EXPECT_EQ(with({"--in", "threads:=[1,"}).exit_code, 2);
}

TEST(kx_finalize, refuses_a_missing_file_that_should_travel_and_warns_of_another) {
    scratch_folder const folder;
    auto const clip = folder.file("missing.mov");
    auto const job = folder.file("a.job");
    auto const refused =
        run_kx({"finalize", "--workflow", example("workflow.xml"), "--file", clip, "--as-resources", "-o", job});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("no such file: " + clip));
    EXPECT_FALSE(std::filesystem::exists(job));

    auto const warned = run_kx({"finalize", "--workflow", example("workflow.xml"), "--file", clip, "-o", job});
    EXPECT_EQ(warned.exit_code, 0);
    EXPECT_THAT(warned.err, HasSubstr("warning: " + clip + ": no such file on this machine"));
}

TEST(kx_finalize, says_what_is_no_workflow_and_what_is_no_job) {
    scratch_folder const folder;
    auto const clip = folder.write("a.mov", "a");
    auto const no_workflow =
        run_kx({"finalize", "--workflow", example("task.xml"), "--file", clip, "-o", folder.file("a.job")});
    EXPECT_EQ(no_workflow.exit_code, 1);
    EXPECT_EQ(no_workflow.err, "kx: " + example("task.xml") + ": a task document, no workflow\n");
    auto const no_job = run_kx({"original", example("task.xml")});
    EXPECT_EQ(no_job.exit_code, 1);
    EXPECT_THAT(no_job.err, testing::StartsWith("kx: " + example("task.xml") + ": "));
}

} // namespace
