// kx-devnode, and clients that break off, break the rules, or take all that they can get.

#include "devnode_client.h"
#include "devnode_footprint.h"
#include "raw_talk.h"

#include <kxbase/buffer.h>
#include <kxbase/limits.h>
#include <kxbase/zlib.h>
#include <kxcore/property_list.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/time.h>

#include <filesystem>
#include <memory>
#include <random>
#include <sstream>

namespace {

using kx_test::bytes_of;
using kx_test::devnode_process;
using kx_test::eventually;
using kx_test::finalized_job;
using kx_test::footprint;
using kx_test::greeted;
using kx_test::hello_text;
using kx_test::logged_in;
using kx_test::login;
using kx_test::next_packet;
using kx_test::raw_client;
using kx_test::submission;
using kx_test::submitted;
using kx_test::tells;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::string length_text(std::uint32_t length) {
    std::string text;
    for (unsigned int const shift : {24U, 16U, 8U, 0U})
        text += static_cast<char>(length >> shift & 255U);
    return text;
}

TEST(kx_devnode_attacks, outlives_clients_that_leave_at_any_byte_of_hello_login_and_submission) {
    devnode_process const node;
    footprint const before(node);
    std::string const first = hello_text() + bytes_of(login());
    std::string const all = first + bytes_of(submission(*finalized_job(), "cut"), 2);
    std::size_t const much = first.size() + 150;
    for (std::size_t size = 0; size != all.size(); size += size < much || size + 100 > all.size() ? 1 : 50) {
        for (bool const is_reset : {false, true}) {
            raw_client client(node.port());
            ASSERT_TRUE(client.send(std::string_view(all).substr(0, size)));
            if (is_reset) client.reset();
        }
    }
    before.expect_same();
    EXPECT_TRUE(std::filesystem::is_empty(node.spool()));
    raw_client const whole(node.port());
    ASSERT_TRUE(whole.send(all));
    EXPECT_TRUE(eventually([&] { return node.spooled().size() == 1; }));
}

TEST(kx_devnode_attacks, ends_what_does_not_speak_the_protocol) {
    devnode_process const node;
    footprint const before(node);
    std::string const event = bytes_of(kxp::packet(kxp::e_packet_type::event, "cluster.job"), 0);
    std::string const reply = bytes_of(kxp::packet(kxp::e_packet_type::reply, "node.echo"));
    std::string const refused[] = {
        "GET / HTTP/1.0\r\n\r\n",
        std::string("\x16\x03\x01\x00\x05hello", 10),
        hello_text(0),
        hello_text(2),
        hello_text(0xffffffff),
        hello_text() + length_text(0),
        hello_text() + length_text(6) + "123456",
        hello_text() + length_text(65537),
        hello_text() + length_text(0xffffffff),
        hello_text() + length_text(12) + std::string("\x02\0\0\0\x01\x01x\xff\xff\xff\xff\xff", 12),
        hello_text() + event,
        hello_text() + reply,
        hello_text() + bytes_of(login()) + length_text(67'108'865),
        hello_text() + bytes_of(login()) + event,
    };
    for (std::string const& bytes : refused) {
        raw_client const client(node.port());
        ASSERT_TRUE(client.send(bytes));
        EXPECT_NO_THROW(client.read_to_end()) << testing::PrintToString(bytes);
    }
    before.expect_same();
}

TEST(kx_devnode_attacks, outlives_random_frames) {
    devnode_process const node;
    footprint const before(node);
    std::mt19937 random(20'260'101); // NOLINT(cert-msc51-cpp): the same frames each time
    for (int round = 0; round != 300; ++round) {
        std::string noise(random() % 200, '\0');
        for (char& byte : noise)
            byte = static_cast<char>(random());
        std::string const framed = length_text(static_cast<std::uint32_t>(noise.size())) + noise;
        std::string text = hello_text() + (round % 2 == 0 ? "" : bytes_of(login()));
        text += round % 3 == 0 ? noise : framed;
        raw_client const client(node.port());
        static_cast<void>(client.send(text));
        client.finish();
        EXPECT_NO_THROW(client.read_to_end()) << round;
    }
    before.expect_same();
    EXPECT_TRUE(std::filesystem::is_empty(node.spool()));
}

TEST(kx_devnode_attacks, takes_small_frames_only_until_somebody_has_logged_in) {
    devnode_process const node;
    kxp::packet echo(kxp::e_packet_type::request, "node.echo");
    echo.set_property("said", std::string(70'000, 'x'));
    auto const stranger = greeted(node.port());
    EXPECT_TRUE(stranger->send(bytes_of(echo)));
    EXPECT_THAT(stranger->read_to_end(), IsEmpty());
    EXPECT_TRUE(tells(node, "at most 65536 are allowed (limit frame)")) << node.log();
    auto const client = greeted(node.port());
    ASSERT_TRUE(client->send(bytes_of(login("admin.login")) + bytes_of(echo, 2)));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 1U);
    EXPECT_EQ(next_packet(*client)->get_properties().get_string_value("said"), std::string(70'000, 'x'));
}

TEST(kx_devnode_attacks, takes_few_values_only_until_somebody_has_logged_in) {
    devnode_process const node;
    auto const many = kxbase::make_refcount<kxcore::property_list>();
    for (int i = 0; i != 11'000; ++i)
        many->push_back(kxcore::property_bool::create(true));
    kxp::packet echo(kxp::e_packet_type::request, "node.echo");
    echo.set_property("said", many);
    auto const stranger = greeted(node.port());
    ASSERT_TRUE(stranger->send(bytes_of(echo)));
    EXPECT_THAT(stranger->read_to_end(), IsEmpty());
    EXPECT_TRUE(tells(node, "expected at most 10922 values in all (limit frame), found more")) << node.log();
    auto const client = greeted(node.port());
    ASSERT_TRUE(client->send(bytes_of(login("admin.login")) + bytes_of(echo, 2)));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 1U);
    EXPECT_TRUE(*next_packet(*client)->get_properties().get_list_value("said") == *many);
}

TEST(kx_devnode_attacks, expands_an_original_no_further_than_a_frame_could_have_brought_it) {
    devnode_process const node;
    auto const bomb = kxbase::make_refcount<kxcore::property_binary>();
    kxbase::compress_z(kxbase::buffer(std::string(kxbase::limit_frame + 1, '\xE0')), bomb->value(), 6);
    kxcore::properties job = *finalized_job();
    job.set_referenced_property("ext-meta{compressed-original}", bomb);
    auto const client = logged_in(node);
    EXPECT_EQ(submitted(*client, job, "bomb"), "compressed data expands beyond 67108864 bytes (limit expansion)");
    EXPECT_EQ(submitted(*client, *finalized_job(), "sound"), "sound");
}

TEST(kx_devnode_attacks, ends_after_three_refused_logins_and_tells_no_names_that_nobody_has) {
    devnode_process const node;
    auto const client = greeted(node.port());
    std::string const mistyped = "my password, typed in the wrong place";
    for (auto const& [user, password] :
         {std::pair{std::string(kx_test::node_user), "wrong"}, {mistyped, ""}, {std::string(60'000, 'n'), ""}}) {
        ASSERT_TRUE(client->send(bytes_of(login("admin.login", user, password))));
        EXPECT_EQ(next_packet(*client)->get_properties().get_string_value("error"), "wrong user or password");
    }
    EXPECT_THAT(client->read_to_end(), IsEmpty());
    ASSERT_TRUE(tells(node, "too many refused logins"));
    EXPECT_THAT(node.log(), HasSubstr(": wrong password for \"alice\"\n"));
    EXPECT_THAT(node.log(), HasSubstr(": no such user\n"));
    EXPECT_THAT(node.log(), Not(HasSubstr(mistyped)));
    EXPECT_THAT(node.log(), Not(HasSubstr("nnnn")));
}

TEST(kx_devnode_attacks, counts_logins_that_lack_something_as_refused) {
    devnode_process const node;
    auto const client = greeted(node.port());
    for (unsigned int i = 0; i != 3; ++i) {
        kxp::packet const empty(kxp::e_packet_type::request, "cluster.client.login");
        ASSERT_TRUE(client->send(bytes_of(empty)));
        EXPECT_THAT(next_packet(*client)->get_properties().get_string_value("error"), HasSubstr("username"));
    }
    EXPECT_THAT(client->read_to_end(), IsEmpty());
    EXPECT_TRUE(tells(node, "too many refused logins"));
}

TEST(kx_devnode_attacks, tells_one_short_line_whatever_a_client_asks_for) {
    devnode_process const node;
    auto const client = logged_in(node);
    kxp::packet request =
        submission(kxcore::properties(), "a\nkx-devnode: forged\x1b[2J\u202e" + std::string(900, 'x'));
    EXPECT_THAT(kx_test::answer(*client, request, "error"), HasSubstr("1 to 64 characters"));
    EXPECT_THAT(
        kx_test::answer(*client, kxp::packet(kxp::e_packet_type::request, "dance\nkx-devnode: forged"), "error"),
        StartsWith("unknown command"));
    std::istringstream lines(node.log());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LT(line.size(), 600U);
        EXPECT_THAT(line, Not(StartsWith("kx-devnode: forged")));
        EXPECT_THAT(line, Not(HasSubstr("\x1b")));
    }
}

/// Echoes asked for and never read, until nothing more is taken: this side's part of it.
/// @return how many bytes were taken; no more than `most` are sent
std::size_t ask_without_reading(raw_client const& client, std::size_t most) {
    int const small = 4096;
    ::setsockopt(client.descriptor(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    timeval const moment = {0, 100'000};
    ::setsockopt(client.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &moment, sizeof moment);
    kxp::packet echo(kxp::e_packet_type::request, "node.echo");
    echo.set_property("said", std::string(60'000, 'x'));
    std::string const bytes = bytes_of(echo);
    std::size_t taken = 0;
    while (taken < most && client.send(bytes))
        taken += bytes.size();
    return taken;
}

/// The system's buffers hold a few MB in each direction.
constexpr std::size_t much_more_than_sockets_hold = 200'000'000;

TEST(kx_devnode_attacks, takes_no_more_from_a_client_that_reads_nothing_and_serves_the_others) {
    devnode_process const node;
    footprint const before(node);
    {
        std::vector<std::unique_ptr<raw_client>> deaf;
        for (int i = 0; i != 4; ++i) {
            deaf.push_back(greeted(node.port()));
            ASSERT_TRUE(deaf.back()->send(bytes_of(login())));
            // What is taken and not answered yet would lie in the node.
            EXPECT_LT(ask_without_reading(*deaf.back(), much_more_than_sockets_hold), much_more_than_sockets_hold / 2);
        }
        auto const job = finalized_job();
        for (int i = 0; i != 20; ++i)
            EXPECT_EQ(submitted(*logged_in(node), *job, "job-" + std::to_string(i)), "job-" + std::to_string(i));
    }
    before.expect_same();
}

TEST(kx_devnode_attacks, gives_nobody_more_than_ten_seconds_to_log_in) {
    devnode_process const node;
    footprint const before(node);
    auto const begin = std::chrono::steady_clock::now();
    raw_client const without_hello(node.port());
    auto const silent = greeted(node.port());
    auto const trickling = greeted(node.port());
    auto const deaf = greeted(node.port());
    static_cast<void>(ask_without_reading(*deaf, much_more_than_sockets_hold));
    EXPECT_TRUE(logged_in(node)->is_logged_in());
    // A byte a second, of a login that would be right.
    std::string const slow = bytes_of(login());
    std::size_t sent = 0;
    EXPECT_TRUE(eventually(
        [&] {
            auto const seconds = std::chrono::steady_clock::now() - begin;
            if (seconds > std::chrono::seconds(sent)) static_cast<void>(trickling->send(slow.substr(sent++, 1)));
            return before.has_nobody();
        },
        std::chrono::seconds(60)))
        << node.log();
    EXPECT_LT(sent, slow.size()) << "it has logged in";
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(9));
    EXPECT_NO_THROW(without_hello.read_to_end());
    EXPECT_NO_THROW(silent->read_to_end());
    EXPECT_NO_THROW(trickling->read_to_end());
    EXPECT_THAT(node.log(), HasSubstr("nobody logged in within 10 seconds"));
    before.expect_same();
}

} // namespace
