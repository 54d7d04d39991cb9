// kx-devnode, over real sockets.

#include "devnode_client.h"
#include "kx_run.h"

#include "support/server_process.h"

#include <kxbase/errors.h>
#include <kxbase/hash.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>

namespace {

using kx_test::answer;
using kx_test::devnode_process;
using kx_test::finalized_job;
using kx_test::logged_in;
using kx_test::run_program;
using kx_test::scratch_folder;
using kx_test::submission;
using kxbase::ptr_refcount;
using kxcore::properties;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

template <class Call>
std::string error_of(Call const& call) {
    try {
        call();
    } catch (kxbase::es::base const& error) {
        return error.what();
    }
    return "no error";
}

TEST(kx_devnode, takes_the_three_logins_and_no_others) {
    devnode_process const node;
    std::string const name = kx_test::node_user;
    auto const log_in = [&](std::string const& user, std::string const& password) {
        return error_of([&] {
            (void)kxclientutil::get_client_connection_to_node("localhost", node.port(), user, password, "", "", nullptr,
                                                              20'000);
        });
    };
    EXPECT_EQ(log_in(name, kx_test::node_password), "no error");
    EXPECT_EQ(log_in(name, "wrong"), "Failed to login to node: wrong user or password");
    EXPECT_EQ(log_in("bob", kx_test::node_password), "Failed to login to node: wrong user or password");
    EXPECT_EQ(log_in("", ""), "Failed to login to node: wrong user or password");
    std::string const password = kx_test::node_password;
    EXPECT_TRUE(kxclientutil::get_admin_connection_to_node("localhost", node.port(), name, password, nullptr, 20'000));
    EXPECT_TRUE(
        kxclientutil::get_admin_connection_to_ioserver("localhost", node.port(), name, password, nullptr, 20'000));
    EXPECT_THAT(node.log(), Not(HasSubstr(kxbase::string_hash_SHA1_hex(password))));
}

TEST(kx_devnode, answers_echoes_to_anybody_and_all_else_to_those_who_logged_in) {
    devnode_process const node;
    auto const stranger = kxclientutil::get_connection("localhost", node.port(), nullptr, 20'000);
    kxp::packet echo(kxp::e_packet_type::request, "node.echo");
    echo.set_property("said", "hello");
    EXPECT_EQ(answer(*stranger, echo, "said"), "hello");
    EXPECT_EQ(answer(*stranger, submission(properties(), "a"), "error"), "not logged in");
    auto const administrator = kxclientutil::get_admin_connection_to_node("localhost", node.port(), kx_test::node_user,
                                                                          kx_test::node_password, nullptr, 20'000);
    EXPECT_EQ(answer(*administrator, submission(properties(), "a"), "error"),
              "only clients of the cluster submit jobs");
    EXPECT_EQ(answer(*logged_in(node), kxp::packet(kxp::e_packet_type::request, "dance"), "error"),
              "unknown command \"dance\"");
}

TEST(kx_devnode, refuses_what_is_no_job_and_ids_that_could_leave_the_spool) {
    devnode_process const node;
    auto const connection = logged_in(node);
    EXPECT_EQ(answer(*connection, submission(properties(), "a"), "error"), "Not a finalized submission");
    auto const job = finalized_job();
    for (std::string const& id : {std::string(), std::string("../a"), std::string("a/b"), std::string("a.b"),
                                  std::string("a\0b", 3), std::string(65, 'a')})
        EXPECT_THAT(answer(*connection, submission(*job, id), "error"), HasSubstr("1 to 64 characters")) << id;
    EXPECT_THAT(node.spooled(), IsEmpty());
}

TEST(kx_devnode, has_an_acknowledged_job_after_a_kill_and_takes_it_once) {
    devnode_process node;
    auto const job = finalized_job();
    EXPECT_EQ(answer(*logged_in(node), submission(*job, "first-1"), "id"), "first-1");
    EXPECT_EQ(node.end(SIGKILL), 128 + SIGKILL);
    ASSERT_THAT(node.spooled(), SizeIs(1));
    EXPECT_EQ(*kxclientutil::read_job_file(node.spooled().front()), *job);

    node.start();
    EXPECT_EQ(answer(*logged_in(node), submission(*job, "first-1"), "id"), "first-1");
    EXPECT_THAT(node.spooled(), SizeIs(1));
}

TEST(kx_devnode, stores_jobs_of_many_clients_at_once_and_each_submission_once) {
    devnode_process node;
    auto const job = finalized_job();
    std::vector<std::thread> clients;
    std::atomic<int> stored = 0;
    for (int i = 0; i != 24; ++i)
        clients.emplace_back([&, i] {
            std::string const id = "job-" + std::to_string(i / 2);
            if (answer(*logged_in(node), submission(*job, id), "id") == id) ++stored;
        });
    for (auto& client : clients)
        client.join();
    EXPECT_EQ(stored, 24);
    EXPECT_THAT(node.spooled(), SizeIs(12));
    EXPECT_EQ(node.end(SIGTERM), 0) << node.log();
}

/// Counts what it is told.
struct counting_handler final : kxcapi::state_handler {
    void job_changed(kxcapi::job const& now) override {
        EXPECT_EQ(now.status, "waiting");
        EXPECT_EQ(now.name, "News");
        ++jobs;
    }
    void state_complete() override { ++states; }
    std::atomic<int> jobs = 0;
    std::atomic<int> states = 0;
};

TEST(kx_devnode, announces_the_jobs_there_are_and_those_that_come) {
    devnode_process const node;
    auto const job = finalized_job();
    auto const client = logged_in(node);
    EXPECT_EQ(answer(*client, submission(*job, "a"), "id"), "a");
    counting_handler told;
    auto const watching = kxclientutil::get_state_connection_to_node(
        &told, "localhost", node.port(), kx_test::node_user, kx_test::node_password, "", "", false, 0, nullptr, 20'000);
    EXPECT_TRUE(kx_test::eventually([&] { return told.states == 1 && told.jobs == 1; }));
    EXPECT_EQ(answer(*client, submission(*job, "b"), "id"), "b");
    EXPECT_TRUE(kx_test::eventually([&] { return told.jobs == 2; }));
    EXPECT_THAT(watching->get_jobs(), SizeIs(2));
    watching->close();
}

TEST(kx_devnode, serves_on_beside_peers_that_are_silent_or_speak_something_else) {
    devnode_process node;
    std::vector<ptr_refcount<kxcapi::connection>> silent;
    for (int i = 0; i != 50; ++i)
        silent.push_back(kxclientutil::get_connection("localhost", node.port(), nullptr, 20'000));
    unsigned int const port = static_cast<unsigned int>(std::stoul(node.port()));
    EXPECT_THAT(kx_test::received_from(port, 100, "GET / HTTP/1.0\r\n\r\n"), testing::StartsWith("KXNET"));
    EXPECT_TRUE(logged_in(node)->is_logged_in());
    EXPECT_EQ(node.end(SIGINT), 0) << node.log();
}

TEST(kx_devnode, explains_in_one_line_why_it_does_not_start) {
    devnode_process const running;
    std::string const user = "a:" + std::string(40, '0');
    struct wrong_turn {
        kx_test::strings arguments;
        int exit_code;
        std::string why;
    };
    scratch_folder const folder;
    std::string const file = folder.write("file", "");
    std::string const installation = kx_test::source_path("share/installation");
    wrong_turn const wrong_turns[] = {
        {{"--port", "0", "--user", "a:1", "--spool", "x"}, 2, "40 hexadecimal digits"},
        {{"--port", "0", "--user", user, "--user", user, "--spool", "x"}, 2, "the same user twice"},
        {{"--port", "70000", "--user", user, "--spool", "x"}, 2, "--port"},
        {{"--port", "0", "--user", user, "--spool", "x", "--tls-cert", "c"}, 2, "--tls-key"},
        {{"--port", "0", "--user", user, "--spool", file, "--installation", installation}, 1, "cannot be used"},
        {{"--port", "0", "--user", user, "--spool", running.spool(), "--installation", installation},
         1,
         "another node uses it"},
        {{"--port", running.port(), "--user", user, "--spool", folder.file("s"), "--installation", installation},
         1,
         running.port()},
    };
    for (auto const& [arguments, exit_code, why] : wrong_turns) {
        auto const result = run_program(KX_DEVNODE, arguments);
        EXPECT_EQ(result.exit_code, exit_code) << result.err;
        EXPECT_THAT(result.err, HasSubstr(why));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_THAT(run_program(KX_DEVNODE, {"--help"}).out, HasSubstr("runs no tasks"));
}

} // namespace
