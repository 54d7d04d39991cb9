// kx submit when the line breaks, the node falls silent, or the user has enough.

#include "devnode_client.h"
#include "kx_dialogue.h"
#include "kx_process.h"
#include "lossy_line.h"

#include "support/certificates.h"

#include <kxbase/hash.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>

namespace {

using kx_test::operator+; // NOLINT(misc-unused-using-decls): it is used; the check does not know operators
using kx_test::devnode_process;
using kx_test::e_fault;
using kx_test::eventually;
using kx_test::kx_process;
using kx_test::lossy_line;
using kx_test::run_kx;
using kx_test::scratch_folder;
using kx_test::strings;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char const* may_be_there =
    "; the job was sent whole, and the node may have it \\(see kx status\\): to send it "
    "again, repeat the command with --id one\n";

/// Submits a job of one file as "one".
strings submitting(scratch_folder const& folder, std::string const& address, std::string const& password_file) {
    return {"submit",
            "--workflow",
            kx_test::example("workflow.xml"),
            "--file",
            folder.write("clip.mov", "a"),
            "--as-resources",
            "--id",
            "one",
            "--to",
            address,
            "--user",
            kx_test::node_user,
            "--password-file",
            password_file,
            "--timeout",
            "10"};
}

/// A node, and a way to it that loses things.
struct bad_line {
    explicit bad_line(std::vector<e_fault> faults, strings const& node_arguments = {})
        : node(node_arguments), proxy(node.port(), std::move(faults)) {}

    [[nodiscard]] strings command() const { return submitting(folder, proxy.address(), node.password_file()); }

    scratch_folder folder;
    devnode_process node;
    lossy_line proxy;
};

std::string text_of(std::size_t size) {
    std::string text;
    text.resize(size, 'x');
    return text;
}

/// A workflow that is larger than what a line holds.
std::string large_workflow(scratch_folder const& folder) {
    std::string text = kx_test::read_file(kx_test::example("workflow.xml"));
    std::string const before = "<string key=\"comment\">";
    text.insert(text.find(before) + before.size(), text_of(12'000'000));
    return folder.write("large.xml", text);
}

TEST(kx_submit, sends_the_job_again_when_the_answer_is_lost_and_there_is_one) {
    for (e_fault const fault : {e_fault::before_answer, e_fault::in_answer, e_fault::silent}) {
        bad_line const line({fault});
        auto const sent = run_kx(line.command());
        EXPECT_EQ(sent.exit_code, 0) << sent.err;
        EXPECT_THAT(sent.out, HasSubstr(", id one\n"));
        EXPECT_THAT(sent.err, IsEmpty());
        EXPECT_EQ(line.proxy.connections(), 2U);
        EXPECT_THAT(line.node.spooled(), SizeIs(1));
        EXPECT_THAT(line.node.log(), HasSubstr("job one of \"alice\" was there already"));
    }
}

TEST(kx_submit, says_that_the_node_may_have_the_job_and_how_to_send_it_again) {
    struct loss {
        std::vector<e_fault> faults;
        std::string why;
    };
    loss const losses[] = {
        {{e_fault::before_answer, e_fault::refused},
         "kx: Failed to connect to node at localhost:[0-9]+ \\(connection failed\\), .*"},
        {{e_fault::in_answer, e_fault::before_answer}, "kx: localhost:[0-9]+: .*"},
        {{e_fault::silent, e_fault::silent},
         "kx: localhost:[0-9]+: no reply to \"cluster.job.submit\" from 127.0.0.1:[0-9]+ within the time-out"},
    };
    for (auto const& [faults, why] : losses) {
        bad_line const line(faults);
        auto const lost = run_kx(line.command());
        EXPECT_EQ(lost.exit_code, 3);
        EXPECT_THAT(lost.err, MatchesRegex(why + may_be_there));
        EXPECT_THAT(lost.out, IsEmpty());
        EXPECT_EQ(line.proxy.connections(), 2U);
        auto const again = run_kx(line.command());
        EXPECT_EQ(again.exit_code, 0) << again.err;
        EXPECT_THAT(line.node.spooled(), SizeIs(1));
    }
}

TEST(kx_submit, fails_plainly_when_the_line_breaks_while_it_sends) {
    bad_line const line({e_fault::in_request});
    scratch_folder const folder;
    strings command = line.command();
    command[2] = large_workflow(folder);
    auto const broken = run_kx(command);
    EXPECT_EQ(broken.exit_code, 3);
    EXPECT_THAT(broken.err, MatchesRegex("kx: localhost:[0-9]+: [^\n]*\n"));
    EXPECT_THAT(broken.err, Not(HasSubstr("may have it")));
    EXPECT_EQ(line.proxy.connections(), 1U);
    EXPECT_THAT(line.node.spooled(), IsEmpty());
}

TEST(kx_submit, waits_for_the_answer_when_it_is_interrupted_after_all_was_sent) {
    bad_line const line({e_fault::silent});
    strings command = line.command();
    command.back() = "60";
    kx_process run(command);
    ASSERT_TRUE(eventually([&] { return line.proxy.has_struck() && run.is_waiting(); }));
    run.signal(SIGINT);
    std::string const waiting = "kx: the job has been sent; waiting for the node's answer (Ctrl-C again gives up)\n";
    ASSERT_TRUE(eventually([&] { return run.err() == waiting; })) << run.err();
    run.signal(SIGINT);
    EXPECT_EQ(run.wait(), 128 + SIGINT);
    EXPECT_THAT(run.err().substr(waiting.size()),
                MatchesRegex("kx: localhost:[0-9]+: interrupted" + std::string(may_be_there)));
    EXPECT_EQ(line.proxy.connections(), 1U);
    EXPECT_THAT(line.node.spooled(), SizeIs(1));
}

TEST(kx_submit, makes_no_second_attempt_once_it_was_interrupted) {
    bad_line const line({e_fault::silent});
    kx_process run(line.command());
    ASSERT_TRUE(eventually([&] { return line.proxy.has_struck() && run.is_waiting(); }));
    run.signal(SIGTERM);
    EXPECT_EQ(run.wait(), 128 + SIGTERM);
    EXPECT_THAT(run.err(), HasSubstr("no reply to \"cluster.job.submit\""));
    EXPECT_THAT(run.err(), HasSubstr("repeat the command with --id one\n"));
    EXPECT_EQ(line.proxy.connections(), 1U);
}

TEST(kx_submit, tells_of_the_job_when_it_is_interrupted_while_it_connects_again) {
    bad_line const line({e_fault::before_answer, e_fault::without_greeting});
    strings command = line.command();
    command.back() = "60";
    kx_process run(command);
    ASSERT_TRUE(eventually([&] { return line.proxy.connections() == 2; }));
    run.signal(SIGHUP);
    EXPECT_EQ(run.wait(), 128 + SIGHUP);
    EXPECT_THAT(run.err(), MatchesRegex("kx: localhost:[0-9]+: interrupted" + std::string(may_be_there)));
}

TEST(kx_submit, leaves_nothing_when_it_is_interrupted_while_it_connects) {
    bad_line const line({e_fault::without_greeting});
    strings command = line.command();
    command.back() = "60";
    kx_process run(command);
    ASSERT_TRUE(eventually([&] { return line.proxy.connections() == 1; }));
    run.signal(SIGINT);
    EXPECT_EQ(run.wait(), 128 + SIGINT);
    EXPECT_THAT(run.err(), IsEmpty());
    EXPECT_THAT(line.node.spooled(), IsEmpty());
}

TEST(kx_submit, leaves_nothing_when_it_is_interrupted_while_it_sends_also_over_tls) {
    auto const& made = kx_test::certificates::get();
    for (bool const tls : {false, true}) {
        strings const node_options = tls ? strings{"--tls-cert", made.good(), "--tls-key", made.key()} : strings();
        bad_line line({e_fault::stalled}, node_options);
        std::size_t const idle = line.node.threads();
        scratch_folder const folder;
        strings command = line.command();
        command[2] = large_workflow(folder);
        command.back() = "60";
        if (tls) command = command + strings{"--tls", "--ca", made.ca()};
        kx_process run(command);
        ASSERT_TRUE(eventually([&] { return line.proxy.has_struck(); })) << run.err();
        auto const asked = std::chrono::steady_clock::now();
        run.signal(SIGINT);
        EXPECT_EQ(run.wait(), 128 + SIGINT);
        EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(20));
        EXPECT_THAT(run.err(), IsEmpty());
        EXPECT_THAT(run.out(), IsEmpty());
        line.proxy.end();
        EXPECT_TRUE(eventually([&] { return line.node.threads() <= idle; })) << line.node.log();
        EXPECT_TRUE(std::filesystem::is_empty(line.node.spool()));
    }
}

TEST(kx_submit, leaves_nothing_when_it_is_interrupted_at_the_prompt_for_the_password) {
    devnode_process const node;
    scratch_folder const folder;
    strings command = submitting(folder, node.address(), node.password_file());
    command.erase(std::find(command.begin(), command.end(), "--password-file"), command.end());
    auto const talk = kx_test::talk_to_kx(command, {{"Password for ", "\x03"}});
    EXPECT_EQ(talk.result.exit_code, 128 + SIGINT);
    EXPECT_TRUE(talk.echoes_afterwards);
    EXPECT_THAT(node.spooled(), IsEmpty());
    EXPECT_THAT(node.log(), Not(HasSubstr("127.0.0.1")));
}

TEST(kx_submit, shows_neither_password_nor_digest_in_the_whole_log) {
    devnode_process const node;
    scratch_folder const folder;
    auto const sent = run_kx(submitting(folder, node.address(), node.password_file()) + strings{"--verbose"});
    EXPECT_EQ(sent.exit_code, 0);
    EXPECT_THAT(sent.out + sent.err, Not(HasSubstr(kx_test::node_password)));
    EXPECT_THAT(sent.out + sent.err, Not(HasSubstr(kxbase::string_hash_SHA1_hex(kx_test::node_password))));
}

TEST(kx_submit, says_which_limit_a_job_breaks_that_is_too_large_to_send) {
    devnode_process const node;
    scratch_folder const folder;
    std::string text = kx_test::read_file(kx_test::example("workflow.xml"));
    std::string const before = "<string key=\"comment\">";
    std::string filling;
    for (char const* const key : {"a", "b", "c", "d", "e"})
        filling += text_of(14'000'000) + "</string><string key=\"" + key + "\">";
    text.insert(text.find(before) + before.size(), filling);
    strings command = submitting(folder, node.address(), node.password_file());
    std::string const& large = command[2] = folder.write("large.xml", text);
    for (strings const& how : {strings{}, strings{"--dry-run"}}) {
        auto const refused = run_kx(command + how);
        EXPECT_EQ(refused.exit_code, 1);
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, AllOf(StartsWith("kx: " + large + ": packet \"cluster.job.submit\" cannot be sent: "),
                                       HasSubstr("(limit frame)")));
    }
    EXPECT_THAT(node.log(), Not(HasSubstr("logged in"))) << "it is seen before";
    EXPECT_THAT(node.spooled(), IsEmpty());
}

} // namespace
