// kx diff.

#include "kx_run.h"

#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

using kx_test::operator+; // NOLINT(misc-unused-using-decls): it is used; the check does not know operators
using kx_test::example;
using kx_test::run_kx;
using kx_test::scratch_folder;
using kx_test::strings;
using testing::HasSubstr;
using testing::Not;

std::string task_document(std::string const& configuration, std::string const& name = "Desk") {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<document identifier="task" version="7">
  <properties key="configuration">
    <list key="body"><string>Done</string></list>
    <string key="from-mail">encoding@example.com</string>
    <string key="server">mail.example.com</string>
    <list key="subject"><string>Online</string></list>
)" + configuration +
           R"(    <string key="to-mail">desk@example.com</string>
  </properties>
  <string key="name">)" +
           name + R"(</string>
  <string key="plugin-id">task/regular/mail/1.0</string>
</document>
)";
}

/// Two task documents that differ in their configurations.
struct two_tasks {
    two_tasks(std::string const& before, std::string const& after)
        : a(folder.write("a.xml", task_document(before))), b(folder.write("b.xml", task_document(after))) {}

    scratch_folder folder;
    std::string a;
    std::string b;
};

TEST(kx_diff, says_nothing_of_equal_documents_whatever_they_are_stored_in) {
    scratch_folder const folder;
    auto const binary = folder.file("workflow.kxb");
    ASSERT_EQ(run_kx({"convert", example("workflow.xml"), binary, "--format", "binary"}).exit_code, 0);
    auto const same = run_kx({"diff", example("workflow.xml"), binary});
    EXPECT_EQ(same.exit_code, 0);
    EXPECT_EQ(same.out, "");
    auto const json = run_kx({"diff", example("workflow.xml"), binary, "--json"}).json();
    EXPECT_EQ(json["equal"], true);
    EXPECT_EQ(json["differences"], nlohmann::json::array());
}

TEST(kx_diff, tells_each_difference_with_its_path_in_a_line) {
    two_tasks const tasks("    <int key=\"port\">25</int>\n    <int key=\"retries\">3</int>\n",
                          "    <int key=\"port\">587</int>\n    <string key=\"cc-mail\">a@example.com</string>\n");
    auto const result = run_kx({"diff", tasks.a, tasks.b});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "+ configuration{cc-mail}: \"a@example.com\"\n"
                          "~ configuration{port}: 25 \xE2\x86\x92 587\n"
                          "- configuration{retries}: 3\n");
    auto const json = run_kx({"diff", tasks.a, tasks.b, "--json"}).json();
    EXPECT_EQ(json["equal"], false);
    EXPECT_EQ(json["differences"], nlohmann::json::parse(R"([
        {"path": "configuration{cc-mail}", "change": "added", "after": "a@example.com"},
        {"path": "configuration{port}", "change": "changed", "before": 25, "after": 587},
        {"path": "configuration{retries}", "change": "removed", "before": 3}])"));
}

TEST(kx_diff, tells_another_kind_and_what_only_one_has_as_one_or_value_by_value) {
    scratch_folder const folder;
    auto const submission = [&](char const* name, std::string const& content) {
        return folder.write(name, R"(<?xml version="1.0" encoding="UTF-8"?>
<document identifier="submission" version="7">
  <string key="name">S</string>
  <properties key="workflow">
    <properties key="ext-meta">)" + content +
                                      R"(</properties>
    <string key="name">W</string>
    <list key="tasks"/>
  </properties>
</document>
)");
    };
    auto const a = submission("a.xml", R"(<string key="x">5</string>)");
    auto const b = submission(
        "b.xml",
        R"(<int key="x">5</int><properties key="y"><string key="a">1</string><list key="l"><int>1</int><int>2</int></list></properties>)");
    EXPECT_EQ(run_kx({"diff", a, b}).out, "~ workflow{ext-meta}{x}: the string \"5\" \xE2\x86\x92 the int 5\n"
                                          "+ workflow{ext-meta}{y}: a tree of 2 members\n");
    EXPECT_EQ(run_kx({"diff", "--whole", b, a}).out,
              "~ workflow{ext-meta}{x}: the int 5 \xE2\x86\x92 the string \"5\"\n"
              "- workflow{ext-meta}{y}{a}: \"1\"\n"
              "- workflow{ext-meta}{y}{l}[0]: 1\n"
              "- workflow{ext-meta}{y}{l}[1]: 2\n");
    EXPECT_EQ(run_kx({"--json", "diff", a, b}).json()["differences"][0]["change"], "kind");
}

TEST(kx_diff, tells_documents_of_different_types_apart_though_their_members_are_equal) {
    scratch_folder const folder;
    auto const document = [&](char const* name, std::string const& type, std::string const& content) {
        return folder.write(name, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<document identifier=\"" + type +
                                      "\" version=\"7\">" + content + "</document>\n");
    };
    std::string const component = R"(<string key="name">C</string><string key="plugin-id">media/c/1.0</string>)";
    auto const filter = document("filter.xml", "filter", component);
    auto const same = document("same.xml", "filter", component);
    auto const encoder = document("encoder.xml", "encoder", component);
    EXPECT_EQ(run_kx({"diff", filter, same}).exit_code, 0);
    auto const result = run_kx({"diff", filter, encoder});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "~ (type of document): filter \xE2\x86\x92 encoder\n");
    auto const told = run_kx({"--json", "diff", filter, encoder});
    EXPECT_EQ(told.exit_code, 1);
    EXPECT_EQ(told.json()["equal"], false);
    EXPECT_EQ(told.json()["differences"],
              nlohmann::json::parse(R"([{"path": "", "change": "type", "before": "filter", "after": "encoder"}])"));

    auto const clips = document("clips.xml", "edl-source", R"(<string key="name">S</string>)");
    auto const stills =
        document("stills.xml", "iseq-source", R"(<string key="name">S</string><list key="sequences"/>)");
    EXPECT_EQ(run_kx({"diff", "--whole", stills, clips}).out,
              "~ (type of document): iseq-source \xE2\x86\x92 edl-source\n- sequences: a list of 0 elements\n");
}

TEST(kx_diff, compares_the_workflow_of_a_submission_as_one) {
    auto const original = example("submission.xml");
    scratch_folder const folder;
    auto const job = folder.file("a.job");
    ASSERT_EQ(run_kx({"finalize", "--submission", original, "-o", job}).exit_code, 0);
    std::vector<std::string> const files{original, example("workflow.xml"), job};
    for (auto const& before : files)
        for (auto const& after : files)
            EXPECT_THAT(run_kx({"diff", before, after}).out, Not(HasSubstr("(type of document)"))) << before << after;
}

TEST(kx_diff, shows_no_password_but_that_it_differs) {
    two_tasks const tasks("    <string key=\"password\">hunter2</string>\n    <string key=\"username\">me</string>\n",
                          "    <string key=\"password\">other3</string>\n    <string key=\"username\">me</string>\n");
    auto const result = run_kx({"diff", tasks.a, tasks.b});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "~ configuration{password}: \"********\": differs in what is not shown\n");
    auto const json = run_kx({"diff", tasks.a, tasks.b, "--json"});
    EXPECT_EQ(json.json()["differences"].size(), 1U);
    EXPECT_THAT(json.out, Not(HasSubstr("hunter2")));
    EXPECT_THAT(json.out, Not(HasSubstr("other3")));
}

std::string finalized(scratch_folder const& folder, char const* name, std::vector<std::string> const& more) {
    auto const job = folder.file(name);
    std::vector<std::string> arguments = {"finalize", "--workflow", example("workflow-proxy.xml"), "-o", job};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(run_kx(arguments).exit_code, 0);
    return job;
}

TEST(kx_diff, compares_a_workflow_with_that_of_a_job) {
    scratch_folder const folder;
    auto const job = finalized(folder, "a.job", {"--file", "http://archive.example.com/a.mov"});
    auto const result = run_kx({"diff", example("workflow-proxy.xml"), job});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("+ tasks[2]: a tree of "));
    EXPECT_THAT(result.out, HasSubstr("+ workflow-meta"));
    EXPECT_THAT(result.out, Not(HasSubstr("compressed-original")));
    auto const original = folder.file("original.xml");
    ASSERT_EQ(run_kx({"original", job, "-o", original}).exit_code, 0);
    EXPECT_THAT(run_kx({"diff", original, job}).out, HasSubstr("+ ext-meta: a tree of 1 member\n"));
}

TEST(kx_diff, counts_the_submissions_inside_two_jobs_as_one_value) {
    scratch_folder const folder;
    auto const a = finalized(folder, "a.job", {"--priority", "1"});
    auto const b = finalized(folder, "b.job", {"--priority", "2"});
    EXPECT_EQ(run_kx({"diff", a, a}).exit_code, 0);
    EXPECT_EQ(run_kx({"diff", a, b}).out, "~ workflow{configuration}{priority}: 1 \xE2\x86\x92 2\n");
    auto const c = finalized(folder, "c.job", {"--priority", "1", "--file", "ftp://host/a.mov"});
    auto const result = run_kx({"diff", a, c});
    EXPECT_THAT(result.out, HasSubstr("~ ext-meta{compressed-original}: a binary value of "));
    EXPECT_THAT(result.out, HasSubstr(": the submissions that the jobs were made from differ\n"));
    auto const json = run_kx({"--json", "diff", a, c}).json();
    EXPECT_TRUE(json["differences"][0]["after"].contains("$binary-size"));
}

TEST(kx_diff, says_what_it_cannot_read_and_prints_no_difference) {
    auto const result = run_kx({"diff", example("workflow.xml"), "no-such.xml"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, testing::StartsWith("kx: no-such.xml: "));
    EXPECT_EQ(run_kx({"diff", example("workflow.xml")}).exit_code, 2);
}

/// A submission with these members, and these in the "ext-meta" of its workflow, where any may be.
std::string submission_with(std::string const& in_workflow, std::string const& members = "") {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<document identifier="submission" version="7">
  )" + members +
           R"(<string key="name">S</string>
  <properties key="workflow">
    <properties key="ext-meta">)" +
           in_workflow + R"(</properties>
    <string key="name">W</string>
    <list key="tasks"/>
  </properties>
</document>
)";
}

/// The sample installation, but that its documents may hold any members.
std::string open_installation(scratch_folder const& folder) {
    constexpr std::string_view closed = R"(<bool key="closed">true)";
    constexpr std::string_view opened = R"(<bool key="closed">false)";
    auto const copy = folder.file("installation");
    std::filesystem::copy(kx_test::source_path("share/installation"), copy, std::filesystem::copy_options::recursive);
    for (auto const& each : std::filesystem::directory_iterator(copy + "/constraints")) {
        auto const file = "installation/constraints/" + each.path().filename().string();
        auto text = folder.read(file);
        for (auto at = text.find(closed); at != std::string::npos; at = text.find(closed, at))
            text.replace(at, closed.size(), opened);
        folder.write(file, text);
    }
    return copy;
}

/// The same difference of two submissions as XML, in the binary format, and as jobs.
void expect_told(std::string const& before, std::string const& after, std::string const& line,
                 nlohmann::json const& told) {
    scratch_folder const folder;
    auto const installation = open_installation(folder);
    auto const run = [&](strings const& arguments) {
        return kx_test::run_kx_bare(strings{"--installation", installation} + arguments);
    };
    strings const pairs[] = {{folder.write("a.xml", before), folder.write("b.xml", after)},
                             {folder.file("a.kxb"), folder.file("b.kxb")},
                             {folder.file("a.job"), folder.file("b.job")}};
    for (std::size_t index : {0U, 1U}) {
        auto const& document = pairs[0][index];
        ASSERT_EQ(run({"convert", document, pairs[1][index], "--format", "binary"}).exit_code, 0);
        ASSERT_EQ(run({"finalize", "--submission", document, "-o", pairs[2][index]}).exit_code, 0);
    }
    for (auto const& files : pairs) {
        auto const result = run({"diff", files[0], files[1]});
        EXPECT_EQ(result.exit_code, 1) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_THAT("\n" + result.out, HasSubstr("\n" + line + "\n")) << files[0];
        EXPECT_THAT(result.out, Not(HasSubstr("(type of document)")));
        EXPECT_THAT(run({"diff", "--json", files[0], files[1]}).json()["differences"], testing::Contains(told));
    }
}

TEST(kx_diff, tells_of_members_whose_name_is_empty) {
    expect_told(submission_with(R"(<int key="">5</int>)"), submission_with(R"(<int key="">6</int>)"),
                "~ workflow{ext-meta}{}: 5 \xE2\x86\x92 6",
                {{"path", "workflow{ext-meta}{}"}, {"change", "changed"}, {"before", 5}, {"after", 6}});
    expect_told(
        submission_with(R"(<properties key=""><int key="">5</int></properties>)"),
        submission_with(R"(<properties key=""><list key=""/></properties>)"),
        "~ workflow{ext-meta}{}{}: the int 5 \xE2\x86\x92 a list of 0 elements",
        {{"path", "workflow{ext-meta}{}{}"}, {"change", "kind"}, {"before", 5}, {"after", nlohmann::json::array()}});
}

// Its path is empty, as is that of the difference of two types.
TEST(kx_diff, tells_of_a_first_member_whose_name_is_empty) {
    auto const with = [](char const* member) { return submission_with("", member); };
    expect_told(with(""), with(R"(<string key="">x</string>)"), "+ : \"x\"",
                {{"path", ""}, {"change", "added"}, {"after", "x"}});
    expect_told(with(R"(<list key=""/>)"), with(""), "- : a list of 0 elements",
                {{"path", ""}, {"change", "removed"}, {"before", nlohmann::json::array()}});
    expect_told(with(R"(<int key="">5</int>)"), with(R"(<string key="">x</string>)"),
                "~ : the int 5 \xE2\x86\x92 the string \"x\"",
                {{"path", ""}, {"change", "kind"}, {"before", 5}, {"after", "x"}});
}

TEST(kx_diff, takes_members_that_are_called_as_kinds_are_for_members) {
    expect_told(submission_with(R"(<properties key="m"><int key="$binary">5</int></properties>)"),
                submission_with(R"(<binary key="m">YWI=</binary>)"),
                "~ workflow{ext-meta}{m}: a tree of 1 member \xE2\x86\x92 a binary value of 2 bytes",
                {{"path", "workflow{ext-meta}{m}"},
                 {"change", "kind"},
                 {"before", {{"$binary", 5}}},
                 {"after", {{"$binary-size", 2}}}});
    expect_told(
        submission_with(R"(<properties key="m"><string key="$binary">YWI=</string></properties>)"),
        submission_with(R"(<int key="m">5</int>)"),
        "~ workflow{ext-meta}{m}: a tree of 1 member \xE2\x86\x92 the int 5",
        {{"path", "workflow{ext-meta}{m}"}, {"change", "kind"}, {"before", {{"$binary", "YWI="}}}, {"after", 5}});
}

} // namespace
