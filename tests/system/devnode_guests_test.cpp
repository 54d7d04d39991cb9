// What kx-devnode owes its clients when they log in, and when there are more than it has room for.

#include "devnode_client.h"
#include "devnode_footprint.h"
#include "raw_talk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <vector>

namespace {

using kx_test::bytes_of;
using kx_test::devnode_process;
using kx_test::eventually;
using kx_test::finalized_job;
using kx_test::footprint;
using kx_test::greeted;
using kx_test::logged_in;
using kx_test::login;
using kx_test::next_packet;
using kx_test::raw_client;
using kx_test::submitted;
using kx_test::tells;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Ends a node. One that is built with the thread sanitizer has ended before if there was a data race, and its log has it.
void expect_sound(devnode_process& node) {
    EXPECT_EQ(node.end(SIGTERM), 0) << node.log();
}

TEST(kx_devnode_guests, answers_each_login_before_it_announces_the_state) {
    devnode_process node;
    auto const client = greeted(node.port());
    for (std::uint32_t number = 1; number != 500; ++number) {
        ASSERT_TRUE(client->send(bytes_of(login(), number)));
        ASSERT_EQ(next_packet(*client)->get_request_number(), number);
        ASSERT_EQ(next_packet(*client)->get_name(), "cluster.state");
    }
    expect_sound(node);
}

TEST(kx_devnode_guests, announces_nothing_more_to_whoever_has_logged_in_as_an_administrator_instead) {
    devnode_process node;
    auto const job = finalized_job();
    auto const client = greeted(node.port());
    ASSERT_TRUE(client->send(bytes_of(login())));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 1U);
    EXPECT_EQ(next_packet(*client)->get_name(), "cluster.state");
    // A login that fails leaves the one there is.
    ASSERT_TRUE(client->send(bytes_of(login("admin.login", kx_test::node_user, "wrong"), 2)));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 2U);
    ASSERT_EQ(submitted(*logged_in(node), *job, "a"), "a");
    EXPECT_EQ(next_packet(*client)->get_name(), "cluster.job");
    // One of the same kind begins anew with the whole state.
    ASSERT_TRUE(client->send(bytes_of(login(), 3)));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 3U);
    EXPECT_EQ(next_packet(*client)->get_name(), "cluster.state");
    ASSERT_TRUE(client->send(bytes_of(login("admin.login"), 4)));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 4U);
    ASSERT_EQ(submitted(*logged_in(node), *job, "b"), "b");
    ASSERT_TRUE(client->send(bytes_of(kxp::packet(kxp::e_packet_type::request, "node.echo"), 5)));
    EXPECT_EQ(next_packet(*client)->get_request_number(), 5U);
    expect_sound(node);
}

TEST(kx_devnode_guests, lets_strangers_make_room_for_strangers_and_keeps_those_who_have_logged_in) {
    devnode_process node({}, 256);
    footprint const before(node);
    auto const guest = logged_in(node);
    std::vector<std::unique_ptr<raw_client>> strangers;
    for (int i = 0; i != 400; ++i)
        strangers.push_back(std::make_unique<raw_client>(node.port()));
    EXPECT_EQ(submitted(*logged_in(node), *finalized_job(), "a"), "a");
    EXPECT_LT(node.descriptors(), 256U);
    EXPECT_NO_THROW(strangers.front()->read_to_end());
    EXPECT_TRUE(guest->is_connected());
    EXPECT_THAT(node.log(), HasSubstr("has to make room"));
    EXPECT_THAT(node.log(), Not(HasSubstr("no client can be taken")));
    strangers.clear();
    guest->close();
    before.expect_same();
    expect_sound(node);
}

TEST(kx_devnode_guests, sends_away_whoever_comes_when_its_places_are_taken_until_one_leaves) {
    devnode_process node({}, 128);
    footprint const before(node);
    std::vector<std::unique_ptr<raw_client>> guests;
    for (int i = 0; i != 64; ++i) {
        guests.push_back(greeted(node.port()));
        ASSERT_TRUE(guests.back()->send(bytes_of(login("admin.login"))));
        ASSERT_EQ(next_packet(*guests.back())->get_request_number(), 1U) << i;
    }
    for (int i = 0; i != 5; ++i)
        EXPECT_THAT(raw_client(node.port()).read_to_end(), IsEmpty());
    EXPECT_TRUE(tells(node, "no room for more clients: 64 are there"));
    std::string const told = node.log();
    EXPECT_EQ(told.find("no room"), told.rfind("no room"));
    guests.pop_back();
    EXPECT_TRUE(eventually([&] {
        try {
            return logged_in(node)->is_logged_in();
        } catch (kxbase::es::call const&) {
            return false;
        }
    }));
    guests.clear();
    before.expect_same();
    expect_sound(node);
}

} // namespace
