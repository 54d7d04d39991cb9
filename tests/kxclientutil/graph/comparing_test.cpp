#include "kxclientutil/graph/graph_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using kx_test::e_graph_edge;
using kx_test::short_forms;
using kx_test::workflow_graph;
using kxclientutil::find_way;
using kxclientutil::mark_added;
using testing::ElementsAre;
using testing::IsEmpty;

workflow_graph graph_of_tasks(std::vector<std::string> const& ids) {
    workflow_graph graph;
    for (auto const& id : ids)
        graph.nodes.push_back({id, "", "", "", false, false});
    return graph;
}

TEST(graph_comparing, marks_tasks_and_arrows_that_were_not_there) {
    auto before = graph_of_tasks({"b", "a"});
    before.edges.push_back({1, 0, e_graph_edge::value, "out", "in", false});
    auto graph = graph_of_tasks({"a", "b", "new"});
    graph.edges = {{0, 1, e_graph_edge::value, "out", "in", false},
                   {0, 1, e_graph_edge::success, "", "", false},
                   {2, 0, e_graph_edge::value, "out", "in", false},
                   {0, 1, e_graph_edge::value, "out", "other", false}};
    mark_added(graph, before);
    EXPECT_FALSE(graph.nodes[0].is_added);
    EXPECT_FALSE(graph.nodes[1].is_added);
    EXPECT_TRUE(graph.nodes[2].is_added);
    EXPECT_THAT(short_forms(graph), ElementsAre("0 -> 1 value out in", "0 -> 1 success (added)",
                                                "2 -> 0 value out in (added)", "0 -> 1 value out other (added)"));
}

TEST(graph_comparing, takes_wiring_for_what_a_connection_without_ports_asked_for) {
    auto before = graph_of_tasks({"a", "b"});
    before.edges.push_back({0, 1, e_graph_edge::order, "", "", false});
    auto graph = graph_of_tasks({"a", "b"});
    graph.edges = {{0, 1, e_graph_edge::value, "out", "in", false}, {1, 0, e_graph_edge::value, "out", "in", false}};
    mark_added(graph, before);
    EXPECT_THAT(short_forms(graph), ElementsAre("0 -> 1 value out in", "1 -> 0 value out in (added)"));
}

TEST(graph_comparing, takes_a_task_that_was_missing_for_an_added_one) {
    auto before = graph_of_tasks({"a"});
    before.nodes[0].is_missing = true;
    auto graph = graph_of_tasks({"a"});
    mark_added(graph, before);
    EXPECT_TRUE(graph.nodes[0].is_added);
}

TEST(graph_comparing, finds_the_shortest_way_along_the_arrows) {
    auto graph = graph_of_tasks({"a", "b", "c", "d", "e"});
    graph.edges = {{0, 1, e_graph_edge::value, "", "", false},   {1, 2, e_graph_edge::order, "", "", false},
                   {2, 3, e_graph_edge::success, "", "", false}, {0, 2, e_graph_edge::failure, "", "", false},
                   {3, 4, e_graph_edge::stop, "", "", false},    {3, 0, e_graph_edge::any, "", "", false}};
    EXPECT_THAT(find_way(graph, 0, 3), ElementsAre(0, 2, 3));
    EXPECT_THAT(find_way(graph, 2, 1), ElementsAre(2, 3, 0, 1));
    EXPECT_THAT(find_way(graph, 1, 1), ElementsAre(1));
    EXPECT_THAT(find_way(graph, 0, 4), IsEmpty()); // what stops a task does not come before it
    EXPECT_THAT(find_way(graph, 4, 0), IsEmpty());
    EXPECT_THAT(find_way(graph, 0, 5), IsEmpty());
    EXPECT_THAT(find_way(graph, 5, 0), IsEmpty());
}

TEST(graph_comparing, finds_the_way_through_a_long_chain) {
    std::vector<std::string> ids(100'000);
    for (std::size_t i = 0; i < ids.size(); ++i)
        ids[i] = std::to_string(i);
    auto graph = graph_of_tasks(ids);
    for (std::size_t i = 1; i < ids.size(); ++i)
        graph.edges.push_back({i - 1, i, e_graph_edge::order, "", "", false});
    EXPECT_EQ(find_way(graph, 0, ids.size() - 1).size(), ids.size());
    EXPECT_THAT(find_way(graph, ids.size() - 1, 0), IsEmpty());
}

} // namespace
