// kx-devnode with a certificate, and clients that break off or break the rules inside of TLS and in its place.

#include "devnode_client.h"
#include "kx_run.h"
#include "raw_client.h"

#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/cutting_proxy.h"
#include "support/scripted_node.h"

#include <kxbase/hash.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <random>

namespace {

using kx_test::certificates;
using kx_test::cutting_proxy;
using kx_test::devnode_process;
using kx_test::eventually;
using kx_test::finalized_job;
using kx_test::raw_client;
using kx_test::submitted;

kx_test::strings with_certificate() {
    return {"--tls-cert", certificates::get().good(), "--tls-key", certificates::get().key()};
}

kxbase::ptr_refcount<kxcapi::connection> logged_in(std::string const& port) {
    return kxclientutil::get_client_connection_to_node("127.0.0.1", port, kx_test::node_user, kx_test::node_password,
                                                       "tests", "", nullptr, 20'000, {true, certificates::get().ca()});
}

/// A client without a voice of its own behind TLS: it sends any bytes.
class encrypted_client {
public:
    explicit encrypted_client(std::string const& port)
        : line_(port), context_(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free),
          session_(SSL_new(context_.get()), &SSL_free) {
        SSL_set_fd(session_.get(), line_.descriptor());
        if (SSL_connect(session_.get()) != 1) throw std::runtime_error("no TLS");
    }

    void send(std::string const& bytes) {
        if (!bytes.empty()) static_cast<void>(SSL_write(session_.get(), bytes.data(), static_cast<int>(bytes.size())));
    }
    /// Sends bytes in the place of what TLS would.
    void send_bare(std::string const& bytes) const { static_cast<void>(line_.send(bytes)); }
    void finish() const { line_.finish(); }
    /// Whether the node ends the connection within twenty seconds.
    [[nodiscard]] bool is_ended() const {
        try {
            static_cast<void>(line_.read_to_end());
            return true;
        } catch (std::runtime_error const&) {
            return false;
        }
    }

private:
    raw_client line_;
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    std::unique_ptr<SSL, decltype(&SSL_free)> session_;
};

/// What is sent to somebody who has gone is an error, and not the end of the test.
class kx_devnode_tls : public testing::Test {
protected:
    kx_devnode_tls() { std::signal(SIGPIPE, SIG_IGN); }

    /// The node has as little as before its clients, and serves the next one.
    void expect_nothing_left() {
        EXPECT_TRUE(eventually([this] { return node_.threads() <= threads_; })) << node_.threads();
        EXPECT_TRUE(std::filesystem::is_empty(node_.spool()));
        EXPECT_EQ(submitted(*logged_in(node_.port()), *finalized_job(), "next"), "next");
    }

    kx_test::captured_report log_;
    devnode_process node_{with_certificate()};
    std::size_t threads_ = node_.threads();
};

TEST_F(kx_devnode_tls, has_nothing_of_a_submission_that_breaks_off_anywhere) {
    auto const job = finalized_job();
    cutting_proxy line(node_.port());
    auto const submit = [&](std::string const& id) { return submitted(*logged_in(line.port()), *job, id); };
    line.cut({});
    std::size_t length = 0;
    {
        devnode_process const other(with_certificate());
        cutting_proxy counting(other.port());
        counting.cut({});
        auto const client = logged_in(counting.port());
        ASSERT_EQ(submitted(*client, *job, "cut"), "cut");
        length = counting.passed_to_server();
    }
    // The lengths of handshakes differ by a few bytes.
    std::size_t const last = length - 16;
    std::size_t broken = 0;
    for (std::size_t after = 1; after<last; after += after + 200> last ? 7 : 61) {
        line.cut({kx_test::line_cut::e_direction::to_server, after, after % 2 == 0});
        EXPECT_THROW(static_cast<void>(submit("cut")), kxbase::es::call) << after << " of " << length;
        ++broken;
    }
    EXPECT_GT(broken, 40U);
    expect_nothing_left();
    line.cut({});
    EXPECT_EQ(submit("cut"), "cut");
}

std::string noise(std::mt19937& random, std::size_t most) {
    std::string bytes(1 + random() % most, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

TEST_F(kx_devnode_tls, outlives_random_frames) {
    kxp::packet login(kxp::e_packet_type::request, "cluster.client.login");
    login.set_property("username", kx_test::node_user);
    login.set_property("password", kxbase::string_hash_SHA1_hex(kx_test::node_password));
    std::string const logged_in = kx_test::text_of(kxnet::frame(login, 1));
    std::mt19937 random(20'260'102); // NOLINT(cert-msc51-cpp): the same frames each time
    for (int round = 0; round != 100; ++round) {
        std::string const frame = noise(random, 200);
        encrypted_client client(node_.port());
        client.send(kx_test::hello_text() + (round % 2 == 0 ? "" : logged_in));
        if (round % 3 != 0) client.send(std::string(3, '\0') + static_cast<char>(frame.size()));
        client.send(frame);
        client.finish();
        EXPECT_TRUE(client.is_ended()) << round;
    }
    expect_nothing_left();
}

TEST_F(kx_devnode_tls, outlives_random_bytes_in_the_place_of_tls) {
    std::mt19937 random(20'260'103); // NOLINT(cert-msc51-cpp): the same bytes each time
    for (int round = 0; round != 60; ++round) {
        std::string bytes = noise(random, 300);
        // Half of them begin as TLS does.
        if (round % 2 == 0) bytes = std::string("\x17\x03\x03\x00\x20", 5) + bytes;
        encrypted_client behind(node_.port());
        if (round % 3 == 0) behind.send(kx_test::hello_text());
        behind.send_bare(bytes);
        behind.finish();
        EXPECT_TRUE(behind.is_ended()) << round;
        bytes[0] = '\x16';
        raw_client const instead(node_.port());
        static_cast<void>(instead.send(bytes));
        instead.finish();
        EXPECT_NO_THROW(instead.read_to_end()) << round;
    }
    expect_nothing_left();
}

} // namespace
