// kx submit and kx status, with a node that they talk to.

#include "devnode_process.h"
#include "kx_run.h"

#include "support/certificates.h"
#include "support/scripted_node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

namespace {

using kx_test::operator+; // NOLINT(misc-unused-using-decls): it is used; the check does not know operators
using kx_test::certificates;
using kx_test::devnode_process;
using kx_test::example;
using kx_test::run_kx;
using kx_test::scratch_folder;
using kx_test::strings;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A clip, and the options of a job made of it.
struct clip_job {
    scratch_folder folder;
    strings options = {
        "--workflow",   example("workflow.xml"), "--file", folder.write("clip.mov", "a"), "--as-resources", "--name",
        "Evening news", "--origin-node",         "desk-1"};
};

strings access_to(devnode_process const& node, std::string const& host = "localhost") {
    return {"--to", host + ":" + node.port(), "--user", kx_test::node_user, "--password-file", node.password_file()};
}

/// What kx says of the folder that the node will ask for.
std::string fetched(clip_job const& job) {
    return "  the nodes will fetch from kxrc:" + job.folder.path().string() + "/#desk-1\n";
}

strings with_tls(std::string const& ca) {
    return {"--tls", "--ca", ca};
}

TEST(kx_submit, takes_a_submission_document) {
    devnode_process const node;
    auto const submission = std::string(KX_SOURCE_DIR) + "/share/installation/examples/submission-remote.xml";
    auto const sent = run_kx(strings{"submit", "--submission", submission} + access_to(node));
    ASSERT_EQ(sent.exit_code, 0) << sent.err;
    EXPECT_THAT(node.spooled(), SizeIs(1));
}

TEST(kx_submit, delivers_the_job_that_finalize_makes) {
    devnode_process const node;
    clip_job const job;
    auto const sent = run_kx(strings{"submit", "--id", "one"} + job.options + access_to(node));
    ASSERT_EQ(sent.exit_code, 0) << sent.err << node.log();
    EXPECT_EQ(sent.out, node.address() + ": the job \"Evening news\", 7 tasks, id one\n" + fetched(job));

    ASSERT_THAT(node.spooled(), SizeIs(1));
    std::string const file = job.folder.file("job");
    ASSERT_EQ(run_kx(strings{"finalize"} + job.options + strings{"-o", file}).exit_code, 0);
    auto const difference = run_kx({"diff", node.spooled().front(), file});
    EXPECT_EQ(difference.exit_code, 0) << difference.out << difference.err;
    EXPECT_EQ(run_kx({"show", node.spooled().front(), "--json"}).json(), run_kx({"show", file, "--json"}).json());
}

TEST(kx_submit, sends_nothing_on_a_dry_run) {
    devnode_process const node;
    clip_job const job;
    auto const result = run_kx(strings{"submit", "--dry-run"} + job.options + access_to(node));
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, node.address() + ": the job \"Evening news\", 7 tasks would be sent\n" + fetched(job));
    EXPECT_THAT(node.spooled(), IsEmpty());
    EXPECT_THAT(node.log(), Not(HasSubstr("127.0.0.1")));
}

TEST(kx_status, lists_the_jobs_of_a_node_also_after_it_was_killed) {
    devnode_process node;
    EXPECT_THAT(run_kx(strings{"status"} + access_to(node)).out, IsEmpty());
    auto const sent = run_kx(strings{"submit", "--json"} + clip_job().options + access_to(node)).json();
    std::string const id = sent["id"];
    for (bool const was_killed : {false, true}) {
        if (was_killed) {
            node.end(SIGKILL);
            node.start();
        }
        EXPECT_EQ(run_kx(strings{"status"} + access_to(node)).out, id + "  waiting  Evening news\n");
        auto const jobs = run_kx(strings{"status", "--json"} + access_to(node)).json()["jobs"];
        ASSERT_THAT(jobs, SizeIs(1));
        EXPECT_EQ(jobs[0]["id"], id);
        EXPECT_EQ(jobs[0]["status"], "waiting");
    }
}

TEST(kx_submit, goes_through_tls_when_it_is_wanted_and_the_node_can_be_trusted) {
    auto const& made = certificates::get();
    devnode_process const node({"--tls-cert", made.good(), "--tls-key", made.key()});
    clip_job const job;
    auto const sent = run_kx(strings{"submit"} + job.options + access_to(node) + with_tls(made.ca()));
    EXPECT_EQ(sent.exit_code, 0) << sent.err << node.log();
    EXPECT_THAT(node.spooled(), SizeIs(1));
    EXPECT_THAT(run_kx(strings{"status"} + access_to(node) + with_tls(made.ca())).out, HasSubstr("Evening news"));
}

/// What a run says that must fail for the node's sake, in one line.
std::string refusal(strings const& command) {
    auto const result = run_kx(command);
    EXPECT_EQ(result.exit_code, 3) << result.out << result.err;
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, Not(HasSubstr(kx_test::node_password)));
    return result.err;
}

TEST(kx_submit, explains_each_wrong_turn_in_one_line) {
    auto const& made = certificates::get();
    scratch_folder const folder;
    clip_job const job;
    devnode_process const plain;
    devnode_process const secure({"--tls-cert", made.good(), "--tls-key", made.key()});
    devnode_process const untrusted({"--tls-cert", made.foreign(), "--tls-key", made.key()});
    std::string const wrong = folder.write("wrong", "wrong\n");
    std::filesystem::permissions(wrong, std::filesystem::perms::owner_read);
    strings const submit = strings{"submit"} + job.options;
    auto const failed = [](std::string const& address) { return "kx: Failed to connect to node at " + address; };
    EXPECT_EQ(
        refusal(submit + strings{"--to", plain.address(), "--user", kx_test::node_user, "--password-file", wrong}),
        "kx: " + plain.address() + ": Failed to login to node: wrong user or password\n");
    EXPECT_EQ(refusal(submit + access_to(secure, "127.0.0.1")),
              failed("127.0.0.1:" + secure.port()) + " (127.0.0.1:" + secure.port() + " wants TLS): try --tls\n");
    EXPECT_EQ(refusal(submit + access_to(plain) + with_tls(made.ca())),
              failed(plain.address()) + " (the peer does not speak TLS): without --tls?\n");
    EXPECT_EQ(refusal(submit + access_to(untrusted) + with_tls(made.ca())),
              failed(untrusted.address()) + " (the certificate of 'localhost' is not to be trusted: "
                                            "unable to get local issuer certificate): see --ca\n");
    // The second where nobody answers who would know.
    EXPECT_THAT(refusal(submit + strings{"--to", "no-such-host.invalid:1", "--user", "a", "--password-file", wrong}),
                testing::MatchesRegex(failed("no-such-host.invalid:1") +
                                      " \\(connection failed\\), 'no-such-host.invalid' port '1': "
                                      "(Name or service not known|Temporary failure in name resolution)\n"));
    EXPECT_THAT(plain.spooled(), IsEmpty());
    EXPECT_THAT(secure.spooled(), IsEmpty());
    kx_test::deaf_port const nobody;
    std::string const there = "127.0.0.1:" + nobody.port();
    EXPECT_EQ(refusal({"status", "--to", there, "--user", "a", "--password-file", wrong}),
              failed(there) + " (connection failed), " + there + ": Connection refused\n");
}

TEST(kx_submit, takes_a_host_or_an_address_and_a_port) {
    devnode_process const node;
    strings const login = {"--user", kx_test::node_user, "--password-file", node.password_file()};
    for (std::string const host : {"localhost", "127.0.0.1", "[::1]"})
        EXPECT_EQ(run_kx(strings{"status", "--to", host + ":" + node.port()} + login).exit_code, 0) << host;
    for (char const* const to : {"", "host", "host:", ":1", "a:b:c", "[]:1", "[::1]", "::1:1"}) {
        auto const result = run_kx(strings{"status", "--to", to} + login);
        EXPECT_EQ(result.exit_code, 2) << to;
        EXPECT_THAT(result.err, HasSubstr("a node is HOST:PORT, or [ADDRESS]:PORT with an IPv6 address")) << to;
    }
    for (char const* const seconds : {"0", "86401", "-1", "1.5", "soon"})
        EXPECT_EQ(run_kx(strings{"status", "--to", "host:1", "--timeout", seconds} + login).exit_code, 2) << seconds;
    auto const bad_id = run_kx(strings{"submit", "--to", "host:1", "--id", "a b"} + login + clip_job().options);
    EXPECT_EQ(bad_id.exit_code, 2);
    EXPECT_THAT(bad_id.err, HasSubstr("an id has 1 to 64 characters of A-Z, a-z, 0-9 and -"));
}

/// A workflow that is larger than what the sockets between a client and a node keep.
std::string large_workflow(scratch_folder const& folder) {
    std::string text = kx_test::read_file(example("workflow.xml"));
    std::string const before = "<string key=\"comment\">";
    std::string filling;
    filling.resize(15'000'000, 'x');
    text.insert(text.find(before) + before.size(), filling + "</string><string key=\"note\">" + filling);
    return folder.write("large.xml", text);
}

TEST(kx_submit, sends_large_jobs) {
    devnode_process const node;
    scratch_folder const folder;
    strings const command = {"submit", "--workflow", large_workflow(folder)};
    auto const sent = kx_test::run_kx_on_terminal(command + access_to(node), {{"TERM", "xterm"}});
    EXPECT_EQ(sent.exit_code, 0) << node.log();
    EXPECT_THAT(sent.err, HasSubstr("sending ["));
    ASSERT_THAT(node.spooled(), SizeIs(1));
    EXPECT_GT(std::filesystem::file_size(node.spooled().front()), 30'000'000U);
}

} // namespace
