#include <kxcapi/state_connection.h>

#include "kxcapi/recording_handler.h"
#include "support/scripted_node.h"

#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using kx_test::fault_connection;
using kx_test::fault_server;
using kx_test::recording_handler;
using kx_test::soon;
using kxbase::make_refcount;
using kxcapi::result_code;
using kxcapi::state_connection;
using kxcore::properties;
using kxcore::property_string;
using testing::ElementsAre;

std::string state_text(std::vector<std::string> const& ids, std::string const& status) {
    auto const list = make_refcount<kxcore::property_list>();
    for (std::string const& id : ids)
        list->push_back(make_refcount<properties>("id", make_refcount<property_string>(id), "status",
                                                  make_refcount<property_string>(status)));
    return kx_test::text_of(
        kxnet::frame(kxp::packet(kxp::e_packet_type::event, "cluster.state", properties("jobs", list))));
}

/// A node that announces two jobs to whoever asks for anything, and then goes.
fault_server::behaviour announcing() {
    return [](fault_connection& client) {
        if (!kx_test::greet(client)) return;
        auto const request = kx_test::read_packet(client);
        if (!request) return;
        client.send(kx_test::reply_text(*request) + state_text({"1", "2"}, "waiting") + kx_test::event_text("other"));
    };
}

void log_in(state_connection& made, std::string const& port) {
    ASSERT_EQ(made.connect("127.0.0.1", port, 20'000), result_code::success) << made.failure();
    static_cast<void>(made.login_sync(kxp::packet(2, "cluster.client.login"), 20'000));
}

std::size_t count_of_ends(recording_handler const& told) {
    auto const lines = told.lines();
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(), [](std::string const& line) { return line.starts_with("closed"); }));
}

/// What a handler is told by two connections one after the other.
std::vector<std::string> told_twice(state_connection& made, recording_handler const& told) {
    fault_server const node(announcing());
    for (std::size_t i = 0; i != 2; ++i) {
        log_in(made, node.port());
        EXPECT_TRUE(soon([&] { return count_of_ends(told) == i + 1; }));
        EXPECT_EQ(made.get_jobs().size(), 2u);
        EXPECT_EQ(made.get_job("2")->status, "waiting");
        made.close();
    }
    std::vector<std::string> lines = told.lines();
    std::erase_if(lines, [](std::string const& line) { return line.starts_with("closed"); });
    return lines;
}

TEST(state_connection, tells_each_connection_anew_without_a_cache) {
    recording_handler told;
    state_connection made(&told);
    EXPECT_THAT(told_twice(made, told),
                ElementsAre("changed 1 waiting", "changed 2 waiting", "complete", "event other", "changed 1 waiting",
                            "changed 2 waiting", "complete", "event other"));
}

TEST(state_connection, tells_differences_with_a_cache) {
    recording_handler told;
    state_connection made(&told, 10, nullptr);
    EXPECT_THAT(told_twice(made, told), ElementsAre("changed 1 waiting", "changed 2 waiting", "complete", "event other",
                                                    "complete", "event other"));
}

TEST(state_connection, may_be_given_up_by_its_handler_in_the_middle_of_a_state) {
    fault_server const node(announcing());
    recording_handler told;
    std::mutex guard;
    kxbase::ptr_refcount<state_connection> held = make_refcount<state_connection>(&told);
    told.then = [&](std::string const&) {
        std::lock_guard const lock(guard);
        held.reset();
    };
    {
        std::lock_guard const lock(guard);
        log_in(*held, node.port());
    }
    EXPECT_TRUE(soon([&] {
        std::lock_guard const lock(guard);
        return !held;
    }));
    EXPECT_THAT(told.lines(), ElementsAre("changed 1 waiting"));
}

} // namespace
