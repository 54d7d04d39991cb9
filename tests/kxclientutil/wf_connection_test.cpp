#include <kxclientutil/wf_connection.h>

#include "kxclientutil/support/submission_fixture.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_property.h>
#include <kxcore/constraint_string.h>
#include <kxcore/constraint_values.h>

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <type_traits>

namespace kxclientutil {

namespace {

using kx_test::encoder_plid;
using kx_test::flag;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::message_of;
using kx_test::number;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::property_list;
using kx_test::task_in;
using kx_test::task_of;
using kx_test::text;
using kx_test::text_at;
using kx_test::tree;
using kx_test::workflow_of;
using kxcore::constraint_db;

namespace es = kxbase::es;

static_assert(std::is_copy_constructible_v<wf_connection> && std::is_copy_assignable_v<wf_connection>);
static_assert(!std::is_polymorphic_v<wf_connection>);
static_assert(!std::is_convertible_v<properties const&, wf_connection>);

properties encoded(wf_connection const& connection) {
    properties out(false);
    connection.encode(out);
    return out;
}

TEST(wf_connection, of_four_texts_names_both_nodes) {
    wf_connection const by("a", "out", "b", "in");
    EXPECT_EQ(by.from_wtid, "a");
    EXPECT_EQ(by.from_node, "out");
    EXPECT_EQ(by.to_wtid, "b");
    EXPECT_EQ(by.to_node, "in");
    EXPECT_EQ(by.result, "");
    EXPECT_EQ(
        encoded(by),
        *tree({{"from-wtid", text("a")}, {"from-node", text("out")}, {"to-wtid", text("b")}, {"to-node", text("in")}}));
    EXPECT_TRUE(by.is_exact_connection());
    EXPECT_FALSE(by.is_result_connection());
}

TEST(wf_connection, of_three_texts_names_a_result_and_no_node) {
    wf_connection const by("a", "b", "success");
    EXPECT_EQ(by.from_wtid, "a");
    EXPECT_EQ(by.from_node, "");
    EXPECT_EQ(by.to_wtid, "b");
    EXPECT_EQ(by.to_node, "");
    EXPECT_EQ(by.result, "success");
    EXPECT_EQ(encoded(by), *tree({{"from-wtid", text("a")}, {"to-wtid", text("b")}, {"result", text("success")}}));
    EXPECT_FALSE(by.is_exact_connection());
    EXPECT_TRUE(by.is_result_connection());
}

TEST(wf_connection, of_two_texts_encodes_to_exactly_two_members) {
    wf_connection const by("a", "b");
    EXPECT_EQ(encoded(by), *tree({{"from-wtid", text("a")}, {"to-wtid", text("b")}}));
    EXPECT_FALSE(by.is_exact_connection());
    EXPECT_FALSE(by.is_result_connection());
    EXPECT_EQ(by, wf_connection("a", "", "b", ""));
    EXPECT_EQ(by, wf_connection("a", "b", ""));
}

TEST(wf_connection, always_writes_both_tasks) {
    EXPECT_EQ(encoded(wf_connection("", "")), *tree({{"from-wtid", text("")}, {"to-wtid", text("")}}));
}

TEST(wf_connection, is_exact_with_both_nodes_only_whatever_its_result) {
    EXPECT_FALSE(wf_connection("a", "out", "b", "").is_exact_connection());
    EXPECT_FALSE(wf_connection("a", "", "b", "in").is_exact_connection());
    wf_connection both("a", "out", "b", "in");
    both.result = "failure";
    EXPECT_TRUE(both.is_exact_connection());
    EXPECT_TRUE(both.is_result_connection());
}

TEST(wf_connection, reads_what_it_has_written) {
    wf_connection every("a", "out", "b", "in");
    every.result = "done";
    for (wf_connection const& by :
         {every, wf_connection("a", "b"), wf_connection("a", "b", "success"), wf_connection("a", "", "b", "in"),
          wf_connection("a", "out", "b", ""), wf_connection("", "")})
        EXPECT_EQ(wf_connection(encoded(by)), by);
}

TEST(wf_connection, reads_what_is_no_string_as_absent_where_it_may_be_absent) {
    auto const stored = tree({{"from-wtid", text("a")},
                              {"to-wtid", text("b")},
                              {"from-node", number(1)},
                              {"to-node", kx_test::deferred()},
                              {"result", flag(true)},
                              {"more", text("x")}});
    EXPECT_EQ(wf_connection(*stored), wf_connection("a", "b"));
}

TEST(wf_connection, cannot_be_read_without_its_tasks) {
    auto const message = [](properties const& stored) {
        return message_of<es::arg>([&] { static_cast<void>(wf_connection(stored)); });
    };
    EXPECT_NE(message(*tree({{"to-wtid", text("b")}})).find("'from-wtid' is missing"), std::string::npos);
    EXPECT_NE(message(*tree({{"from-wtid", text("a")}})).find("'to-wtid' is missing"), std::string::npos);
    EXPECT_NE(message(*tree({{"from-wtid", text("a")}, {"to-wtid", number(1)}})).find("'to-wtid'"), std::string::npos);
    EXPECT_NE(message(properties(false)).find("'from-wtid'"), std::string::npos) << "the first that is looked for";
}

TEST(wf_connection, replaces_its_own_members_and_leaves_all_others) {
    properties out = *tree({{"from-wtid", number(7)}, {"result", text("stale")}, {"color", text("red")}});
    wf_connection("a", "b").encode(out);
    EXPECT_EQ(out, *tree({{"from-wtid", text("a")},
                          {"to-wtid", text("b")},
                          {"result", text("stale")}, // nothing is written for an empty text, so what stood there stays
                          {"color", text("red")}}));
}

TEST(connect_task, makes_the_list_and_appends_to_it) {
    properties workflow(false);
    connect_task(wf_connection("a", "b"), workflow);
    auto const first = tree({{"from-wtid", text("a")}, {"to-wtid", text("b")}});
    EXPECT_EQ(workflow, *tree({{"workflow-meta", tree({{"connections", list({first})}})}}));

    connect_task(wf_connection("a", "b", "failure"), workflow);
    auto const second = tree({{"from-wtid", text("a")}, {"to-wtid", text("b")}, {"result", text("failure")}});
    EXPECT_EQ(workflow, *tree({{"workflow-meta", tree({{"connections", list({first, second})}})}}));
}

TEST(connect_task, appends_the_same_connection_twice) {
    properties workflow(false);
    connect_task(wf_connection("a", "b"), workflow);
    connect_task(wf_connection("a", "b"), workflow);
    auto const connections = workflow.get_properties_value("workflow-meta")->get_list_value("connections");
    ASSERT_EQ(connections->size(), 2U);
    EXPECT_EQ(*(*connections)[0], *(*connections)[1]);
}

TEST(connect_task, replaces_what_is_no_list) {
    auto const one = list({tree({{"from-wtid", text("a")}, {"to-wtid", text("b")}})});
    for (property_handle const& other : {text("x"), property_handle(tree({{"a", text("b")}})), number(1)}) {
        properties workflow = *tree({{"workflow-meta", tree({{"connections", other}, {"type", text("x")}})}});
        connect_task(wf_connection("a", "b"), workflow);
        EXPECT_EQ(workflow, *tree({{"workflow-meta", tree({{"connections", one}, {"type", text("x")}})}}));
    }
}

TEST(connect_task, keeps_elements_that_it_does_not_know_and_lists_that_others_hold) {
    auto const held = list({text("odd")});
    properties workflow = *tree({{"workflow-meta", tree({{"connections", held}})}});
    connect_task(wf_connection("a", "b"), workflow);
    EXPECT_EQ(kxcore::property_cast<property_list>(held)->size(), 1U);
    auto const connections = workflow.get_properties_value("workflow-meta")->get_list_value("connections");
    ASSERT_EQ(connections->size(), 2U);
    EXPECT_EQ(*(*connections)[0], *text("odd"));
}

TEST(connect_task, changes_nothing_when_the_meta_data_are_no_tree) {
    properties workflow = *tree({{"workflow-meta", text("x")}});
    properties const before = workflow;
    EXPECT_NE(message_of<es::arg>([&] { connect_task(wf_connection("a", "b"), workflow); }).find("workflow-meta"),
              std::string::npos);
    EXPECT_EQ(workflow, before);
}

class add_task_test : public kx_test::submission_fixture {
protected:
    std::string add(properties const& task) { return add_task(task, workflow, plugins, constraints); }
    std::string add(properties const& task, std::list<std::string> const& required,
                    std::list<std::string> const& excluded) {
        return add_task(task, workflow, plugins, constraints, required, excluded);
    }

    /// The tags that the task requires; empty when it has no such requirement.
    [[nodiscard]] kxbase::ptr_refcount<constraint_db const> tags_of(std::string const& wtid) const {
        properties const task = task_in(workflow, wtid);
        if (!task.is_present("requirements")) return {};
        auto const requirements =
            kxbase::dynamic_refcount_cast<constraint_db const>(task.get_constraint_value("requirements"));
        if (!requirements) return {};
        EXPECT_EQ(requirements->size(), 1U);
        return kxbase::dynamic_refcount_cast<constraint_db const>(requirements->get_constraint("tags"));
    }

    properties workflow = *workflow_of({task_of(encoder_plid, "encoder", tree({}))});
    properties const mail = *tree({{"plugin-id", text(mail_plid)},
                                   {"name", text("Desk")},
                                   {"configuration", tree({{"subject", text("Done")}})},
                                   {"color", text("red")}});
};

bool demands(constraint_db const& tags, std::string const& tag, bool value) {
    auto const* const member = tags.find(tag);
    if (member == nullptr || member->required != value) return false;
    auto const* const fixed = dynamic_cast<kxcore::constraint_property const*>(member->value.get());
    return fixed != nullptr && *fixed->value() == *flag(value);
}

TEST_F(add_task_test, adds_the_task_at_the_end_under_a_fresh_wtid) {
    properties const before = workflow;
    std::string const wtid = add(mail);
    EXPECT_EQ(wtid.rfind("wtid:" + std::string(mail_plid) + "#", 0), 0U) << wtid;

    auto const tasks = workflow.get_list_value("tasks");
    ASSERT_EQ(tasks->size(), 2U);
    EXPECT_EQ(*(*tasks)[0], *(*before.get_list_value("tasks"))[0]);
    properties expected = mail;
    expected.set_property("id", text(wtid));
    EXPECT_EQ(*(*tasks)[1], expected);
    EXPECT_EQ(text_at(workflow, "name"), "Workflow");
}

TEST_F(add_task_test, gives_every_task_a_wtid_of_its_own) {
    std::string const first = add(mail);
    EXPECT_NE(add(mail), first);
    properties taken = mail;
    taken.set_property("id", text(first));
    EXPECT_NE(add(taken), first);
    EXPECT_EQ(workflow.get_list_value("tasks")->size(), 4U);
}

TEST_F(add_task_test, takes_a_task_on_the_stack_as_well_as_one_in_a_handle) {
    properties const on_the_stack = mail;
    auto const in_a_handle = kxbase::make_refcount<properties>(mail);
    auto const held_twice = in_a_handle;
    for (properties const* task : {&on_the_stack, static_cast<properties const*>(in_a_handle.get())}) {
        std::string const wtid = add(*task);
        EXPECT_EQ(task_in(workflow, wtid).get_property("configuration"), mail.get_property("configuration"))
            << "the configuration is shared";
        EXPECT_EQ(*task, mail) << "the caller's task stays";
    }
    EXPECT_EQ(in_a_handle->reference_count(), 2U);
}

TEST_F(add_task_test, without_tags_adds_no_requirement) {
    EXPECT_FALSE(task_in(workflow, add(mail)).is_present("requirements"));
    EXPECT_FALSE(task_in(workflow, add(mail, {}, {})).is_present("requirements"));
}

TEST_F(add_task_test, binds_required_tags_to_true_and_excluded_ones_to_false) {
    auto const tags = tags_of(add(mail, {"gpu", "fast"}, {"slow", "old"}));
    ASSERT_TRUE(tags);
    EXPECT_EQ(tags->size(), 4U);
    EXPECT_TRUE(demands(*tags, "gpu", true));
    EXPECT_TRUE(demands(*tags, "fast", true));
    EXPECT_TRUE(demands(*tags, "slow", false));
    EXPECT_TRUE(demands(*tags, "old", false));
    EXPECT_EQ(tags->get_constraint("gpu"), tags->get_constraint("fast")) << "one object for all that are required";
    EXPECT_EQ(tags->get_constraint("slow"), tags->get_constraint("old"));
}

TEST_F(add_task_test, takes_tags_of_either_list_alone) {
    auto const required = tags_of(add(mail, {"gpu"}, {}));
    ASSERT_TRUE(required);
    EXPECT_EQ(required->size(), 1U);
    EXPECT_TRUE(demands(*required, "gpu", true));
    auto const excluded = tags_of(add(mail, {}, {"gpu"}));
    ASSERT_TRUE(excluded);
    EXPECT_EQ(excluded->size(), 1U);
    EXPECT_TRUE(demands(*excluded, "gpu", false));
}

TEST_F(add_task_test, excludes_a_tag_that_is_in_both_lists) {
    auto const tags = tags_of(add(mail, {"gpu"}, {"gpu"}));
    ASSERT_TRUE(tags);
    EXPECT_EQ(tags->size(), 1U);
    EXPECT_TRUE(demands(*tags, "gpu", false));
}

TEST_F(add_task_test, replaces_tags_and_keeps_the_other_requirements_of_the_task) {
    auto const requirements = kxbase::make_refcount<constraint_db>(false);
    requirements->add_constraint("tags", kxbase::make_refcount<constraint_db>(false), true);
    requirements->add_constraint("memory", kxbase::make_refcount<kxcore::constraint_bool>(), true);
    properties task = mail;
    task.set_property("requirements", kxbase::make_refcount<kxcore::property_constraint>(requirements));
    properties const added = task_in(workflow, add(task, {"gpu"}, {}));
    auto const stored = kxbase::dynamic_refcount_cast<constraint_db const>(added.get_constraint_value("requirements"));
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->size(), 2U);
    EXPECT_TRUE(stored->is_present("memory"));
    auto const tags = kxbase::dynamic_refcount_cast<constraint_db const>(stored->get_constraint("tags"));
    ASSERT_TRUE(tags);
    EXPECT_TRUE(demands(*tags, "gpu", true));
    EXPECT_EQ(requirements->size(), 2U);
}

TEST_F(add_task_test, leaves_the_workflow_alone_on_any_error) {
    auto const closed = kxbase::make_refcount<constraint_db>(true);
    closed->add_constraint("plugin-id", kxbase::make_refcount<kxcore::constraint_string>(), true);
    properties const unknown = *tree({{"plugin-id", text("task/regular/unheard-of/1.0")}});
    properties const nameless = *tree({{"configuration", tree({})}});
    properties odd = mail;
    odd.set_property("requirements", text("x"));

    properties const before = workflow;
    EXPECT_NE(message_of<es::arg>([&] { static_cast<void>(add(unknown)); }).find("unheard-of"), std::string::npos);
    EXPECT_NE(message_of<es::arg>([&] { static_cast<void>(add(nameless)); }), "(nothing raised)");
    EXPECT_NE(message_of<es::arg>([&] { static_cast<void>(add(odd, {"gpu"}, {})); }), "(nothing raised)");
    constraints.add_constraint("node.user-task", closed, true);
    EXPECT_NE(message_of<es::arg>([&] { static_cast<void>(add(mail)); }).find("color"), std::string::npos);
    EXPECT_EQ(workflow, before);
}

TEST_F(add_task_test, refuses_a_workflow_that_does_not_hold_together) {
    workflow = *tree({{"tasks", text("x")}});
    properties const before = workflow;
    EXPECT_NE(message_of<es::arg>([&] { static_cast<void>(add(mail)); }), "(nothing raised)");
    EXPECT_EQ(workflow, before);
}

TEST_F(add_task_test, adds_the_first_task_to_an_empty_document) {
    workflow.clear();
    std::string const wtid = add(mail);
    EXPECT_EQ(text_at(workflow, "tasks[0]{id}"), wtid);
}

} // namespace

} // namespace kxclientutil
