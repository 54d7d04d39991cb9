// kx-devnode and many clients at once.

#include "devnode_client.h"

#include <kxbase/hash.h>
#include <kxnet/packet_stream.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kx_test::devnode_process;
using kx_test::finalized_job;
using testing::IsEmpty;

constexpr std::size_t connections = 1000;
/// Of these. The others have logged in as administrators: the node announces nothing to them.
constexpr std::size_t submitters = 100;
constexpr std::size_t jobs_of_each = 5;
constexpr std::size_t all_jobs = submitters * jobs_of_each;

using stream = std::unique_ptr<kxnet::packet_stream>;

/// The reply with a number; events are passed over.
kxbase::ptr_refcount<kxp::packet> reply_to(kxnet::packet_stream& client, std::uint32_t number) {
    for (;;) {
        auto packet = client.receive(kxnet::deadline_after(60'000));
        if (!packet) throw std::runtime_error("no reply");
        if (packet->get_request_number() == number) return packet;
    }
}

stream logged_in_stream(devnode_process const& node, std::string const& command) {
    kxp::packet login(kxp::e_packet_type::request, command);
    login.set_property("username", kx_test::node_user);
    login.set_property("password", kxbase::string_hash_SHA1_hex(kx_test::node_password));
    login.set_property("id", "crowd");
    stream client = kxnet::packet_stream::connect("127.0.0.1", node.port(), {}, 60'000);
    client->send(kxnet::frame(login, 1), 0);
    if (reply_to(*client, 1)->get_properties().is_present("error")) throw std::runtime_error("refused");
    return client;
}

/// The ids of the jobs that a node announces to whoever logs in.
std::set<std::string> announced_by(devnode_process const& node) {
    auto const client = logged_in_stream(node, "cluster.client.login");
    auto const state = client->receive(kxnet::deadline_after(60'000));
    if (!state || state->get_name() != "cluster.state") throw std::runtime_error("no state");
    std::set<std::string> ids;
    for (auto const& job : dynamic_cast<kxcore::property_list const&>(*state->get_properties().get_property("jobs")))
        ids.insert(dynamic_cast<kxcore::properties const&>(*job).get_string_value("id"));
    return ids;
}

/// A crowd of clients, some of which have jobs to submit.
class crowd {
public:
    explicit crowd(devnode_process const& node) : job_(finalized_job()) {
        // Each of them is a descriptor here, too.
        rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, std::max<rlim_t>(limit.rlim_cur, 2 * connections));
        ::setrlimit(RLIMIT_NOFILE, &limit);
        while (clients_.size() != submitters)
            clients_.push_back(logged_in_stream(node, "cluster.client.login"));
        while (clients_.size() != connections)
            clients_.push_back(logged_in_stream(node, "admin.login"));
    }

    /// Those who have jobs submit them, all at once.
    ///
    /// @param at_quarter  called once, when a quarter of the jobs are acknowledged
    void submit(std::function<void()> at_quarter = [] {}) {
        at_quarter_ = std::move(at_quarter);
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i != submitters; ++i)
            threads.emplace_back([this, i] {
                for (std::size_t each = 0; each != jobs_of_each; ++each)
                    submit_one(*clients_[i], i * jobs_of_each + each);
            });
        for (auto& each : threads)
            each.join();
    }

    [[nodiscard]] std::size_t acknowledged() const { return ids_.size(); }

    /// The acknowledged jobs that the node does not announce, and those that are not in its spool.
    [[nodiscard]] std::set<std::string> missing_in(devnode_process const& node) const {
        std::set<std::string> const announced = announced_by(node);
        std::set<std::string> missing;
        for (std::string const& id : ids_) {
            std::string const file = node.spool() + "/" + id + ".job";
            if (!announced.contains(id) || *kxclientutil::read_job_file(file) != *job_) missing.insert(id);
        }
        return missing;
    }

private:
    void submit_one(kxnet::packet_stream& client, std::size_t number) {
        std::string const id = "job-" + std::to_string(number);
        try {
            client.send(kxnet::frame(kx_test::submission(*job_, id), 2), 0);
            auto const reply = reply_to(client, 2);
            if (reply->get_properties().get_string_value("id", "") != id) return;
        } catch (std::exception const&) {
            return; // the node has been killed, or keeps its client waiting: the number of those acknowledged tells
        }
        std::lock_guard const lock(guard_);
        ids_.push_back(id);
        if (ids_.size() == all_jobs / 4) at_quarter_();
    }

    kxbase::ptr_refcount<kxcore::properties const> job_;
    std::vector<stream> clients_;
    std::function<void()> at_quarter_;
    std::mutex guard_;
    std::vector<std::string> ids_;
};

TEST(kx_devnode_crowd, has_every_acknowledged_job_of_a_thousand_connections) {
    devnode_process node;
    crowd clients(node);
    clients.submit();
    EXPECT_EQ(clients.acknowledged(), all_jobs) << node.log().substr(0, 2000);
    EXPECT_THAT(clients.missing_in(node), IsEmpty());
    EXPECT_EQ(node.end(SIGTERM), 0) << node.log().substr(0, 10'000);
}

TEST(kx_devnode_crowd, has_every_acknowledged_job_when_it_is_killed_in_the_midst) {
    devnode_process node;
    crowd clients(node);
    clients.submit([&] { node.end(SIGKILL); });
    EXPECT_GE(clients.acknowledged(), all_jobs / 4);
    EXPECT_LT(clients.acknowledged(), all_jobs);
    node.start();
    EXPECT_THAT(clients.missing_in(node), IsEmpty());
}

} // namespace
