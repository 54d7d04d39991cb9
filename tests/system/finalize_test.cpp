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

TEST(kx_finalize, takes_sources_of_every_kind_and_refuses_what_is_none) {
    scratch_folder const folder;
    auto const job = folder.file("a.job");
    auto const with = [&](char const* source) {
        return run_kx({"finalize", "--workflow", example("workflow.xml"), "--source", example(source), "-o", job});
    };
    struct {
        char const* source;
        char const* type;
    } const cases[] = {{"file-source.xml", "file"},
                       {"monitor-source.xml", "monitor"},
                       {"edl-source.xml", "edl"},
                       {"iseq-source.xml", "iseq"}};
    for (auto const& [source, type] : cases) {
        auto const result = with(source);
        ASSERT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(run_kx({"show", job, "--json"}).json()["workflow"]["workflow-meta"]["source-type"], type);
        EXPECT_TRUE(run_kx({"original", job, "--json"}).json().contains(std::string(type) + "-source"));
    }
    for (auto const* none : {"task.xml", "workflow.xml", "submission.xml"}) {
        auto const result = with(none);
        EXPECT_EQ(result.exit_code, 1) << none;
        EXPECT_THAT(result.err, testing::EndsWith(" document, no source\n"));
    }
}

/// The job that an example submission becomes, with every setting of the command.
nlohmann::json job_of(std::string const& submission) {
    scratch_folder const folder;
    auto const job = folder.file("a.job");
    auto const result = run_kx({"finalize",
                                "--submission",
                                example(submission),
                                "--as-resources",
                                "--no-guess-shared-storage",
                                "--node",
                                "node-7",
                                "--origin-node",
                                "desk-1",
                                "--name",
                                "Night run",
                                "--priority",
                                "-5",
                                "--in",
                                "threads:=4",
                                "--task-in",
                                "360p:video{passes}:=1",
                                "--type-in",
                                "encoder:audio{channels}:=1",
                                "-o",
                                job});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    auto const shown = run_kx({"show", job, "--json"}).json();
    EXPECT_EQ(shown["name"], "Night run");
    auto const& workflow = shown["workflow"];
    EXPECT_EQ(workflow["capabilities"]["node-id"], "node-7");
    EXPECT_EQ(workflow["configuration"]["priority"], -5);
    EXPECT_EQ(workflow["configuration"]["guess-shared-storage"], false);
    auto const& encoder = workflow["tasks"][0]["configuration"];
    EXPECT_EQ(encoder["threads"], 4);
    EXPECT_EQ(encoder["video"]["passes"], 1);
    EXPECT_EQ(encoder["audio"]["channels"], 1);
    return shown;
}

/// The tasks of a plugin in a job.
std::vector<nlohmann::json> tasks_of(nlohmann::json const& job, std::string const& plid) {
    std::vector<nlohmann::json> found;
    for (auto const& task : job["workflow"]["tasks"])
        if (task["plugin-id"] == plid) found.push_back(task);
    return found;
}

constexpr char const* encoder_input = "workflow:wtid:task/regular/ogencoder/1.0#360p>source-url";
constexpr char const* localizer = "wtid:task/regular/localize/1.0#localizer";

TEST(kx_finalize, makes_a_job_of_files_on_servers) {
    auto const job = job_of("submission-remote.xml");
    auto const& files = job["file-source"]["files"];
    EXPECT_EQ(files[0]["url"], "ftp://ingest.example.com/in/interview-01.mov#node-7,desk-1");
    EXPECT_EQ(files[1]["url"], "http://archive.example.com/in/interview-02.mov#node-7,desk-1");
    for (auto const& file : files)
        EXPECT_EQ(file["targets"],
                  nlohmann::json({encoder_input, "workflow:wtid:task/regular/ogencoder/1.0#720p>source-url",
                                  std::string("workflow:") + localizer + ">ftp-ssl-mode",
                                  std::string("workflow:") + localizer + ">source-url"}));

    auto const localizers = tasks_of(job, "task/regular/localize/1.0"); // one for both encoders, and the source's
    ASSERT_EQ(localizers.size(), 2U);
    EXPECT_EQ(localizers[0]["name"], "Intro");
    EXPECT_EQ(localizers[1]["id"], localizer);
    for (auto const& encoder : tasks_of(job, "task/regular/ogencoder/1.0"))
        EXPECT_EQ(
            encoder["input-connections"],
            nlohmann::json({{{"from-wtid", localizers[0]["id"]}, {"from-node", "dest-url"}, {"to-node", "intro-url"}},
                            {{"from-wtid", localizer}, {"from-node", "dest-url"}, {"to-node", "source-url"}}}));
}

TEST(kx_finalize, makes_a_job_of_a_watched_folder) {
    auto const job = job_of("submission-watch-folder.xml");
    auto const& manager = job["monitor-source"]["manager-configuration"];
    EXPECT_EQ(manager["url"], "kxrc:/media/watch/in/#node-7,desk-1");
    EXPECT_EQ(manager["targets"][0], encoder_input);
    auto const& meta = job["workflow"]["workflow-meta"];
    auto const& actions = job["monitor-source"]["attached-workflow-actions"];
    for (auto const* key : {"finalize-workflow-failure", "finalize-workflow-success"})
        EXPECT_EQ(meta[key], actions[key]) << key;

    auto const moves = tasks_of(job, "task/regular/move/1.0");
    ASSERT_EQ(moves.size(), 2U);
    nlohmann::json const upload = "wtid:task/regular/upload/1.0#beside";
    EXPECT_EQ(moves[0]["name"], "failed");
    EXPECT_EQ(moves[0]["run-dependencies"][0]["tasks"],
              nlohmann::json({"wtid:task/regular/ogencoder/1.0#360p", upload}));
    EXPECT_EQ(moves[1]["name"], "done");
    EXPECT_EQ(moves[1]["run-dependencies"][0]["tasks"], nlohmann::json::array({upload}));
}

TEST(kx_finalize, makes_a_job_of_an_edit_decision_list) {
    auto const job = job_of("submission-edl.xml");
    EXPECT_FALSE(job.contains("edl-source"));
    auto const& workflow = job["workflow"];
    EXPECT_EQ(workflow["type"], 2);
    EXPECT_EQ(workflow["workflow-meta"]["spawn-value"], "kxrc:/media/in/interview-01.mov#node-7,desk-1");
    EXPECT_THAT(workflow["workflow-meta"]["parent-id"], testing::StartsWith("WOFL-"));
    EXPECT_EQ(workflow["tasks"][0]["configuration"]["video-clips"][0]["url"],
              "kxrc:/media/in/interview-01.mov#node-7,desk-1");
    auto const localizers = tasks_of(job, "task/regular/localize/1.0");
    ASSERT_EQ(localizers.size(), 2U);
    EXPECT_EQ(localizers[0]["name"], "harbour.mxf");
    EXPECT_EQ(localizers[1]["name"], "theme.wav");
    std::vector<std::string> fed;
    for (auto const& connection : workflow["tasks"][0]["input-connections"])
        fed.push_back(connection["to-node"]);
    EXPECT_EQ(fed, (std::vector<std::string>{"clips[1]{url}", "clips[0]{url}"}));
}

TEST(kx_finalize, makes_a_job_of_numbered_stills) {
    auto const job = job_of("submission-iseq.xml");
    EXPECT_FALSE(job.contains("iseq-source"));
    EXPECT_EQ(job["file-source"]["files"][0]["url"],
              "kxrc+iseq:/media/in/titles/"
              "titles_00001.dpx?ewi=true&ewi-count=60&ewi-sleep=5&fr=25&msni=1&sf=2#node-7,desk-1");
    EXPECT_EQ(job["file-source"]["files"][0]["targets"], nlohmann::json({encoder_input}));
}

TEST(kx_finalize, warns_of_numbered_stills_that_are_paths) {
    scratch_folder const folder;
    auto const source_of = [&folder](std::vector<std::string> const& starts) {
        std::string sequences;
        for (auto const& start : starts)
            sequences += "<properties><string key=\"start-file-url\">" + start + "</string></properties>";
        return folder.write("iseq.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                        "<document identifier=\"iseq-source\" version=\"7\"><list key=\"sequences\">" +
                                            sequences + "</list></document>\n");
    };
    struct {
        std::vector<std::string> starts;
        std::string warning;
    } const cases[] = {
        {{"file:/a_1.dpx", "ftp+iseq://host/a_1.dpx"}, ""},
        {{"file:/a_1.dpx", "/b_1.dpx"}, "iseq-source{sequences}[1]{start-file-url}: no scheme, such as \"file:\""},
        {{"a_1.dpx", "file:/b_1.dpx", "c_1.dpx", "/d_1.dpx"},
         "iseq-source{sequences}[0]{start-file-url}: no scheme, such as \"file:\" (and 2 more)"},
    };
    for (auto const& [starts, warning] : cases) {
        auto const source = source_of(starts);
        auto const result = run_kx(
            {"finalize", "--workflow", example("workflow.xml"), "--source", source, "-o", folder.file("stills.job")});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        bool const warns = result.err.find("scheme") != std::string::npos;
        EXPECT_EQ(warns, !warning.empty()) << result.err;
        if (warns) {
            EXPECT_THAT(result.err, HasSubstr(source + ": " + warning + "\n"));
        }
    }
}

/// A workflow of localizers that copy to these folders.
std::string localizers_to(scratch_folder const& folder, std::vector<std::string> const& folders) {
    std::string tasks;
    for (auto const& each : folders) {
        auto const name = "Fetch " + std::to_string(&each - folders.data());
        tasks += "<properties><properties key=\"configuration\"><string key=\"dest-dir-url\">" + each +
                 "</string><string key=\"source-url\">ftp+x://host/a.mov</string></properties><string "
                 "key=\"id\">wtid:task/regular/localize/1.0#" +
                 name.substr(6) + "</string><string key=\"name\">" + name +
                 "</string><string key=\"plugin-id\">task/regular/localize/1.0</string></properties>";
    }
    return folder.write("fetch.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                     "<document identifier=\"workflow\" version=\"7\"><string "
                                     "key=\"name\">Fetch</string><list key=\"tasks\">" +
                                         tasks + "</list></document>\n");
}

TEST(kx_finalize, warns_of_a_task_that_makes_the_root_folder_a_resource) {
    scratch_folder const folder;
    constexpr char const* warning = ": the root folder becomes a resource, and all files of this machine with it";
    struct {
        std::vector<std::string> folders;
        std::vector<std::string> more;
        std::string warned;
    } const cases[] = {
        // What documents make of the mark of a folder of the job's own.
        {{"kxrc:/#!create-dir"}, {"--as-resources"}, std::string("task \"Fetch 0\", dest-dir-url") + warning},
        {{"file:/in/", "file:/", "file:///"},
         {"--as-resources", "--origin-node", "desk"},
         std::string("task \"Fetch 1\", dest-dir-url") + warning + " (and 1 more)"},
        {{"kxrc:/#!create-dir"}, {}, ""},
        {{"file:/in/"}, {"--as-resources"}, ""},
        {{"file:/"}, {"--as-resources", "--in", "dest-dir-url=kxrc:/#!create-dir"}, ""},
    };
    for (auto const& [folders, more, warned] : cases) {
        auto const workflow = localizers_to(folder, folders);
        std::vector<std::string> arguments{"finalize", "--workflow", workflow, "-o", folder.file("fetch.job")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto const result = run_kx(arguments);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_EQ(result.err, warned.empty() ? "" : "kx: warning: " + workflow + ": " + warned + "\n");
    }
}

/// A source of one file in the root folder.
std::string source_in_root(scratch_folder const& folder) {
    return folder.write("files.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                     "<document identifier=\"file-source\" version=\"7\"><list "
                                     "key=\"files\"><properties><string key=\"url\">file:/a.mov</string>"
                                     "</properties></list></document>\n");
}

TEST(kx_finalize, names_the_task_where_the_root_folder_is_that_of_the_source_too) {
    scratch_folder const folder;
    auto const workflow = localizers_to(folder, {"file:/in/", "file:/"});
    auto const result = run_kx({"finalize", "--workflow", workflow, "--source", source_in_root(folder), "-o",
                                folder.file("a.job"), "--as-resources"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("kx: warning: " + workflow +
                                      ": task \"Fetch 1\", dest-dir-url: the root folder becomes a resource, and all "
                                      "files of this machine with it\n"));
    EXPECT_THAT(result.err, Not(HasSubstr("the source:")));
}

TEST(kx_finalize, warns_of_a_source_in_the_root_folder) {
    scratch_folder const folder;
    auto const source = source_in_root(folder);
    auto const result = run_kx({"finalize", "--workflow", example("workflow.xml"), "--source", source, "-o",
                                folder.file("a.job"), "--as-resources"});
    EXPECT_THAT(result.err, HasSubstr("kx: warning: " + example("workflow.xml") +
                                      ": the source: the root folder becomes a resource, and all files of this "
                                      "machine with it\n"));
}

TEST(kx_finalize, wants_either_a_workflow_or_a_submission) {
    scratch_folder const folder;
    auto const job = folder.file("a.job");
    auto const workflow = example("workflow.xml");
    auto const submission = example("submission.xml");
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{},
          {"--workflow", workflow, "--submission", submission},
          {"--submission", submission, "--file", "a.mov"},
          {"--submission", submission, "--source", example("edl-source.xml")},
          {"--workflow", workflow, "--source", example("edl-source.xml"), "--file", "a.mov"}}) {
        std::vector<std::string> all{"finalize", "-o", job};
        all.insert(all.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(run_kx(all).exit_code, 2) << testing::PrintToString(arguments);
    }
    auto const none = run_kx({"finalize", "--submission", workflow, "-o", job});
    EXPECT_EQ(none.exit_code, 1);
    EXPECT_EQ(none.err, "kx: " + workflow + ": a workflow document, no submission\n");
    EXPECT_FALSE(std::filesystem::exists(job));
}

TEST(kx_finalize, names_what_is_wrong_with_a_source) {
    scratch_folder const folder;
    auto const source = folder.write("edl.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                                "<document identifier=\"edl-source\" version=\"7\">\n"
                                                "  <list key=\"clips\"/>\n</document>\n");
    auto const job = folder.file("a.job");
    auto const result = run_kx({"finalize", "--workflow", example("workflow.xml"), "--source", source, "-o", job});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("No clips in clip-list"));
    EXPECT_FALSE(std::filesystem::exists(job));
}

} // namespace
