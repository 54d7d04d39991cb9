// kx finds nodes that announce themselves, on networks of hosts that the tests make.

#include "kx_process.h"
#include "kx_run.h"

#include "support/certificates.h"
#include "support/dnssd_network.h"
#include "support/scratch_folder.h"
#include "support/waiting.h"

#include <kxbase/hash.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <sstream>

namespace {

using kx_test::operator+; // NOLINT(misc-unused-using-decls): it is used; the check does not know operators
using kx_test::dnssd_network;
using kx_test::host_process;
using kx_test::run_kx;
using kx_test::strings;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr char const* password = "open sesame";

class discovery : public testing::Test {
protected:
    /// @return false when the test is skipped
    bool make() {
        try {
            network_ = std::make_unique<dnssd_network>(1);
        } catch (kx_test::network_unavailable const& error) {
            skip_reason_ = error.what();
            return false;
        }
        ::setenv("KX_KEY_FILE", folder_.file("credentials.key").c_str(), 1);
        ::setenv("KX_PASSWORD", password, 1);
        return true;
    }

    /// A node on the other host, with a spool of its own.
    std::unique_ptr<host_process> start_node(std::string const& name, std::string const& cluster,
                                             std::string const& port, strings const& more = {}) {
        return network_->start(1, strings{KX_DEVNODE, "--port", port, "--user",
                                          "alice:" + kxbase::string_hash_SHA1_hex(password), "--spool", spool(port),
                                          "--installation", kx_test::source_path("share/installation"), "--announce",
                                          name, "--cluster", cluster, "--id", "id-" + port} +
                                      more);
    }

    std::unique_ptr<host_process> announce(std::string const& name, strings const& entries) {
        return network_->start(1, strings{KX_TEST_ANNOUNCER, "1", name, "9000"} + entries);
    }

    std::string spool(std::string const& port) const { return folder_.file("spool-" + port); }

    std::size_t jobs_in(std::string const& port) const {
        auto const files = std::filesystem::directory_iterator(spool(port));
        return static_cast<std::size_t>(std::count_if(
            begin(files), end(files), [](auto const& file) { return file.path().extension() == ".job"; }));
    }

    kx_test::kx_result submit(std::string const& cluster, strings const& more = {}) {
        return run_kx(strings{"submit", "--workflow", kx_test::example("workflow.xml"), "--file",
                              folder_.write("clip.mov", "a"), "--as-resources", "--name", "Evening news", "--cluster",
                              cluster, "--user", "alice"} +
                      more);
    }

    /// Runs kx until what it gives is as wanted, for nobody promises how much is found in the time that a run has.
    /// @return what it gave last
    template <typename Holds>
    static kx_test::kx_result run_until(strings const& command, Holds const& holds) {
        kx_test::kx_result result;
        EXPECT_TRUE(kx_test::soon([&] { return holds(result = run_kx(command)); }, std::chrono::seconds(60)))
            << result.out << result.err;
        return result;
    }

    static kx_test::kx_result run_until_it_says(strings const& command, std::string const& text) {
        return run_until(command, [&](auto const& result) { return result.err.find(text) != std::string::npos; });
    }

    static kx_test::kx_result run_until_it_finds(strings const& command) {
        return run_until(command, [](auto const& result) { return result.exit_code == 0; });
    }

    static void expect_listed(std::string const& line) {
        run_until({"nodes", "--timeout", "1"}, [&](auto const& result) {
            return ("\n" + result.out).find("\n" + line + "\n") != std::string::npos;
        });
    }

    std::string skip_reason_;
    kx_test::scratch_folder folder_;
    std::unique_ptr<dnssd_network> network_;
};

std::string one_line(kx_test::kx_result const& result) {
    EXPECT_EQ(result.exit_code, 3) << result.out << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    return result.err;
}

} // namespace

TEST_F(discovery, shows_nodes_and_delivers_to_them_by_their_cluster) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    auto const first = start_node("Node A", "news", "40421");
    auto const second = start_node("Node B", "news", "40422");
    auto const third = start_node("Node C", "sport", "40423");
    expect_listed("Node A  10.78.0.2:40421  cluster news  id id-40421");
    expect_listed("Node B  10.78.0.2:40422  cluster news  id id-40422");
    expect_listed("Node C  10.78.0.2:40423  cluster sport  id id-40423");

    auto const sports = run_until({"nodes", "--cluster", "sport", "--json", "--timeout", "2"}, [](auto const& result) {
        auto const nodes = result.json()["nodes"];
        return nodes.size() == 1 && nodes[0]["addresses"].size() == 2;
    });
    auto const found = sports.json()["nodes"];
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0]["name"], "Node C");
    EXPECT_EQ(found[0]["port"], "40423");
    EXPECT_THAT(found[0]["addresses"], testing::ElementsAre("10.77.0.2", "10.78.0.2"));
    EXPECT_EQ(found[0]["txt"]["uc"], "1");

    auto const sent = submit("sport");
    EXPECT_EQ(sent.exit_code, 0) << sent.err;
    EXPECT_THAT(sent.out, HasSubstr(".0.2:40423: the job \"Evening news\""));
    EXPECT_EQ(jobs_in("40423"), 1U);
    auto const jobs = run_kx({"status", "--cluster", "sport", "--user", "alice"});
    EXPECT_THAT(jobs.out, HasSubstr("waiting  Evening news\n")) << jobs.err;
    EXPECT_EQ(submit("news").exit_code, 0);
    EXPECT_EQ(jobs_in("40421") + jobs_in("40422"), 1U);
}

TEST_F(discovery, explains_in_one_line_what_it_does_not_find) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    EXPECT_EQ(one_line(run_kx({"nodes", "--timeout", "0.5"})), "kx: nodes: no node announced itself within 0.5 s\n");
    EXPECT_EQ(one_line(submit("news")),
              "kx: the cluster \"news\": no node of this cluster was found within 5 s, no node "
              "at all is announced\n");
    auto const node = start_node("Node", "sport", "40421");
    expect_listed("Node  10.78.0.2:40421  cluster sport  id id-40421");
    EXPECT_EQ(one_line(submit("news")),
              "kx: the cluster \"news\": no node of this cluster was found within 5 s, there is \"sport\"\n");
    EXPECT_EQ(one_line(run_until_it_says({"nodes", "--cluster", "news", "--timeout", "2"}, "none of the 1 nodes")),
              "kx: nodes: none of the 1 nodes found is of the cluster \"news\"\n");
    network_->stop_daemon(0);
    for (auto const& result : {run_kx({"nodes"}), run_kx({"nodes", "--watch"})})
        EXPECT_EQ(one_line(result), "kx: nodes cannot be searched for: no DNS-SD daemon answers (on most systems "
                                    "avahi-daemon, which needs D-Bus)\n");
    EXPECT_THAT(one_line(submit("sport")), StartsWith("kx: the cluster \"sport\": nodes cannot be searched for: "));
}

TEST_F(discovery, watches_nodes_come_change_and_go) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    std::string const out = folder_.write("watched", "");
    auto const watching =
        network_->start(0, {"/bin/sh", "-c", "exec " KX_TOOL " nodes --watch --cluster news >" + out});
    auto const says = [&](strings const& one_of) {
        return kx_test::soon([&] {
            std::string const told = kx_test::read_file(out);
            return std::any_of(one_of.begin(), one_of.end(),
                               [&](std::string const& line) { return told.find(line + "\n") != std::string::npos; });
        });
    };
    auto const node = announce("Node", {"id=1", "cluster=news", "uc=1"});
    EXPECT_TRUE(
        says({"added  Node  10.77.0.2:9000  cluster news  id 1", "added  Node  10.78.0.2:9000  cluster news  id 1"}));
    node->write_line("id=2\tcluster=news\tuc=2");
    EXPECT_TRUE(says({"updated  Node  10.78.0.2:9000  cluster news  id 2"}));
    node->write_line("id=2\tcluster=sport\tuc=3");
    EXPECT_TRUE(says({"removed  Node"}));
    EXPECT_TRUE(watching->is_running());
}

TEST_F(discovery, tells_by_its_exit_code_whether_it_found_any_in_every_form) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    auto const none = run_kx({"nodes", "--json", "--timeout", "0.5"});
    EXPECT_EQ(one_line(none), "kx: nodes: no node announced itself within 0.5 s\n");
    EXPECT_EQ(none.json(), nlohmann::json({{"nodes", nlohmann::json::array()}}));
    auto const watched = run_kx({"nodes", "--watch", "--timeout", "0.5"});
    EXPECT_EQ(one_line(watched), "kx: nodes: no node announced itself within 0.5 s\n");
    EXPECT_EQ(watched.out, "");
    auto const node = announce("Node", {"id=1", "cluster=news", "uc=1"});
    auto const hidden = announce("Hidden", {"id=2", "cluster=news", "uc=1", "private=yes"});
    expect_listed("Node  10.78.0.2:9000  cluster news  id 1");
    expect_listed("Hidden  10.78.0.2:9000  no cluster  id 2");
    auto const found = run_until_it_finds({"nodes", "--json", "--cluster", "news", "--timeout", "2"});
    EXPECT_EQ(found.exit_code, 0) << found.err;
    EXPECT_THAT(found.json()["nodes"], SizeIs(1));
    auto const others =
        run_until_it_says({"nodes", "--json", "--cluster", "sport", "--timeout", "2"}, "none of the 2 nodes");
    EXPECT_EQ(one_line(others), "kx: nodes: none of the 2 nodes found is of the cluster \"sport\"\n");
    auto const unwatched =
        run_until_it_says({"nodes", "--watch", "--cluster", "sport", "--timeout", "2"}, "none of the 2 nodes");
    EXPECT_EQ(one_line(unwatched), "kx: nodes: none of the 2 nodes found is of the cluster \"sport\"\n");
    auto const told = run_until_it_finds({"nodes", "--watch", "--json", "--cluster", "news", "--timeout", "2"});
    EXPECT_EQ(told.exit_code, 0) << told.err;
    std::istringstream lines(told.out);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        auto const document = nlohmann::json::parse(line);
        EXPECT_EQ(document["event"], count == 0 ? "added" : "updated") << line;
        EXPECT_EQ(document["name"], "Node");
        EXPECT_EQ(document["txt"]["id"], "1");
    }
    EXPECT_GE(count, 1U);
}

TEST_F(discovery, ends_to_watch_when_the_user_wants_or_nothing_can_be_written) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    auto const node = announce("Node", {"id=1", "cluster=news", "uc=1"});
    expect_listed("Node  10.78.0.2:9000  cluster news  id 1");
    kx_test::kx_process watching({"nodes", "--watch"});
    ASSERT_TRUE(kx_test::soon([&] { return watching.out().find("added  Node") != std::string::npos; }));
    watching.signal(SIGINT);
    EXPECT_EQ(watching.wait(), 128 + SIGINT);
    auto const full = kx_test::run_program("/bin/sh", {"-c", "exec " KX_TOOL " nodes --watch >/dev/full"});
    EXPECT_EQ(full.exit_code, 1);
    EXPECT_THAT(full.err, testing::MatchesRegex("kx: standard output: [^\n]+\n"));
}

TEST_F(discovery, trusts_a_certificate_that_names_the_host_of_the_node_that_was_found) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    auto const& all = kx_test::certificates::get();
    auto const fit =
        start_node("Node A", "news", "40421",
                   {"--tls-cert", all.made("of-host", "subjectAltName=DNS:kx1.local"), "--tls-key", all.key()});
    auto const other = start_node(
        "Node B", "sport", "40422",
        {"--tls-cert", all.made("of-address", "subjectAltName=IP:10.77.0.2,IP:10.78.0.2"), "--tls-key", all.key()});
    expect_listed("Node A  10.78.0.2:40421  cluster news  id id-40421");
    expect_listed("Node B  10.78.0.2:40422  cluster sport  id id-40422");
    strings const tls = {"--tls", "--ca", all.ca()};
    auto const sent = submit("news", tls);
    EXPECT_EQ(sent.exit_code, 0) << sent.err;
    EXPECT_EQ(jobs_in("40421"), 1U);
    EXPECT_THAT(one_line(submit("sport", tls)),
                HasSubstr("the certificate of 'kx1.local' is not to be trusted: hostname mismatch"));
    EXPECT_EQ(jobs_in("40422"), 0U);
}

TEST(discovery_without_network, takes_no_time_that_is_no_number) {
    for (char const* const time : {"nan", "-nan", "NAN", "inf", "-1", "86401"}) {
        auto const result = run_kx({"nodes", std::string("--timeout=") + time});
        EXPECT_EQ(result.exit_code, 2) << time << result.out;
        EXPECT_THAT(result.err, HasSubstr("--timeout")) << time;
    }
    EXPECT_THAT(run_kx({"nodes", "--timeout", "nan"}).err, HasSubstr("--timeout: must be 0 to 86400 seconds"));
}

TEST(discovery_without_network, says_when_the_client_library_cannot_be_loaded) {
    kx_test::scratch_folder const folder;
    folder.write("libdns_sd.so.1", "no library");
    auto const result = run_kx({"nodes"}, {{"LD_LIBRARY_PATH", folder.path()}});
    EXPECT_EQ(one_line(result), "kx: nodes cannot be searched for: the DNS-SD client library (libdns_sd.so.1) is not "
                                "installed\n");
}

TEST_F(discovery, shows_what_strangers_say_without_obeying_it) {
    if (!make()) GTEST_SKIP() << skip_reason_;
    // Not by our own announcements, which refuse such names.
    auto const node =
        network_->start(1, {"/usr/bin/avahi-publish", "-f", "-s", "Evil \x1b[2J\xc2\x9b\xe2\x80\xae",
                            "_vostrel-node._tcp", "9000", "id=a\x1b]0;x\x07", "cluster=c\xff\nx", "uc=1"});
    expect_listed("Evil \\x1B[2J\\u{009B}\\u{202E}  10.78.0.2:9000  cluster c\\xFF\\nx  id a\\x1B]0;x\\x07");
    EXPECT_THAT(one_line(submit("news")), HasSubstr("there is \"c\\xFF\\nx\""));
}
