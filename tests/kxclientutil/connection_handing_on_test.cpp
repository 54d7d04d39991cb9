#include <kxclientutil/connection.h>

#include "kxcapi/recording_handler.h"
#include "support/captured_report.h"
#include "support/certificates.h"
#include "support/scripted_node.h"

#include <kxbase/limits.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kx_test::certificates;
using kx_test::error_of;
using kx_test::error_unless_late;
using kx_test::recording_handler;
using kx_test::soon;
using kx_test::test_node;
using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxbase::es::call;
using kxcapi::connection;
using kxcore::properties;
using kxcore::property_string;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned int patience = 20'000;
constexpr unsigned int impatience = 200; ///< in which the mute node has to greet

/// Where a function is to connect, and with what.
struct call_of {
    std::string host;
    std::string port;
    kxcapi::state_handler* handler = nullptr;
    kxnet::transport_options transport{};
    std::string user = "ann";
    std::string password = "secret";
    std::string id = "me";
    unsigned int timeout = patience;
};

using opener = ptr_refcount<connection> (*)(call_of const& how);

struct function {
    char const* target;
    char const* command; ///< null for none
    bool is_logged_in;
    opener open;
};

constexpr function functions[] = {
    {"", nullptr, false,
     [](call_of const& how) {
         return kxclientutil::get_connection(how.host, how.port, how.handler, how.timeout, how.transport);
     }},
    {"node at ", "admin.login", false,
     [](call_of const& how) {
         return kxclientutil::get_admin_connection_to_node(how.host, how.port, how.user, how.password, how.handler,
                                                           how.timeout, how.transport);
     }},
    {"ioserver at ", "ioserver.admin.login", false,
     [](call_of const& how) {
         return kxclientutil::get_admin_connection_to_ioserver(how.host, how.port, how.user, how.password, how.handler,
                                                               how.timeout, how.transport);
     }},
    {"node at ", "cluster.client.login", true,
     [](call_of const& how) {
         return kxclientutil::get_client_connection_to_node(how.host, how.port, how.user, how.password, how.id, "",
                                                            how.handler, how.timeout, how.transport);
     }},
    {"node at ", "cluster.client.login", true,
     [](call_of const& how) -> ptr_refcount<connection> {
         return kxclientutil::get_state_connection_to_node(how.handler, how.host, how.port, how.user, how.password,
                                                           how.id, "", false, 0, nullptr, how.timeout, how.transport);
     }},
};

/// A node that sends an event to each client, answers a request, and goes when it is asked a second time.
void say_and_go(kxnet::packet_stream& client) {
    client.send(kxp::packet(3, "said"), 0);
    for (;;) {
        auto const request = client.receive(kxnet::no_deadline);
        if (request->get_name() == "go") return;
        client.send(request->make_reply(), 0);
    }
}

TEST(connection_handing_on, tells_the_handler_of_events_and_of_the_end) {
    test_node const node(say_and_go);
    for (function const& each : functions) {
        recording_handler told;
        auto const made = each.open({"127.0.0.1", node.port(), &told});
        ASSERT_TRUE(soon([&] { return told.count() == 1; })) << each.target;
        EXPECT_THROW(static_cast<void>(made->request(kxp::packet(2, "go"), patience)), call);
        ASSERT_TRUE(soon([&] { return told.count() == 2; }));
        EXPECT_THAT(told.lines(),
                    ElementsAre("event said", "closed: 127.0.0.1:" + node.port() + " has closed the connection"));
    }
}

TEST(connection_handing_on, is_logged_in_by_the_client_login_alone_as_far_as_the_connection_knows) {
    test_node const node(kx_test::echo);
    for (function const& each : functions) {
        auto const made = each.open({"127.0.0.1", node.port()});
        EXPECT_TRUE(made->is_connected());
        EXPECT_EQ(made->is_logged_in(), each.is_logged_in) << each.target;
    }
}

TEST(connection_handing_on, gives_tls_to_each_function) {
    certificates const& all = certificates::get();
    test_node const node(kx_test::echo, {all.good(), all.key()});
    test_node const foreign(kx_test::echo, {all.foreign(), all.key()});
    kx_test::captured_report const log;
    for (function const& each : functions) {
        EXPECT_TRUE(each.open({"localhost", node.port(), nullptr, {true, all.ca()}})->is_connected());
        EXPECT_EQ(error_of<call>([&] {
                      each.open({"localhost", foreign.port(), nullptr, {true, all.ca()}});
                  }),
                  std::string("Failed to connect to ") + each.target + "localhost:" + foreign.port() +
                      " (the certificate of 'localhost' is not to be trusted: unable to get local issuer certificate)");
        EXPECT_EQ(error_of<call>([&] {
                      each.open({"127.0.0.1", node.port()});
                  }),
                  std::string("Failed to connect to ") + each.target + "127.0.0.1:" + node.port() +
                      " (127.0.0.1:" + node.port() + " wants TLS)");
    }
}

TEST(connection_handing_on, takes_names_and_addresses_of_both_kinds) {
    test_node const node(kx_test::echo);
    kx_test::captured_report const log;
    for (function const& each : functions) {
        for (char const* const host : {"localhost", "127.0.0.1", "::1"})
            EXPECT_TRUE(each.open({host, node.port()})->is_connected()) << host;
        // A service that nobody offers here: its name is understood, or the reason would be another one.
        EXPECT_EQ(error_of<call>([&] {
                      each.open({"::1", "no-such-service"});
                  }),
                  std::string("Failed to connect to ") + each.target + "::1:no-such-service (connection failed)");
    }
}

TEST(connection_handing_on, releases_a_connection_that_is_refused_a_login) {
    test_node const node([](kxnet::packet_stream& client) {
        for (;;)
            client.send(client.receive(kxnet::no_deadline)->make_error_reply("no"), 0);
    });
    std::size_t endings = 0;
    for (function const& each : functions) {
        if (each.command == nullptr) continue;
        recording_handler told;
        EXPECT_THROW(static_cast<void>(each.open({"127.0.0.1", node.port(), &told})), call);
        EXPECT_TRUE(soon([&] { return node.endings().size() == endings + 1; }));
        EXPECT_THAT(node.endings().at(endings), HasSubstr("has closed the connection"));
        EXPECT_EQ(told.count(), 0u) << "this side has ended it";
        ++endings;
    }
}

TEST(connection_handing_on, looks_for_plugins_before_it_connects) {
    test_node const node(kx_test::echo);
    auto const open = [&](bool cache) {
        return kxclientutil::get_state_connection_to_node(nullptr, "127.0.0.1", node.port(), "ann", "secret", "", "",
                                                          cache, 5, nullptr, patience);
    };
    EXPECT_EQ(error_of<kxbase::es::arg>([&] { static_cast<void>(open(true)); }),
              "cannot cache state without a plugin-db");
    EXPECT_TRUE(open(false)->is_connected());
    // The client of before would have come first.
    EXPECT_TRUE(soon([&] { return node.endings().size() == 1; }));
    EXPECT_EQ(node.endings().size(), 1u);
}

ptr_refcount<properties> job_of(char const* id, char const* status) {
    return make_refcount<properties>("id", make_refcount<property_string>(id), "status",
                                     make_refcount<property_string>(status));
}

TEST(connection_handing_on, gives_tasks_the_type_that_the_plugins_tell) {
    test_node const node([](kxnet::packet_stream& client) {
        client.send(client.receive(kxnet::no_deadline)->make_reply(), 0);
        auto const tasks = make_refcount<kxcore::property_list>();
        tasks->push_back(make_refcount<properties>("plugin", make_refcount<property_string>("task/mail")));
        auto const job = job_of("a", "waiting");
        job->set_property("tasks", tasks);
        client.send({kxp::e_packet_type::event, "cluster.job", properties("job", job)}, 0);
        static_cast<void>(client.receive(kxnet::no_deadline));
    });
    kxcore::plugin_db plugins;
    auto const info = make_refcount<properties>("name", make_refcount<property_string>("Mail"));
    plugins.add_plugin(make_refcount<kxcore::plugin_info>(
        make_refcount<properties>("plugin-id", make_refcount<property_string>("task/mail"), "info", info)));
    for (bool const has_cache : {true, false}) {
        recording_handler told;
        auto const made = kxclientutil::get_state_connection_to_node(&told, "127.0.0.1", node.port(), "ann", "secret",
                                                                     "", "", has_cache, 5, &plugins, patience);
        ASSERT_TRUE(soon([&] { return told.count() == 1; }));
        auto const job = made->get_job("a");
        ASSERT_TRUE(job);
        auto const* const type = job->announced->find_referenced("tasks[0]{type}");
        ASSERT_EQ(type != nullptr, has_cache);
        if (has_cache) {
            EXPECT_EQ(type->to_string(), "Mail");
        }
    }
}

/// A node with three jobs that are done, which it forgets when it is asked to.
void announce_and_forget(kxnet::packet_stream& client) {
    client.send(client.receive(kxnet::no_deadline)->make_reply(), 0);
    auto const jobs = make_refcount<kxcore::property_list>();
    for (char const* const id : {"1", "2", "3"})
        jobs->push_back(job_of(id, "done"));
    client.send({kxp::e_packet_type::event, "cluster.state", properties("jobs", jobs)}, 0);
    auto const request = client.receive(kxnet::no_deadline);
    for (char const* const id : {"1", "2", "3"})
        client.send(
            {kxp::e_packet_type::event, "cluster.job.removed", properties("id", make_refcount<property_string>(id))},
            0);
    client.send(request->make_reply(), 0);
    static_cast<void>(client.receive(kxnet::no_deadline));
}

TEST(connection_handing_on, keeps_as_many_finished_jobs_as_the_cache_is_for) {
    test_node const node(announce_and_forget);
    kxcore::plugin_db const plugins;
    for (unsigned int const cache : {0u, 2u}) {
        recording_handler told;
        auto const made = kxclientutil::get_state_connection_to_node(&told, "127.0.0.1", node.port(), "ann", "secret",
                                                                     "", "", true, cache, &plugins, patience);
        ASSERT_TRUE(soon([&] { return told.count() == 4; }));
        static_cast<void>(made->request(kxp::packet(2, "forget"), patience));
        ASSERT_TRUE(soon([&] { return told.count() == 7 - cache; }));
        EXPECT_EQ(made->get_jobs().size(), cache);
        EXPECT_EQ(made->get_job("3").has_value(), cache == 2);
    }
}

TEST(connection_handing_on, keeps_no_finished_jobs_without_the_flag_though_plugins_are_given) {
    test_node const node(announce_and_forget);
    kxcore::plugin_db const plugins;
    recording_handler told;
    auto const made = kxclientutil::get_state_connection_to_node(&told, "127.0.0.1", node.port(), "ann", "secret", "",
                                                                 "", false, 2, &plugins, patience);
    ASSERT_TRUE(soon([&] { return told.count() == 4; }));
    static_cast<void>(made->request(kxp::packet(2, "forget"), patience));
    ASSERT_TRUE(soon([&] { return told.count() == 7; }));
    EXPECT_EQ(made->get_jobs().size(), 0u);
}

/// Neither more than the time-out, nor the usual one.
TEST(connection_handing_on, gives_its_time_out_to_the_connection_and_to_the_login) {
    kx_test::captured_report const log;
    kx_test::fault_server const deaf(kx_test::silent());
    kx_test::fault_server const mute([](kx_test::fault_connection& client) {
        kx_test::greet(client);
        client.stall();
    });
    for (function const& each : functions) {
        for (kx_test::fault_server const* const node : {&deaf, &mute}) {
            if (node == &mute && each.command == nullptr) continue;
            call_of how{"127.0.0.1", node->port()};
            how.timeout = impatience;
            kxnet::time_point began;
            auto const error = error_unless_late<call>(node == &mute ? "(timeout)" : nullptr, [&] {
                began = std::chrono::steady_clock::now();
                each.open(how);
            });
            auto const took = std::chrono::steady_clock::now() - began;
            EXPECT_THAT(error, HasSubstr(node == &deaf ? "(timeout)" : "within the time-out")) << each.target;
            EXPECT_GE(took, std::chrono::milliseconds(impatience));
            EXPECT_LT(took, std::chrono::seconds(10));
        }
    }
}

TEST(connection_handing_on, succeeds_whatever_else_the_reply_holds) {
    test_node const node([](kxnet::packet_stream& client) {
        kxp::packet reply = client.receive(kxnet::no_deadline)->make_reply();
        reply.set_property("errors", "none");
        client.send(reply, 0);
    });
    EXPECT_TRUE(functions[3].open({"127.0.0.1", node.port()}));
}

TEST(connection_handing_on, shows_reasons_of_any_kind_in_their_text_form) {
    auto const list = make_refcount<kxcore::property_list>();
    list->push_back(make_refcount<property_string>("a"));
    kxcore::property_handle const reasons[] = {list,
                                               make_refcount<properties>("code", make_refcount<property_string>("b"))};
    for (auto const& reason : reasons) {
        test_node const node([&](kxnet::packet_stream& client) {
            kxp::packet reply = client.receive(kxnet::no_deadline)->make_reply();
            reply.set_property("error", reason);
            reply.set_property("else", "something");
            client.send(reply, 0);
        });
        EXPECT_EQ(error_of<call>([&] {
                      functions[1].open({"127.0.0.1", node.port()});
                  }),
                  "Failed to login to node: " + reason->to_string());
    }
}

TEST(connection_handing_on, tells_any_other_version_from_its_own) {
    kx_test::captured_report const log;
    for (std::uint32_t const version : {0u, 2u, 0xFFFFFFFFu}) {
        kx_test::fault_server const node([version](kx_test::fault_connection& client) {
            client.send(kx_test::hello_text(version));
            client.stall();
        });
        EXPECT_EQ(error_of<call>([&] {
                      functions[0].open({"127.0.0.1", node.port()});
                  }),
                  "Failed to connect to 127.0.0.1:" + node.port() + " (wrong protocol version)");
    }
}

TEST(connection_handing_on, passes_identities_of_any_bytes_or_says_why_not) {
    using namespace std::string_literals;
    std::mutex guard;
    std::string last;
    test_node const node([&](kxnet::packet_stream& client) {
        auto const request = client.receive(kxnet::no_deadline);
        {
            std::lock_guard const lock(guard);
            last = request->get_properties().get_string_value("username") + '|' +
                   request->get_properties().get_string_value("id");
        }
        client.send(request->make_reply(), 0);
        // Nobody is logged in any more when the node has gone.
        static_cast<void>(client.receive(kxnet::no_deadline));
    });
    call_of how{"127.0.0.1", node.port()};
    how.user = "a\0b"s;
    how.password = "\xff\0"s;
    how.id = "\xc3\xa4";
    EXPECT_TRUE(functions[3].open(how)->is_logged_in());
    {
        std::lock_guard const lock(guard);
        EXPECT_EQ(last, "a\0b|\xc3\xa4"s);
    }
    how.user = std::string(kxbase::limit_string + 1, 'u');
    for (function const& each : functions) {
        if (each.command == nullptr) continue;
        EXPECT_THAT(error_of<kxbase::es::arg>([&] { each.open(how); }), HasSubstr("(limit string)")) << each.command;
    }
}

} // namespace
