#include <kxclientutil/connection.h>

#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/scripted_node.h"

#include <kxbase/hash.h>
#include <kxcore/plugin_db.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kx_test::error_of;
using kx_test::error_unless_late;
using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::milliseconds_of;
using kxbase::es::call;
using kxclientutil::get_admin_connection_to_ioserver;
using kxclientutil::get_admin_connection_to_node;
using kxclientutil::get_client_connection_to_node;
using kxclientutil::get_connection;
using kxclientutil::get_state_connection_to_node;
using testing::HasSubstr;

/// For what answers, however busy the machine is.
constexpr unsigned int patience = 20'000;

/// One of the five functions, called for a host and a port with a time-out.
struct opener {
    char const* target;
    char const* peer; ///< in errors of the login; null when there is none
    char const* command;
    bool is_client;
    std::function<bool(std::string const& host, std::string const& port, unsigned int timeout)> open;
};

std::vector<opener> openers(std::string const& io_port = "") {
    return {
        {"", nullptr, nullptr, false,
         [](auto const& host, auto const& port, unsigned int timeout) {
             return bool(get_connection(host, port, nullptr, timeout));
         }},
        {"node at ", "node", "admin.login", false,
         [](auto const& host, auto const& port, unsigned int timeout) {
             return bool(get_admin_connection_to_node(host, port, "ann", "secret", nullptr, timeout));
         }},
        {"ioserver at ", "ioserver", "ioserver.admin.login", false,
         [](auto const& host, auto const& port, unsigned int timeout) {
             return bool(get_admin_connection_to_ioserver(host, port, "ann", "secret", nullptr, timeout));
         }},
        {"node at ", "node", "cluster.client.login", true,
         [=](auto const& host, auto const& port, unsigned int timeout) {
             return bool(get_client_connection_to_node(host, port, "ann", "secret", "me", io_port, nullptr, timeout));
         }},
        {"node at ", "node", "cluster.client.login", true,
         [=](auto const& host, auto const& port, unsigned int timeout) {
             return bool(get_state_connection_to_node(nullptr, host, port, "ann", "secret", "me", io_port, false, 0,
                                                      nullptr, timeout));
         }},
    };
}

/// A node that keeps the last request and answers it.
class login_node {
public:
    explicit login_node(std::function<kxp::packet(kxp::packet const&)> answer_to)
        : server_([this, answer_to = std::move(answer_to)](fault_connection& client) {
              if (!kx_test::greet(client)) return;
              while (auto const request = kx_test::read_packet(client)) {
                  {
                      std::lock_guard const lock(guard_);
                      request_ = request;
                  }
                  if (!client.send(kx_test::text_of(kxnet::frame(answer_to(*request))))) return;
              }
          }) {}

    [[nodiscard]] std::string port() const { return server_.port(); }
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet const> request() const {
        std::lock_guard const lock(guard_);
        return request_;
    }

private:
    std::mutex mutable guard_;
    kxbase::ptr_refcount<kxp::packet const> request_;
    fault_server server_;
};

kxp::packet granted(kxp::packet const& request) {
    return request.make_reply();
}

TEST(connection, is_opened_and_logged_in_with_the_properties_of_its_command) {
    for (char const* const io_port : {"", "1", "9000"}) {
        for (opener const& each : openers(io_port)) {
            login_node const node(granted);
            ASSERT_TRUE(each.open("127.0.0.1", node.port(), patience));
            if (each.command == nullptr) {
                EXPECT_FALSE(node.request());
                continue;
            }
            kxp::packet const& login = *node.request();
            EXPECT_EQ(login.get_type(), 2u);
            EXPECT_EQ(login.get_name(), each.command);
            kxcore::properties expected;
            auto const expect = [&](char const* key, std::string const& text) {
                expected.set_property(key, kxbase::make_refcount<kxcore::property_string>(text));
            };
            expect("username", "ann");
            expect("password", kxbase::string_hash_SHA1_hex("secret"));
            if (each.is_client) expect("id", "me");
            if (each.is_client && *io_port != '\0') expect("io-port", "40425");
            EXPECT_TRUE(login.get_properties() == expected) << login.get_properties().to_string();
        }
    }
}

TEST(connection, sends_the_digest_of_an_empty_password_and_an_empty_id) {
    login_node const node(granted);
    static_cast<void>(get_client_connection_to_node("127.0.0.1", node.port(), "", "", "", "", nullptr, patience));
    auto const& properties = node.request()->get_properties();
    EXPECT_EQ(properties.size(), 3u);
    EXPECT_EQ(properties.get_string_value("password"), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(properties.get_string_value("id"), "");
}

TEST(connection, that_fails_says_to_whom_and_why) {
    struct failure {
        std::string hello;
        unsigned int timeout;
        char const* reason;
    };
    failure const failures[] = {
        {kx_test::hello_text(2), patience, "wrong protocol version"},
        {"", 30, "timeout"},
        {"220 ready\r\n", patience, "connection failed"},
    };
    kx_test::captured_report const log;
    for (failure const& each : failures) {
        fault_server const node([&](fault_connection& client) {
            client.send(each.hello);
            client.stall();
        });
        for (opener const& function : openers())
            EXPECT_EQ(error_of<call>([&] { function.open("127.0.0.1", node.port(), each.timeout); }),
                      std::string("Failed to connect to ") + function.target + "127.0.0.1:" + node.port() + " (" +
                          each.reason + ")");
    }
}

TEST(connection, that_nobody_takes_has_failed) {
    kx_test::captured_report const log;
    kx_test::deaf_port const nobody;
    for (opener const& each : openers())
        EXPECT_THAT(error_of<call>([&] { each.open("127.0.0.1", nobody.port(), patience); }),
                    testing::EndsWith(" (connection failed)"));
}

TEST(connection, takes_host_and_port_for_arguments_and_never_for_formats) {
    kx_test::captured_report const log;
    for (opener const& each : openers())
        EXPECT_EQ(error_of<call>([&] { each.open("%s%n", "%d%n", patience); }),
                  std::string("Failed to connect to ") + each.target + "%s%n:%d%n (connection failed)");
}

TEST(connection, passes_other_errors_of_connecting_on_within_its_own) {
    kx_test::captured_report const log;
    kx_test::test_node const plain(kx_test::echo);
    kxnet::transport_options const encrypted{true, kx_test::certificates::get().ca()};
    EXPECT_EQ(error_of<call>(
                  [&] { static_cast<void>(get_connection("localhost", plain.port(), nullptr, patience, encrypted)); }),
              "Failed to connect to localhost:" + plain.port() + " (the peer does not speak TLS)");
    EXPECT_THAT(error_of<call>([&] {
                    static_cast<void>(get_admin_connection_to_node("localhost", plain.port(), "a", "b", nullptr,
                                                                   patience, {true, "/nowhere.pem"}));
                }),
                HasSubstr(" (CA file '/nowhere.pem': "));
}

TEST(connection, over_tls_logs_in) {
    kx_test::certificates const& all = kx_test::certificates::get();
    kx_test::test_node const node(kx_test::echo, {all.good(), all.key()});
    auto const made = get_state_connection_to_node(nullptr, "localhost", node.port(), "ann", "secret", "", "", false, 0,
                                                   nullptr, patience, {true, all.ca()});
    EXPECT_TRUE(made->is_logged_in());
}

TEST(connection, that_is_refused_a_login_says_why) {
    auto const number = kxcore::property_int::create(42);
    kxcore::property_handle const reasons[] = {
        kxbase::make_refcount<kxcore::property_string>("unknown user %s%n"),
        kxbase::make_refcount<kxcore::property_string>(""),
        number,
    };
    for (kxcore::property_handle const& reason : reasons) {
        login_node const node([&](kxp::packet const& request) {
            kxp::packet reply = request.make_reply();
            reply.set_property("error", reason);
            return reply;
        });
        for (opener const& each : openers()) {
            if (each.command == nullptr) continue;
            EXPECT_EQ(error_of<call>([&] { each.open("127.0.0.1", node.port(), patience); }),
                      std::string("Failed to login to ") + each.peer + ": " + reason->to_string());
        }
    }
}

TEST(connection, passes_errors_of_the_login_exchange_as_they_are) {
    fault_server const silent([](fault_connection& client) {
        kx_test::greet(client);
        client.stall();
    });
    fault_server const leaving([](fault_connection& client) {
        if (kx_test::greet(client)) static_cast<void>(kx_test::read_packet(client));
    });
    for (opener const& each : openers()) {
        if (each.command == nullptr) continue;
        EXPECT_EQ(error_unless_late<call>("(timeout)", [&] { each.open("127.0.0.1", silent.port(), 500); }),
                  std::string("no reply to \"") + each.command + "\" from 127.0.0.1:" + silent.port() +
                      " within the time-out");
        EXPECT_EQ(error_of<call>([&] { each.open("127.0.0.1", leaving.port(), patience); }),
                  "127.0.0.1:" + leaving.port() + " has closed the connection");
    }
}

TEST(connection, raises_with_the_source_path_that_administrators_know) {
    kx_test::captured_report const log;
    login_node const node([](kxp::packet const& request) { return request.make_error_reply("no"); });
    auto const file_of = [](auto const& raising) -> std::string {
        try {
            raising();
        } catch (kxbase::es::base const& error) {
            return error.file();
        }
        return "no error";
    };
    constexpr char const* path = R"(code\app\common\shared\kxclientutil\src\connection)";
    EXPECT_EQ(file_of([] { static_cast<void>(get_connection("", "", nullptr, patience)); }), path);
    EXPECT_EQ(file_of([&] {
                  static_cast<void>(
                      get_admin_connection_to_node("127.0.0.1", node.port(), "a", "b", nullptr, patience));
              }),
              path);
    EXPECT_EQ(file_of([] {
                  static_cast<void>(get_state_connection_to_node(nullptr, "", "", "", "", "", "", true, 0, nullptr, 1));
              }),
              path);
}

TEST(connection, with_a_cache_needs_a_plugin_db_before_anything_else) {
    kxcore::plugin_db const plugins;
    login_node const node(granted);
    auto const open = [&](bool cache, kxcore::plugin_db const* given) {
        return get_state_connection_to_node(nullptr, "127.0.0.1", node.port(), "ann", "secret", "", "", cache, 5, given,
                                            patience);
    };
    EXPECT_EQ(error_of<kxbase::es::arg>([&] { static_cast<void>(open(true, nullptr)); }),
              "cannot cache state without a plugin-db");
    EXPECT_FALSE(node.request());
    EXPECT_TRUE(open(true, &plugins)->is_logged_in());
    EXPECT_TRUE(open(false, nullptr)->is_logged_in());
}

TEST(connection, blocks_no_longer_than_its_time_out) {
    fault_server const node([](fault_connection& client) {
        for (char const c : kx_test::hello_text()) {
            if (!client.send(std::string(1, c))) return;
            std::this_thread::sleep_for(std::chrono::seconds(2));
        }
    });
    kx_test::captured_report const log;
    EXPECT_LT(milliseconds_of([&] {
                  EXPECT_THAT(error_of<call>(
                                  [&] { static_cast<void>(get_connection("127.0.0.1", node.port(), nullptr, 150)); }),
                              HasSubstr("(timeout)"));
              }),
              15'000);
}

} // namespace
