#include <kxclientutil/connection.h>

#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/cutting_proxy.h"
#include "support/held_resources.h"
#include "support/scripted_node.h"

#include <gmock/gmock.h>

#include <random>
#include <vector>

namespace {

using kx_test::certificates;
using kx_test::cutting_proxy;
using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::held_resources;
using kx_test::line_cut;
using kx_test::milliseconds_of;
using kx_test::soon;
using kx_test::test_node;
using kxbase::es::call;
using kxclientutil::get_client_connection_to_node;
using e_direction = line_cut::e_direction;

/// For what answers, however busy the machine is.
constexpr unsigned int patience = 20'000;

kxnet::transport_options trusting(bool is_tls) {
    if (!is_tls) return {};
    return {true, certificates::get().ca()};
}

kxnet::server_options serving(bool is_tls) {
    if (!is_tls) return {};
    return {certificates::get().good(), certificates::get().key()};
}

/// Logs in through a line; whether that was possible. Errors are those of the family, in time.
bool logs_in(std::string const& port, bool is_tls) {
    bool is_in = false;
    std::string why = "no error";
    long long const took = milliseconds_of([&] {
        try {
            is_in = get_client_connection_to_node("127.0.0.1", port, "ann", "secret", "me", "", nullptr, patience,
                                                  trusting(is_tls))
                        ->is_logged_in();
        } catch (call const& error) {
            why = error.message();
            EXPECT_FALSE(why.empty());
        }
    });
    EXPECT_LT(took, static_cast<long long>(patience)) << "a line that breaks is not to be waited for: " << why;
    return is_in;
}

/// What passes in one direction until a login has succeeded.
std::size_t length_of_login(cutting_proxy& line, e_direction direction, bool is_tls) {
    line.cut({});
    auto const made = get_client_connection_to_node("127.0.0.1", line.port(), "ann", "secret", "me", "", nullptr,
                                                    patience, trusting(is_tls));
    return direction == e_direction::to_client ? line.passed_to_client() : line.passed_to_server();
}

/// Breaks every n-th place of a login, beginning with the first-th.
void break_login(std::string const& port, e_direction direction, bool is_tls, std::size_t first, std::size_t step) {
    cutting_proxy line(port);
    std::size_t const length = length_of_login(line, direction, is_tls);
    // The lengths of signatures, and so of handshakes, differ by a few bytes.
    std::size_t const uncertain = is_tls ? 8 : 0;
    for (std::size_t after = first; after < length; after += step) {
        for (bool const is_reset : {false, true}) {
            line.cut({direction, after, is_reset});
            bool const is_in = logs_in(line.port(), is_tls);
            EXPECT_TRUE(!is_in || after + uncertain > length);
            if (testing::Test::HasFailure()) {
                ADD_FAILURE() << "broken after " << after << " of " << length << " bytes "
                              << (direction == e_direction::to_client ? "to the client" : "to the server")
                              << (is_reset ? " by a reset; " : "; ") << line.passed_to_client() << " and "
                              << line.passed_to_server() << " bytes have passed";
                return;
            }
        }
    }
    line.cut({});
    EXPECT_TRUE(logs_in(line.port(), is_tls)) << "the next one is to work";
}

void break_logins_everywhere(bool is_tls) {
    kx_test::captured_report const log;
    held_resources const before;
    {
        test_node const node(kx_test::echo, serving(is_tls));
        std::vector<std::jthread> all;
        for (auto const direction : {e_direction::to_client, e_direction::to_server})
            for (std::size_t first = 0; first != 2; ++first)
                all.emplace_back([&, direction, first] { break_login(node.port(), direction, is_tls, first, 2); });
        all.clear();
        EXPECT_TRUE(logs_in(node.port(), is_tls));
    }
    EXPECT_TRUE(before.are_all_soon()) << before;
}

TEST(connection_faults, of_a_line_that_breaks_at_any_byte_of_hello_login_and_reply) {
    break_logins_everywhere(false);
}

TEST(connection_faults, of_a_line_that_breaks_at_any_byte_of_an_encrypted_login) {
    break_logins_everywhere(true);
}

/// What a node may send in the place of a reply.
std::vector<std::string> wrong_frames() {
    std::string const reply = kx_test::text_of(kxnet::frame(kxp::packet(1, "cluster.client.login"), 1));
    std::vector<std::string> all = {
        std::string(4, '\0'),                 // shorter than any packet
        std::string("\0\0\0\5\1\0\0\0\1", 9), // by one byte
        std::string("\4\0\0\1", 4),           // one byte more than is allowed
        std::string("\xff\xff\xff\xff", 4),   // as long as can be said
        std::string("\x7f\xff\xff\xff\1", 5),
    };
    for (std::size_t size = 1; size != reply.size(); ++size)
        all.push_back(reply.substr(0, size));
    std::mt19937 random(11);
    for (int i = 0; i != 300; ++i) {
        std::string damaged = reply;
        for (int j = 0; j != 2; ++j)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        all.push_back(damaged);
        std::string noise(1 + random() % 200, '\0');
        for (char& each : noise)
            each = static_cast<char>(random());
        // Below the limit, so that it is read as a frame.
        all.push_back(std::string("\0\0\0", 3) + static_cast<char>(noise.size()) + noise);
    }
    return all;
}

TEST(connection_faults, of_a_node_that_sends_wrong_frames) {
    kx_test::captured_report const log;
    std::vector<std::string> const frames = wrong_frames();
    std::atomic<std::size_t> next = 0;
    held_resources const before;
    {
        fault_server const node([&](fault_connection& client) {
            if (!kx_test::greet(client)) return;
            auto const request = kx_test::read_packet(client);
            if (!request) return;
            bool const is_right = next == frames.size();
            client.send(is_right ? kx_test::reply_text(*request) : frames[next]);
            // Nobody is logged in any more when the node has gone.
            if (is_right) client.read(1);
        });
        std::size_t refused = 0;
        for (; next != frames.size(); ++next)
            if (!logs_in(node.port(), false)) ++refused;
        // A byte of the name, or of a member's text, may well be another one.
        EXPECT_GT(refused, frames.size() / 2);
        EXPECT_TRUE(logs_in(node.port(), false)) << "the next one is to work";
    }
    EXPECT_TRUE(before.are_all_soon()) << before;
}

/// Wants the whole time-out, and not much more, of each function that waits.
TEST(connection_faults, of_a_silent_node_end_with_the_time_out) {
    kx_test::captured_report const log;
    static_cast<void>(certificates::get()); // which takes a while the first time
    fault_server const deaf(kx_test::silent());
    fault_server const mute([](fault_connection& client) {
        kx_test::greet(client);
        client.stall();
    });
    struct silence {
        fault_server const& node;
        bool is_tls;
        unsigned int timeout;
        std::string error;
        char const* late; ///< in the error when the mute one does not greet in time
    };
    silence const silences[] = {
        {deaf, false, 150, "Failed to connect to node at 127.0.0.1:" + deaf.port() + " (timeout)", nullptr},
        {deaf, true, 150, "Failed to connect to node at 127.0.0.1:" + deaf.port() + " (timeout)", nullptr},
        {mute, false, 1000,
         "no reply to \"cluster.client.login\" from 127.0.0.1:" + mute.port() + " within the time-out", "(timeout)"},
    };
    for (silence const& each : silences) {
        kxnet::time_point began;
        auto const error = kx_test::error_unless_late<call>(each.late, [&] {
            began = std::chrono::steady_clock::now();
            static_cast<void>(get_client_connection_to_node("127.0.0.1", each.node.port(), "ann", "s", "", "", nullptr,
                                                            each.timeout, trusting(each.is_tls)));
        });
        auto const took = std::chrono::steady_clock::now() - began;
        EXPECT_EQ(error, each.error);
        EXPECT_GE(took, std::chrono::milliseconds(each.timeout));
        EXPECT_LT(took, std::chrono::seconds(10));
    }
}

/// Sends a byte at a time, as long as the client is there.
TEST(connection_faults, of_a_node_of_a_byte_at_a_time_end_with_the_time_out) {
    kx_test::captured_report const log;
    static_cast<void>(certificates::get()); // which takes a while the first time
    for (bool const is_tls : {false, true}) {
        fault_server const node([&](fault_connection& client) {
            // The beginning of a handshake of TLS, or of a hello.
            std::string const bytes =
                is_tls ? std::string("\x16\3\3\x10", 4) + std::string(1000, '\2') : kx_test::hello_text();
            for (char const c : bytes) {
                if (!client.send(std::string(1, c))) return;
                std::this_thread::sleep_for(std::chrono::seconds(2));
            }
        });
        long long const took = milliseconds_of([&] {
            EXPECT_EQ(kx_test::error_of<call>([&] {
                          static_cast<void>(
                              kxclientutil::get_connection("127.0.0.1", node.port(), nullptr, 200, trusting(is_tls)));
                      }),
                      "Failed to connect to 127.0.0.1:" + node.port() + " (timeout)");
        });
        EXPECT_GE(took, 200);
        EXPECT_LT(took, 15'000);
    }
}

} // namespace
