// A visit to kx-devnode in this process, where its time-out can be a short one.

#include "visit.h"

#include "raw_talk.h"

#include "support/scratch_folder.h"

#include <kxcore/property_list.h>
#include <kxnet/listener.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

using kx_test::bytes_of;
using kx_test::greeted;
using kx_test::login;
using kx_test::next_packet;
using kx_test::packet_behind;

constexpr std::size_t many = 40'000;

/// A node with so many jobs that sockets hold but a part of its state, some 15 MB, and the visit of one client.
class kx_devnode_visit : public testing::Test {
protected:
    static constexpr std::chrono::milliseconds patience{500};

    kx_devnode_visit() {
        EXPECT_EQ(
            accounts_.add(std::string(kx_test::node_user) + ":" + kxbase::string_hash_SHA1_hex(kx_test::node_password)),
            "");
        std::string const name(devnode::job_board::longest_name, 'n');
        for (std::size_t i = 0; i != many; ++i)
            board_.add("job-" + std::to_string(i), name, {kx_test::node_user, 0});
    }

    ~kx_devnode_visit() override {
        listener_.close();
        serving_.join();
    }

    [[nodiscard]] std::string port() const { return std::to_string(listener_.port()); }

private:
    void serve() {
        if (auto client = listener_.accept())
            devnode::visit(std::move(client), {accounts_, board_, jobs_, static_cast<unsigned int>(patience.count())})
                .run();
    }

    kx_test::scratch_folder folder_;
    devnode::users accounts_;
    devnode::job_board board_;
    devnode::spool jobs_{folder_.file("spool"), board_, 10};
    kxnet::listener listener_{"127.0.0.1", 0};
    std::thread serving_{[this] { serve(); }};
};

TEST_F(kx_devnode_visit, sends_a_reply_however_long_it_waits_behind_a_state) {
    auto const client = greeted(port());
    ASSERT_TRUE(client->send(bytes_of(login())));
    ASSERT_EQ(next_packet(*client)->get_request_number(), 1U);
    // From here on the state is on its way, and nothing else can be sent.
    std::string const head = client->read(kxnet::frame_head_size);
    ASSERT_TRUE(client->send(bytes_of(kxp::packet(kxp::e_packet_type::request, "node.echo"), 2)));
    // The reply waits, and its time is over more than once.
    std::this_thread::sleep_for(4 * patience);
    auto const state = packet_behind(*client, head);
    EXPECT_EQ(state->get_name(), "cluster.state");
    EXPECT_EQ(dynamic_cast<kxcore::property_list const&>(*state->get_properties().get_property("jobs")).size(), many);
    auto const reply = next_packet(*client);
    EXPECT_EQ(reply->get_name(), "node.echo");
    EXPECT_EQ(reply->get_request_number(), 2U);
}

} // namespace
