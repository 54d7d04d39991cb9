// How a workflow_builder takes documents apart, and what it refuses.
#include "kxworkflow/support/workflows.h"

#include <kxworkflow/identifiers.h>

#include <gmock/gmock.h>

namespace {

using kx_test::arg_message;
using kx_test::encoder;
using kx_test::exported;
using kx_test::flag;
using kx_test::id;
using kx_test::list;
using kx_test::make_builder;
using kx_test::make_builder_from;
using kx_test::make_task;
using kx_test::make_workflow;
using kx_test::number;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::status;
using kx_test::text;
using kx_test::text_at;
using kx_test::texts;
using kx_test::tree;
using kx_test::tree_handle;
using kx_test::upload;
using testing::ElementsAre;

/// The message for a workflow whose only task is this one.
std::string refusal(property_handle const& task) {
    return arg_message([&] { make_builder({task}); });
}

std::string refusal_of(char const* key, property_handle const& value) {
    auto workflow = make_workflow({});
    workflow.set_property(key, value);
    return arg_message([&] { make_builder_from(workflow); });
}

tree_handle with(tree_handle task, char const* key, property_handle const& value) {
    task->set_property(key, value);
    return task;
}

tree_handle source_entry(std::string const& from, char const* output, char const* input) {
    return tree({{"from-wtid", text(from)}, {"from-node", text(output)}, {"to-node", text(input)}});
}

tree_handle wait_entry(std::vector<std::string> const& wtids) {
    return tree(
        {{"tasks", texts(wtids)}, {"status", kxbase::make_refcount<kxcore::property_constraint>(status("succeeded"))}});
}

TEST(parsing, accepts_a_workflow_without_anything) {
    auto const builder = make_builder_from(properties(false));
    EXPECT_EQ(builder.get_task_count(), 0u);
    EXPECT_EQ(builder.get_workflow_name(), "");
    EXPECT_EQ(builder.get_workflow_type(), 0);
    EXPECT_TRUE(builder.get_workflow_meta_data()->empty());
}

TEST(parsing, finds_tasks_by_their_ids) {
    auto const builder = make_builder({make_task(encoder, "a"), make_task(upload, "b")});
    EXPECT_EQ(builder.get_task_count(), 2u);
    EXPECT_TRUE(builder.has_task(id(encoder, "a")));
    EXPECT_FALSE(builder.has_task(id(encoder, "b")));
    EXPECT_EQ(builder.get_task(id(upload, "b"))->get_name(), "b");
}

TEST(parsing, takes_the_plugin_from_the_id_of_a_task_without_one) {
    auto const builder = make_builder({tree({{"id", text(id(encoder, "a"))}})});
    EXPECT_EQ(builder.get_task(id(encoder, "a"))->get_plid(), encoder);
    EXPECT_EQ(text_at(exported(builder), "tasks[0]{plugin-id}"), encoder);
}

TEST(parsing, accepts_an_id_without_the_leading_scheme) {
    std::string const bare = std::string(encoder) + "#a";
    auto const builder = make_builder({tree({{"id", text(bare)}, {"plugin-id", text(encoder)}})});
    EXPECT_TRUE(builder.has_task(bare));
}

TEST(parsing, gives_a_task_without_an_id_a_fresh_one) {
    auto const task = tree({{"plugin-id", text(encoder)}, {"name", text("720p")}});
    auto const builder = make_builder({task, task});
    ASSERT_EQ(builder.get_task_count(), 2u);
    std::string const wtid = text_at(exported(builder), "tasks[1]{id}");
    EXPECT_EQ(kxworkflow::wtid_plid(wtid), encoder);
    EXPECT_EQ(builder.get_task(wtid)->get_name(), "720p");
    EXPECT_FALSE(task->is_present("id")) << "the caller's document";
}

TEST(parsing, reads_a_missing_configuration_and_name_as_empty) {
    auto const builder = make_builder({tree({{"id", text(id(encoder, "a"))}})});
    EXPECT_TRUE(builder.get_task_configuration(id(encoder, "a"))->empty());
    EXPECT_EQ(builder.get_task(id(encoder, "a"))->get_name(), "");
}

TEST(parsing, leaves_the_document_as_it_was) {
    properties const workflow = make_workflow({tree({{"plugin-id", text(encoder)}})});
    properties const before = workflow;
    auto builder = make_builder_from(workflow);
    builder.set_workflow_type(2);
    builder.add_workflow_meta_data("a", text("b"));
    static_cast<void>(exported(builder));
    EXPECT_EQ(workflow, before);
}

TEST(parsing, refuses_a_task_that_says_nothing_of_what_it_is) {
    EXPECT_EQ(refusal(tree({{"name", text("a")}})),
              "workflow tasks[0]: neither \"id\" nor \"plugin-id\" says what it is");
    EXPECT_EQ(refusal(tree({{"id", text("")}})),
              "workflow tasks[0] '': neither \"id\" nor \"plugin-id\" says what it is");
}

TEST(parsing, refuses_an_unknown_plugin) {
    EXPECT_EQ(refusal(tree({{"id", text("wtid:no/such/1.0#a")}})),
              "workflow tasks[0] 'wtid:no/such/1.0#a': unknown plugin 'no/such/1.0'");
    EXPECT_EQ(refusal(tree({{"plugin-id", text("no/such/1.0")}})), "workflow tasks[0]: unknown plugin 'no/such/1.0'");
}

TEST(parsing, refuses_an_id_and_a_plugin_that_do_not_fit_together) {
    EXPECT_EQ(refusal(tree({{"id", text(id(encoder, "a"))}, {"plugin-id", text(upload)}})),
              "workflow tasks[0] '" + id(encoder, "a") + "': its \"plugin-id\" is '" + upload +
                  "', but its \"id\" names the plugin '" + encoder + "'");
}

TEST(parsing, refuses_an_id_that_is_taken) {
    EXPECT_EQ(arg_message([] {
                  make_builder({make_task(encoder, "a"), make_task(encoder, "a")});
              }),
              "workflow tasks[1] '" + id(encoder, "a") + "': its \"id\" is taken by an earlier task");
}

TEST(parsing, refuses_an_id_that_no_workflow_path_can_hold) {
    EXPECT_EQ(refusal(make_task(encoder, "a>b")), "workflow tasks[0] '" + id(encoder, "a>b") +
                                                      "': its \"id\" holds '>', which separates a task from its input");
}

TEST(parsing, refuses_members_of_a_task_that_are_of_a_wrong_kind) {
    struct {
        char const* key;
        char const* wanted;
    } const cases[] = {
        {"id", "string"},
        {"plugin-id", "string"},
        {"name", "string"},
        {"configuration", "properties"},
        {"ext-meta", "properties"},
        {"published-outputs", "properties"},
        {"requirements", "constraint"},
        {"flags", "int"},
        {"input-connections", "list"},
        {"run-dependencies", "list"},
        {"kill-triggers", "list"},
    };
    for (auto const& each : cases) {
        std::string const message = refusal(with(make_task(encoder, "a"), each.key, flag(true)));
        EXPECT_THAT(message, testing::HasSubstr("workflow task"));
        EXPECT_THAT(message,
                    testing::EndsWith(": \"" + std::string(each.key) + "\" is of kind bool, not " + each.wanted));
    }
}

TEST(parsing, refuses_members_of_the_workflow_that_are_of_a_wrong_kind) {
    struct {
        char const* key;
        char const* wanted;
    } const cases[] = {
        {"name", "string"},
        {"tasks", "list"},
        {"workflow-meta", "properties"},
        {"capabilities", "properties"},
        {"configuration", "properties"},
        {"ext-meta", "properties"},
        {"requirements", "constraint"},
        {"type", "int"},
    };
    for (auto const& each : cases)
        EXPECT_EQ(refusal_of(each.key, flag(true)),
                  "workflow: \"" + std::string(each.key) + "\" is of kind bool, not " + each.wanted);
    EXPECT_EQ(refusal(flag(true)), "workflow: \"tasks[0]\" is of kind bool, not properties");
}

TEST(parsing, restores_wiring_whatever_the_order_of_the_tasks) {
    auto const builder = make_builder({with(with(with(make_task(upload, "b"), "input-connections",
                                                      list({source_entry(id(encoder, "a"), "dest-url", "source-url")})),
                                                 "run-dependencies", list({wait_entry({id(encoder, "a")})})),
                                            "kill-triggers", list({wait_entry({id(encoder, "a")})})),
                                       make_task(encoder, "a")});
    kxworkflow::task::node_list nodes;
    builder.get_task(id(encoder, "a"))->get_connected_out_nodes(nodes);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_THAT(nodes.front()->get_connection_ids(), ElementsAre(id(upload, "b") + ">source-url"));
}

TEST(parsing, refuses_wiring_that_names_no_task_of_the_workflow) {
    std::string const place = "workflow task '" + id(upload, "b") + "', ";
    std::string const fault = ": there is no task 'wtid:x#y'";
    EXPECT_EQ(refusal(with(make_task(upload, "b"), "input-connections",
                           list({source_entry("wtid:x#y", "dest-url", "source-url")}))),
              place + "input-connections[0]" + fault);
    for (std::string const key : {"run-dependencies", "kill-triggers"})
        EXPECT_EQ(refusal(with(make_task(upload, "b"), key.c_str(), list({wait_entry({}), wait_entry({"wtid:x#y"})}))),
                  place + key + "[1]" + fault);
}

TEST(parsing, refuses_wiring_that_names_the_task_itself) {
    std::string const self = id(upload, "b");
    EXPECT_EQ(refusal(with(make_task(upload, "b"), "input-connections",
                           list({source_entry(self, "dest-url", "source-url")}))),
              "workflow task '" + self + "', input-connections[0]: names the task itself");
    for (std::string const key : {"run-dependencies", "kill-triggers"})
        EXPECT_EQ(refusal(with(make_task(upload, "b"), key.c_str(), list({wait_entry({self})}))),
                  "workflow task '" + self + "', " + key + "[0]: names the task itself");
}

TEST(parsing, refuses_wiring_that_is_malformed) {
    std::string const place = "workflow task '" + id(upload, "b") + "', ";
    auto const refusal_in = [](char const* key, property_handle const& entry) {
        return refusal(with(make_task(upload, "b"), key, list({entry})));
    };
    EXPECT_EQ(refusal_in("input-connections", text("x")),
              place + "input-connections[0]: is of kind string, not properties");
    EXPECT_EQ(refusal_in("input-connections", tree({})), place + "input-connections[0]: \"from-wtid\" is missing");
    EXPECT_EQ(refusal_in("input-connections", tree({{"from-wtid", text("a")}, {"from-node", number(1)}})),
              place + "input-connections[0]: \"from-node\" is of kind int, not string");
    EXPECT_EQ(refusal_in("input-connections", tree({{"from-wtid", text("a")}, {"from-node", text("b")}})),
              place + "input-connections[0]: \"to-node\" is missing");
    EXPECT_EQ(refusal_in("run-dependencies", text("x")),
              place + "run-dependencies[0]: is of kind string, not properties");
    EXPECT_EQ(refusal_in("run-dependencies", tree({})), place + "run-dependencies[0]: \"tasks\" is missing");
    EXPECT_EQ(refusal_in("run-dependencies", tree({{"tasks", list({})}})),
              place + "run-dependencies[0]: \"status\" is missing");
    EXPECT_EQ(refusal_in("kill-triggers", tree({{"tasks", list({})}, {"status", text("succeeded")}})),
              place + "kill-triggers[0]: \"status\" is of kind string, not constraint");
    auto const bad_list = wait_entry({});
    bad_list->set_property("tasks", list({number(1)}));
    EXPECT_EQ(refusal_in("kill-triggers", bad_list), place + "kill-triggers[0]: \"tasks\" is of kind int, not string");
}

TEST(parsing, refuses_a_cycle_of_connections) {
    EXPECT_EQ(arg_message([] {
                  make_builder({with(make_task(upload, "a"), "input-connections",
                                     list({source_entry(id(upload, "b"), "dest-url", "source-url")})),
                                with(make_task(upload, "b"), "input-connections",
                                     list({source_entry(id(upload, "a"), "dest-url", "source-url")}))});
              }),
              "workflow task '" + id(upload, "b") +
                  "': its \"input-connections\" make it wait for itself, through others");
}

TEST(parsing, refuses_a_cycle_of_connections_and_dependencies) {
    EXPECT_EQ(
        arg_message([] {
            make_builder({with(make_task(upload, "a"), "input-connections",
                               list({source_entry(id(upload, "b"), "dest-url", "source-url")})),
                          with(make_task(upload, "b"), "run-dependencies", list({wait_entry({id(upload, "a")})}))});
        }),
        "workflow task '" + id(upload, "b") + "': its \"run-dependencies\" make it wait for itself, through others");
}

TEST(parsing, takes_drawn_connections_as_they_are) {
    // They are wishes: whether they can be fulfilled is found out when somebody tries.
    auto const connections = list({tree({{"from-wtid", text("wtid:no/such#a")}, {"to-wtid", text("b")}}), text("odd")});
    auto workflow = make_workflow({});
    workflow.set_property("workflow-meta", tree({{"connections", connections}}));
    auto const builder = make_builder_from(workflow);
    EXPECT_EQ(builder.get_workflow_meta_data()->get_property("connections"), connections);
    EXPECT_EQ(exported(builder), workflow);
}

} // namespace
