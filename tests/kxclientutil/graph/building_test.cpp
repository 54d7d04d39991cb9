#include "kxclientutil/graph/graph_fixture.h"

#include <kxcore/constraint_enum.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using kx_test::connection_of;
using kx_test::drawn_workflow;
using kx_test::e_graph_edge;
using kx_test::encoder_plid;
using kx_test::graph_node;
using kx_test::list;
using kx_test::mail_plid;
using kx_test::number;
using kx_test::properties;
using kx_test::property_handle;
using kx_test::short_forms;
using kx_test::task_of;
using kx_test::text;
using kx_test::texts;
using kx_test::tree;
using kx_test::upload_plid;
using kx_test::wtid;
using testing::ElementsAre;
using testing::IsEmpty;

std::string const encoder = wtid(encoder_plid, "e");
std::string const upload = wtid(upload_plid, "u");
std::string const mail = wtid(mail_plid, "m");

std::vector<property_handle> three_tasks() {
    return {task_of(encoder_plid, "e", tree({})), task_of(upload_plid, "u", tree({})),
            task_of(mail_plid, "m", tree({}))};
}

property_handle status_of(char const* statuses) {
    return kxbase::make_refcount<kxcore::property_constraint>(kxbase::make_refcount<kxcore::constraint_enum>(statuses));
}

class graph_building : public kx_test::graph_fixture {};

TEST_F(graph_building, takes_tasks_by_name_and_kind_and_every_sort_of_connection) {
    auto const graph =
        graph_of(*drawn_workflow(three_tasks(), {
                                                    connection_of(encoder, "dest-url", upload, "source-url"),
                                                    connection_of(encoder, "", upload, ""),
                                                    connection_of(encoder, "dest-url", upload, ""),
                                                    connection_of(upload, "", mail, "", "success"),
                                                    connection_of(upload, "", mail, "", "failure"),
                                                    connection_of(upload, "", mail, "", "whatever"),
                                                    connection_of(encoder, "a", mail, "b", "success"),
                                                }));
    EXPECT_EQ(graph.name, "News");
    ASSERT_EQ(graph.nodes.size(), 3U);
    EXPECT_EQ(graph.nodes[0], (graph_node{encoder, "e", "encoder", "", false, false}));
    EXPECT_EQ(graph.nodes[1].kind, "upload");
    EXPECT_THAT(short_forms(graph),
                ElementsAre("0 -> 1 value dest-url source-url", "0 -> 1 order", "0 -> 1 order dest-url",
                            "1 -> 2 success", "1 -> 2 failure", "1 -> 2 any", "0 -> 2 value a b"));
    EXPECT_THAT(graph.problems, IsEmpty());
}

TEST_F(graph_building, finds_the_workflow_of_a_submission) {
    properties const whole("workflow", drawn_workflow(three_tasks(), {}));
    EXPECT_EQ(graph_of(whole).nodes.size(), 3U);
    EXPECT_EQ(graph_of(whole).name, "News");
}

TEST_F(graph_building, shows_a_task_that_is_not_there_as_missing_once) {
    auto const graph = graph_of(*drawn_workflow(
        three_tasks(), {connection_of(encoder, "", "wtid:p#gone", ""), connection_of("wtid:p#gone", "", mail, "")}));
    ASSERT_EQ(graph.nodes.size(), 4U);
    EXPECT_EQ(graph.nodes[3], (graph_node{"wtid:p#gone", "", "", "no such task", true, false}));
    EXPECT_THAT(short_forms(graph), ElementsAre("0 -> 3 order", "3 -> 2 order"));
}

TEST_F(graph_building, tells_what_is_wrong_with_a_task) {
    auto const graph =
        graph_of(*drawn_workflow({task_of(encoder_plid, "e", tree({})), task_of(encoder_plid, "e", tree({})), text("x"),
                                  tree({{"id", text("wtid:task/regular/none/1.0#x")}}), tree({{"name", text("alone")}}),
                                  tree({{"id", number(7)}})},
                                 {connection_of(encoder, "", encoder, "")}));
    std::vector<std::string> problems;
    for (auto const& node : graph.nodes)
        problems.push_back(node.problem);
    EXPECT_THAT(problems,
                ElementsAre("", "same id as another task", "no task", "unknown plugin", "no plugin", "no plugin"));
    EXPECT_EQ(graph.nodes[3].kind, "task/regular/none/1.0");
    // Whoever names the id means the first that has it.
    EXPECT_THAT(short_forms(graph), ElementsAre("0 -> 0 order"));
}

TEST_F(graph_building, tells_what_cannot_be_drawn_with_its_path_and_draws_the_rest) {
    auto const broken = drawn_workflow(three_tasks(), {text("x"), tree({{"from-wtid", text(encoder)}}),
                                                       tree({{"to-wtid", text(encoder)}}),
                                                       tree({{"from-wtid", number(1)}, {"to-wtid", text(mail)}}),
                                                       connection_of(encoder, "", upload, "")});
    EXPECT_THAT(graph_of(*broken).problems,
                ElementsAre("workflow-meta{connections}[0]: no tree", "workflow-meta{connections}[1]: no \"to-wtid\"",
                            "workflow-meta{connections}[2]: no \"from-wtid\"",
                            "workflow-meta{connections}[3]: no \"from-wtid\""));
    EXPECT_THAT(short_forms(graph_of(*broken)), ElementsAre("0 -> 1 order"));

    EXPECT_THAT(graph_of(*tree({{"tasks", text("x")}, {"workflow-meta", text("x")}})).problems,
                ElementsAre("tasks: no list", "workflow-meta: no tree"));
    EXPECT_THAT(graph_of(*tree({{"workflow-meta", tree({{"connections", number(1)}})}})).problems,
                ElementsAre("workflow-meta{connections}: no list"));
    EXPECT_THAT(graph_of(*tree({})).problems, IsEmpty());
    EXPECT_THAT(graph_of(*tree({})).nodes, IsEmpty());
}

/// The three tasks as an exported workflow has them: wired.
std::vector<property_handle> wired_tasks() {
    auto const wired_upload = tree({{"id", text(upload)},
                                    {"plugin-id", text(upload_plid)},
                                    {"input-connections", list({tree({{"from-wtid", text(encoder)},
                                                                      {"from-node", text("dest-url")},
                                                                      {"to-node", text("source-url")}})})}});
    auto const wired_mail =
        tree({{"id", text(mail)},
              {"plugin-id", text(mail_plid)},
              {"run-dependencies",
               list({tree({{"tasks", texts({upload})}, {"status", status_of("succeeded")}}),
                     tree({{"tasks", texts({encoder})}, {"status", status_of("failed|cancelled")}}),
                     tree({{"tasks", texts({encoder, upload})}, {"status", status_of("succeeded|failed")}}),
                     tree({{"tasks", list({})}, {"status", status_of("succeeded")}})})},
              {"kill-triggers", list({tree({{"tasks", texts({encoder})}, {"status", status_of("failed")}})})}});
    return {task_of(encoder_plid, "e", tree({})), wired_upload, wired_mail};
}

TEST_F(graph_building, draws_the_wiring_of_a_job) {
    EXPECT_THAT(short_forms(graph_of(*drawn_workflow(wired_tasks(), {}))),
                ElementsAre("0 -> 1 value dest-url source-url", "1 -> 2 success", "0 -> 2 failure", "0 -> 2 any",
                            "1 -> 2 any", "2 -> 0 stop"));
}

TEST_F(graph_building, shows_what_is_drawn_and_wired_once) {
    auto const graph = graph_of(*drawn_workflow(
        wired_tasks(),
        {connection_of(encoder, "dest-url", upload, "source-url"), connection_of(encoder, "", upload, ""),
         connection_of(upload, "", mail, "", "success"), connection_of(upload, "", encoder, "")}));
    EXPECT_THAT(short_forms(graph), ElementsAre("0 -> 1 value dest-url source-url", "1 -> 2 success", "1 -> 0 order",
                                                "0 -> 2 failure", "0 -> 2 any", "1 -> 2 any", "2 -> 0 stop"));
}

TEST_F(graph_building, tells_broken_wiring_with_its_path) {
    auto const task = tree(
        {{"id", text(mail)},
         {"plugin-id", text(mail_plid)},
         {"input-connections", list({text("x"), tree({})})},
         {"run-dependencies", list({tree({{"tasks", text("x")}}), tree({{"tasks", list({number(1)})}}), text("x")})},
         {"kill-triggers", number(1)}});
    EXPECT_THAT(
        graph_of(*drawn_workflow({task}, {})).problems,
        ElementsAre("tasks[0]{input-connections}[0]: no tree", "tasks[0]{input-connections}[1]: no \"from-wtid\"",
                    "tasks[0]{run-dependencies}[0]{tasks}: no list", "tasks[0]{run-dependencies}[1]{tasks}[0]: no wtid",
                    "tasks[0]{run-dependencies}[2]: no tree", "tasks[0]{kill-triggers}: no list"));
}

TEST_F(graph_building, has_a_word_for_each_kind_of_arrow) {
    using kxclientutil::graph_edge_c_str;
    EXPECT_STREQ(graph_edge_c_str(e_graph_edge::value), "value");
    EXPECT_STREQ(graph_edge_c_str(e_graph_edge::order), "order");
    EXPECT_STREQ(graph_edge_c_str(e_graph_edge::success), "success");
    EXPECT_STREQ(graph_edge_c_str(e_graph_edge::failure), "failure");
    EXPECT_STREQ(graph_edge_c_str(e_graph_edge::any), "any");
    EXPECT_STREQ(graph_edge_c_str(e_graph_edge::stop), "stop");
}

} // namespace
