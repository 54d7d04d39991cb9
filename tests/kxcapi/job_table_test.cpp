#include "job_table.h"

#include "kxcapi/recording_handler.h"
#include "support/captured_report.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <gmock/gmock.h>

namespace {

using kxbase::make_refcount;
using kxcapi::job_table;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;
using kxp::e_packet_type;
using testing::ElementsAre;

struct listed {
    char const* id;
    char const* status;
};

kxbase::ptr_refcount<properties> tree_of(listed const& job) {
    return make_refcount<properties>("id", make_refcount<property_string>(job.id), "status",
                                     make_refcount<property_string>(job.status));
}

kxp::packet state_of(std::vector<listed> const& jobs) {
    auto const list = make_refcount<property_list>();
    for (listed const& each : jobs)
        list->push_back(tree_of(each));
    return {e_packet_type::event, "cluster.state", properties("jobs", list)};
}

kxp::packet change_of(listed const& job) {
    return {e_packet_type::event, "cluster.job", properties("job", tree_of(job))};
}

kxp::packet removal_of(char const* id) {
    return {e_packet_type::event, "cluster.job.removed", properties("id", make_refcount<property_string>(id))};
}

std::vector<std::string> ids(job_table const& table) {
    std::vector<std::string> all;
    for (kxcapi::job const& each : table.get_jobs())
        all.push_back(each.id);
    return all;
}

TEST(job_table, follows_what_is_announced) {
    kx_test::recording_handler told;
    job_table table(&told, std::nullopt);
    table.event(state_of({{"b", "running"}, {"a", "waiting"}}));
    table.event(change_of({"a", "running"}));
    table.event(change_of({"a", "running"}));
    table.event(change_of({"c", "waiting"}));
    table.event(removal_of("b"));
    table.event(removal_of("unknown"));
    EXPECT_THAT(told.lines(), ElementsAre("changed b running", "changed a waiting", "complete", "changed a running",
                                          "changed c waiting", "removed b running"));
    EXPECT_THAT(ids(table), ElementsAre("a", "c"));
    EXPECT_EQ(table.get_job("a")->status, "running");
    EXPECT_FALSE(table.get_job("b"));
}

TEST(job_table, hands_other_events_and_the_end_on) {
    kx_test::recording_handler told;
    job_table table(&told, std::nullopt);
    table.event(kxp::packet(e_packet_type::event, "something.else"));
    table.closed("gone");
    EXPECT_THAT(told.lines(), ElementsAre("event something.else", "closed: gone"));
}

TEST(job_table, begins_anew_with_each_connection) {
    kx_test::recording_handler told;
    job_table table(&told, std::nullopt);
    table.event(state_of({{"a", "waiting"}}));
    table.start();
    EXPECT_TRUE(table.get_jobs().empty());
    table.event(state_of({{"a", "waiting"}}));
    EXPECT_THAT(told.lines(), ElementsAre("changed a waiting", "complete", "changed a waiting", "complete"));
}

TEST(job_table, with_a_cache_tells_differences_after_a_reconnect) {
    kx_test::recording_handler told;
    job_table table(&told, kxcapi::job_cache{0});
    table.event(state_of({{"a", "waiting"}, {"b", "running"}, {"c", "done"}}));
    table.start();
    EXPECT_THAT(ids(table), ElementsAre("a", "b", "c"));
    table.event(state_of({{"a", "waiting"}, {"b", "done"}}));
    EXPECT_THAT(told.lines(), ElementsAre("changed a waiting", "changed b running", "changed c done", "complete",
                                          "removed c done", "changed b done", "complete"));
}

TEST(job_table, with_a_cache_keeps_so_many_finished_jobs_and_no_others) {
    kx_test::recording_handler told;
    job_table table(&told, kxcapi::job_cache{2});
    table.event(state_of({{"a", "done"}, {"b", "failed"}, {"c", "running"}, {"d", "cancelled"}}));
    table.event(removal_of("b"));
    table.event(removal_of("b"));
    table.event(removal_of("c"));
    table.event(removal_of("a"));
    EXPECT_THAT(ids(table), ElementsAre("a", "b", "d"));
    table.event(removal_of("d"));
    EXPECT_THAT(ids(table), ElementsAre("a", "d"));
    std::vector<std::string> const lines = told.lines();
    EXPECT_THAT(std::vector<std::string>(lines.begin() + 5, lines.end()),
                ElementsAre("removed c running", "removed b failed"));
}

TEST(job_table, forgets_that_a_job_was_forgotten_when_it_comes_back) {
    job_table table(nullptr, kxcapi::job_cache{1});
    table.event(state_of({{"a", "done"}, {"b", "done"}}));
    table.event(removal_of("a"));
    table.event(change_of({"a", "running"}));
    table.event(removal_of("b"));
    EXPECT_THAT(ids(table), ElementsAre("a", "b"));
}

TEST(job_table, drops_events_that_cannot_be_read_whole) {
    kx_test::captured_report const log;
    kx_test::recording_handler told;
    job_table table(&told, std::nullopt);
    table.event(state_of({{"a", "waiting"}}));
    table.event(state_of({{"b", "waiting"}, {"", "waiting"}}));
    table.event(kxp::packet(e_packet_type::event, "cluster.state"));
    table.event(kxp::packet(e_packet_type::event, "cluster.job"));
    table.event(kxp::packet(e_packet_type::event, "cluster.job.removed"));
    EXPECT_THAT(ids(table), ElementsAre("a"));
    EXPECT_EQ(told.count(), 2u);
    EXPECT_EQ(log.lines().size(), 4u);
    EXPECT_TRUE(log.has("event \"cluster.state\" dropped: \"id\" of a job is empty"));
}

TEST(job_table, goes_on_when_a_handler_raises) {
    kx_test::captured_report const log;
    kx_test::recording_handler told;
    told.then = [](std::string const&) { kxbase::es::arg::raise("not I"); };
    job_table table(&told, std::nullopt);
    table.event(state_of({{"a", "waiting"}, {"b", "waiting"}}));
    EXPECT_EQ(told.count(), 3u);
    EXPECT_THAT(ids(table), ElementsAre("a", "b"));
    EXPECT_TRUE(log.has("a handler raised: not I"));
}

TEST(job_table, tells_nobody_once_detached) {
    kx_test::recording_handler told;
    job_table table(&told, std::nullopt);
    told.then = [&](std::string const&) { table.detach(); };
    table.event(state_of({{"a", "waiting"}, {"b", "waiting"}}));
    EXPECT_EQ(told.count(), 1u);
}

kxcore::plugin_db plugins() {
    auto const text = [](char const* of) { return make_refcount<property_string>(of); };
    kxcore::plugin_db made;
    made.add_plugin(make_refcount<kxcore::plugin_info>(make_refcount<properties>(
        "plugin-id", text("task/regular/mail/1.0"), "info", make_refcount<properties>("name", text("Mail")))));
    return made;
}

TEST(job_table, with_plugins_gives_tasks_their_type) {
    auto const text = [](char const* of) { return make_refcount<property_string>(of); };
    auto const tasks = make_refcount<property_list>();
    tasks->push_back(make_refcount<properties>("plugin", text("task/regular/mail/1.0")));
    tasks->push_back(make_refcount<properties>("plugin", text("task/regular/mail/1.0"), "type", text("own")));
    tasks->push_back(make_refcount<properties>("plugin", text("unknown")));
    tasks->push_back(text("no tree"));
    auto const announced = tree_of({"a", "running"});
    announced->set_property("tasks", tasks);

    kx_test::recording_handler told;
    job_table table(&told, kxcapi::job_cache{0, plugins()});
    kxp::packet const event(e_packet_type::event, "cluster.job", properties("job", announced));
    table.event(event);
    table.event(event);
    EXPECT_EQ(told.count(), 1u);
    auto const known = table.get_job("a")->announced;
    auto const type = [&](char const* path) {
        auto const* const found = known->find_referenced(path);
        return found == nullptr ? std::string("none") : found->to_string();
    };
    EXPECT_EQ(type("tasks[0]{type}"), "Mail");
    EXPECT_EQ(type("tasks[1]{type}"), "own");
    EXPECT_EQ(type("tasks[2]{type}"), "none");
    EXPECT_EQ(type("tasks[3]"), "no tree");
    EXPECT_FALSE(announced->find_referenced("tasks[0]{type}"));
}

TEST(job_table, leaves_an_event_alone_whose_handler_has_connected_again) {
    for (bool const is_cached : {false, true}) {
        kx_test::recording_handler told;
        job_table table(&told, is_cached ? std::optional(kxcapi::job_cache{0}) : std::nullopt);
        table.event(state_of({{"0", "waiting"}}));
        told.then = [&](std::string const& line) {
            if (line == "changed 1 waiting") table.start();
        };
        table.event(state_of({{"0", "waiting"}, {"1", "waiting"}, {"2", "waiting"}}));
        EXPECT_EQ(told.lines().back(), "changed 1 waiting");
        EXPECT_EQ(ids(table).size(), is_cached ? 2u : 0u);
        table.event(state_of({{"2", "waiting"}}));
        EXPECT_THAT(ids(table), ElementsAre("2"));
        EXPECT_EQ(told.lines().back(), "complete");
    }
}

/// With a message of so many bytes.
kxbase::ptr_refcount<properties> large_tree_of(listed const& job, std::size_t size) {
    auto made = tree_of(job);
    made->set_property("message", make_refcount<property_string>(std::string(size, 'm')));
    return made;
}

kxp::packet large_change_of(listed const& job, std::size_t size) {
    return {e_packet_type::event, "cluster.job", properties("job", large_tree_of(job, size))};
}

kxp::packet large_state_of(std::vector<std::pair<char const*, std::size_t>> const& jobs) {
    auto const list = make_refcount<property_list>();
    for (auto const& [id, size] : jobs)
        list->push_back(large_tree_of({id, "running"}, size));
    return {e_packet_type::event, "cluster.state", properties("jobs", list)};
}

/// Three jobs of a thousand bytes are kept, and four are not.
class job_table_limits : public testing::Test {
protected:
    static kxbase::limits few() {
        kxbase::limits limits;
        limits.frame = 2000;
        return limits;
    }

    static constexpr char const* refusal =
        "dropped: the jobs of the node take more than 4000 bytes (twice the limit frame)";

    kxbase::scoped_limits const scope{few()};
    kx_test::captured_report log;
    kx_test::recording_handler told;
};

TEST_F(job_table_limits, keep_to_twice_what_a_node_may_announce_at_once) {
    job_table table(&told, std::nullopt);
    for (char const* const id : {"a", "b", "c", "d"})
        table.event(large_change_of({id, "running"}, 1000));
    EXPECT_THAT(ids(table), ElementsAre("a", "b", "c"));
    EXPECT_TRUE(log.has(std::string("event \"cluster.job\" ") + refusal));
    EXPECT_EQ(told.count(), 3u);

    table.event(removal_of("a"));
    table.event(large_change_of({"d", "running"}, 1000));
    EXPECT_THAT(ids(table), ElementsAre("b", "c", "d"));

    table.event(large_change_of({"b", "done"}, 2500));
    EXPECT_EQ(table.get_job("b")->status, "running");
    table.event(large_change_of({"b", "done"}, 100));
    EXPECT_EQ(table.get_job("b")->status, "done");
    table.event(large_change_of({"e", "running"}, 1000));
    EXPECT_THAT(ids(table), ElementsAre("b", "c", "d", "e"));

    table.start();
    table.event(large_state_of({{"f", 3000}}));
    EXPECT_THAT(ids(table), ElementsAre("f"));
}

// A byte each, which is not what they take.
TEST_F(job_table_limits, count_values_as_well) {
    job_table table(&told, std::nullopt);
    auto const announced = tree_of({"a", "running"});
    announced->set_property("tasks", make_refcount<property_list>(std::vector<kxcore::property_handle>(
                                         700, kxcore::property_bool::create(true))));
    table.event({e_packet_type::event, "cluster.job", properties("job", announced)});
    EXPECT_TRUE(table.get_jobs().empty());
    EXPECT_TRUE(log.has(refusal));
}

TEST_F(job_table_limits, take_no_state_that_is_too_large_and_keep_what_there_is) {
    job_table table(&told, std::nullopt);
    table.event(large_state_of({{"a", 10}}));
    table.event(large_state_of({{"a", 1000}, {"b", 1000}, {"c", 1000}, {"d", 1000}}));
    EXPECT_THAT(ids(table), ElementsAre("a"));
    EXPECT_TRUE(log.has(std::string("event \"cluster.state\" ") + refusal));
    EXPECT_EQ(told.count(), 2u);
}

TEST_F(job_table_limits, take_a_state_whatever_there_was) {
    job_table table(&told, std::nullopt);
    table.event(large_state_of({{"a", 3500}, {"b", 100}}));
    table.event(large_state_of({{"b", 3500}, {"a", 100}}));
    EXPECT_EQ(table.get_job("b")->announced->get_string_value("message").size(), 3500u);
    EXPECT_EQ(table.get_job("a")->announced->get_string_value("message").size(), 100u);
    table.event(large_state_of({{"c", 3500}}));
    EXPECT_THAT(ids(table), ElementsAre("c"));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(job_table_limits, forget_finished_jobs_that_are_too_large_together) {
    job_table table(&told, kxcapi::job_cache{100});
    auto const come_and_go = [&](char const* id) {
        table.event(large_change_of({id, "done"}, 1000));
        table.event(removal_of(id));
    };
    for (char const* const id : {"a", "b", "c"})
        come_and_go(id);
    EXPECT_THAT(ids(table), ElementsAre("a", "b", "c"));
    come_and_go("d");
    EXPECT_THAT(ids(table), ElementsAre("b", "c", "d"));
    EXPECT_EQ(told.lines().back(), "removed a done");

    // Who comes back is none of them any more.
    table.event(large_change_of({"b", "running"}, 1000));
    come_and_go("e");
    EXPECT_THAT(ids(table), ElementsAre("b", "c", "d", "e"));
    EXPECT_TRUE(log.lines().empty());
}

/// A job whose tasks tell their types, or leave them to be added here.
kxp::packet job_of_mails(bool tells_types) {
    auto const text = [](char const* of) { return make_refcount<property_string>(of); };
    auto const tasks = make_refcount<property_list>();
    for (int i = 0; i != 60; ++i) {
        auto const task = make_refcount<properties>("plugin", text("task/regular/mail/1.0"));
        if (tells_types) task->set_property("type", text("Mail"));
        tasks->push_back(task);
    }
    auto const announced = tree_of({"mails", "running"});
    announced->set_property("tasks", tasks);
    return {e_packet_type::event, "cluster.job", properties("job", announced)};
}

TEST_F(job_table_limits, weigh_the_same_job_anew_when_it_is_announced_in_another_size) {
    for (bool const tells_types_first : {false, true}) {
        job_table table(&told, kxcapi::job_cache{0, plugins()});
        table.event(job_of_mails(tells_types_first));
        std::size_t const changes = told.count();
        table.event(job_of_mails(!tells_types_first));
        EXPECT_EQ(told.count(), changes) << "it is the same job";
        table.event(removal_of("mails"));
        EXPECT_TRUE(table.get_jobs().empty());

        table.event(large_change_of({"small", "running"}, 10));
        table.event(removal_of("small"));
        table.event(large_change_of({"large", "running"}, 3900));
        EXPECT_THAT(log.messages(), testing::IsEmpty());
        EXPECT_THAT(ids(table), ElementsAre("large"));
        table.event(large_change_of({"large", "running"}, 4100));
        EXPECT_TRUE(log.has(refusal));
        log.clear();
    }
}

} // namespace
