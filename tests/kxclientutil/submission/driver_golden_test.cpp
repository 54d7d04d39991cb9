// Whole jobs, held against those in golden/jobs/, which were read line by line. The submissions are the examples of the
// sample installation and those in golden/submissions/. After a change that is meant, KX_WRITE_GOLDENS=1 writes the jobs
// that have become others anew (the test fails that one time); every changed line is then to be read.
#include "kxclientutil/support/finalized.h"
#include "kxclientutil/support/sample_fixture.h"

#include <kxclientutil/submission.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>

namespace kxclientutil {

namespace {

using kx_test::number;
using kx_test::sample_installation;
using kx_test::text;
using kxcore::properties;

/// A job: what it is made from, and with which settings. Those that it doesn't name: submitted by "desk-1", for any node.
struct golden_job {
    std::string name;
    std::string submission; ///< a file in golden/submissions/, without suffix; or an example's path
    void (*choose)(finalize_sub_conf&) = nullptr;
};

void PrintTo(golden_job const& job, std::ostream* out) {
    *out << job.name;
}

void as_resources(finalize_sub_conf& settings) {
    settings.resource_uri_option = true;
}

void as_resources_for_a_node(finalize_sub_conf& settings) {
    settings.resource_uri_option = true;
    settings.node_id = "node-7";
}

void for_a_node(finalize_sub_conf& settings) {
    settings.node_id = "node-7";
}

void without_nodes(finalize_sub_conf& settings) {
    settings.resource_uri_option = true;
    settings.origin_node_id = "";
}

void for_a_node_alone(finalize_sub_conf& settings) {
    settings.origin_node_id = "";
    settings.node_id = "node-7";
    settings.guess_shared_storage = false;
    settings.set_priority(0);
}

void under_another_name(finalize_sub_conf& settings) {
    settings.submission_name = "Special edition";
}

void with_values(finalize_sub_conf& settings) {
    settings.set_priority(-20);
    settings.in_values = {{"dest-dir-url", text("file:/media/values/")},
                          {"no-such-input", text("skipped")},
                          {"threads", number(4)},
                          {"dest-filename[1]", text("$source.name$")}};
    settings.task_name_in_values = {{"HD", {{"dest-dir-url", text("file:/media/hd/")}, {"dest-filename", text("hd")}}},
                                    {"Nobody", {{"no-such-input", text("never asked for")}}}};
    settings.task_type_in_values = {
        {"upload", {{"username", text("press")}, {"dest-dir-url", text("ftp://example.com/x/")}}},
        {"encoder", {{"source-url", text("file:/media/in/a.mov")}}}};
}

std::vector<golden_job> written_by_hand() {
    return {
        {"workflow-alone", "workflow-alone"},
        {"workflow-alone-for-a-node-alone", "workflow-alone", for_a_node_alone},
        {"workflow-alone-under-another-name", "workflow-alone", under_another_name},
        {"no-tasks", "no-tasks", for_a_node_alone},
        {"local-files-in-place", "local-files", for_a_node},
        {"local-files-as-resources", "local-files", as_resources_for_a_node},
        {"local-files-without-nodes", "local-files", without_nodes},
        {"local-files-under-another-name", "local-files", under_another_name},
        {"remote-files", "remote-files", as_resources_for_a_node},
        {"own-localizer", "own-localizer"},
        {"image-sequences", "image-sequences", as_resources},
        {"image-sequences-in-place", "image-sequences"},
        {"remote-image-sequence", "remote-image-sequence", as_resources},
        {"watched-folder", "watched-folder", as_resources_for_a_node},
        {"watched-folder-in-place", "watched-folder"},
        {"watched-server", "watched-server", as_resources},
        {"edl-local-in-place", "edl-local"},
        {"edl-local-as-resources", "edl-local", as_resources_for_a_node},
        {"edl-remote", "edl-remote", as_resources},
        {"edl-sound-alone", "edl-sound-alone", as_resources},
        {"media-files", "media-files", as_resources},
        {"extra-files", "extra-files"},
        {"connections", "connections"},
        {"failure-encode-move", "failure-encode-move", as_resources},
        {"failure-encode-remove", "failure-encode-remove"},
        {"failure-encode-stop", "failure-encode-stop"},
        {"failure-deployment-move", "failure-deployment-move"},
        {"failure-deployment-remove", "failure-deployment-remove"},
        {"success-remove", "success-remove"},
        {"actions-without-tasks", "actions-without-tasks"},
        {"variables", "variables"},
        {"variables-by-uri", "variables-by-uri"},
        {"variables-unresolved", "variables-unresolved"},
        {"chains", "chains"},
        {"input-values", "input-values", with_values},
        {"several-sources", "several-sources"},
        {"task-resources-in-place", "task-resources"},
        {"task-resources", "task-resources", as_resources_for_a_node},
    };
}

std::filesystem::path golden_folder() {
    return kx_test::source_path("tests/kxclientutil/submission/golden");
}

/// The names of the documents in a folder, without suffix, sorted.
std::vector<std::string> documents_in(std::filesystem::path const& folder) {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".xml") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<golden_job> golden_jobs() {
    std::vector<golden_job> jobs = written_by_hand();
    for (golden_job& job : jobs)
        job.submission = (golden_folder() / "submissions" / (job.submission + ".xml")).string();
    std::filesystem::path const examples = kx_test::source_path("share/installation/examples");
    for (std::string const& name : documents_in(examples))
        if (name.starts_with("submission"))
            jobs.push_back({"example-" + name, (examples / (name + ".xml")).string(), as_resources});
    return jobs;
}

class driver_golden : public kx_test::sample_fixture, public testing::WithParamInterface<golden_job> {};

TEST_P(driver_golden, is_the_job_that_was_read_line_by_line) {
    golden_job const& job = GetParam();
    ASSERT_EQ(read_file(job.submission), config_submission) << "valid";
    // As it is stored: reading has its own ways with resource URIs, which would take them away from finalization.
    properties const submission = kx_test::parse_document_file(job.submission).content;
    finalize_sub_conf settings("desk-1");
    if (job.choose) job.choose(settings);

    auto const result = kx_test::finalize_copy(submission, settings, sample_installation());

    ASSERT_EQ(result.error, "");
    EXPECT_EQ(*submission_get_unfinalized_submission(result.submission), submission);
    kx_test::expect_room_for(result, submission, settings, sample_installation());
    std::string const found = kx_test::described(result, submission);
    std::filesystem::path const path = golden_folder() / "jobs" / (job.name + ".xml");
    std::string const golden = std::filesystem::exists(path) ? kx_test::read_file(path) : "";
    if (found != golden && std::getenv("KX_WRITE_GOLDENS")) { // NOLINT(concurrency-mt-unsafe): nobody changes it
        std::ofstream(path, std::ios::binary) << found;
        FAIL() << path << " was written anew: read what has become of it.";
    }
    EXPECT_EQ(found, golden);
}

INSTANTIATE_TEST_SUITE_P(jobs, driver_golden, testing::ValuesIn(golden_jobs()), [](auto const& job) {
    std::string name = job.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

TEST(golden_files, belong_to_a_job_each) {
    std::vector<std::string> jobs;
    std::set<std::string> submissions;
    for (golden_job const& job : golden_jobs())
        jobs.push_back(job.name);
    for (golden_job const& job : written_by_hand())
        submissions.insert(job.submission);
    EXPECT_THAT(documents_in(golden_folder() / "jobs"), testing::UnorderedElementsAreArray(jobs));
    EXPECT_THAT(documents_in(golden_folder() / "submissions"), testing::ElementsAreArray(submissions));
}

} // namespace

} // namespace kxclientutil
