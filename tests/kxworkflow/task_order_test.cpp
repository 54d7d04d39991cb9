#include "task_order.h"

#include "support/chosen_seed.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using kxworkflow::task_order;
using vertex = task_order::vertex;

bool connect(task_order& order, vertex before, vertex after) {
    vertex const all[] = {before};
    return order.connect(all, after);
}

std::vector<vertex> add_many(task_order& order, std::size_t count) {
    std::vector<vertex> added;
    for (std::size_t i = 0; i < count; ++i)
        added.push_back(order.add());
    return added;
}

TEST(task_order, puts_a_new_vertex_last) {
    task_order order;
    auto const v = add_many(order, 3);
    EXPECT_TRUE(order.is_before(v[0], v[1]));
    EXPECT_TRUE(order.is_before(v[1], v[2]));
    EXPECT_FALSE(order.is_before(v[2], v[0]));
    EXPECT_FALSE(order.is_before(v[1], v[1]));
}

TEST(task_order, moves_what_an_edge_finds_in_the_wrong_order) {
    task_order order;
    auto const v = add_many(order, 4);
    EXPECT_TRUE(connect(order, v[3], v[0]));
    EXPECT_TRUE(order.is_before(v[3], v[0]));
    EXPECT_TRUE(connect(order, v[0], v[1]));
    EXPECT_TRUE(connect(order, v[2], v[3]));
    EXPECT_TRUE(order.is_before(v[2], v[3]));
    EXPECT_TRUE(order.is_before(v[3], v[0]));
    EXPECT_TRUE(order.is_before(v[0], v[1]));
}

TEST(task_order, refuses_an_edge_that_closes_a_cycle) {
    task_order order;
    auto const v = add_many(order, 4);
    EXPECT_FALSE(connect(order, v[0], v[0]));
    EXPECT_TRUE(connect(order, v[0], v[1]));
    EXPECT_FALSE(connect(order, v[1], v[0]));
    EXPECT_TRUE(connect(order, v[1], v[2]));
    EXPECT_TRUE(connect(order, v[2], v[3]));
    EXPECT_FALSE(connect(order, v[3], v[0]));
    EXPECT_TRUE(connect(order, v[0], v[3])) << "a shortcut is no cycle";
}

TEST(task_order, adds_all_edges_of_a_set_or_none) {
    task_order order;
    auto const v = add_many(order, 3);
    ASSERT_TRUE(connect(order, v[0], v[1]));
    vertex const both[] = {v[2], v[1]};
    EXPECT_FALSE(order.connect(both, v[0])) << "v1 -> v0 closes a cycle";
    EXPECT_TRUE(connect(order, v[0], v[2])) << "v2 -> v0 was not added";
    EXPECT_TRUE(order.connect({}, v[0]));
}

TEST(task_order, takes_an_edge_that_is_there_once_more) {
    task_order order;
    auto const v = add_many(order, 2);
    EXPECT_TRUE(connect(order, v[1], v[0]));
    EXPECT_TRUE(connect(order, v[1], v[0]));
    EXPECT_FALSE(connect(order, v[0], v[1]));
}

TEST(task_order, forgets_the_edges_of_a_removed_vertex) {
    task_order order;
    auto const v = add_many(order, 3);
    ASSERT_TRUE(connect(order, v[0], v[1]));
    ASSERT_TRUE(connect(order, v[1], v[2]));
    ASSERT_FALSE(connect(order, v[2], v[0]));
    order.remove(v[1]);
    EXPECT_TRUE(connect(order, v[2], v[0]));
    EXPECT_TRUE(order.is_before(v[2], v[0]));
}

/// A graph kept as a plain set of edges, where a path is looked for the long way.
class plain_graph {
public:
    [[nodiscard]] bool leads(vertex from, vertex to) const {
        std::set<vertex> seen{from};
        std::vector<vertex> open{from};
        while (!open.empty()) {
            vertex const here = open.back();
            open.pop_back();
            if (here == to) return true;
            for (auto edge = edges.lower_bound({here, 0}); edge != edges.end() && edge->first == here; ++edge)
                if (seen.insert(edge->second).second) open.push_back(edge->second);
        }
        return false;
    }

    std::set<std::pair<vertex, vertex>> edges;
};

TEST(task_order, agrees_with_a_plain_search_on_random_graphs) {
    auto const seed = static_cast<unsigned int>(kx_test::chosen_seed());
    SCOPED_TRACE("KX_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 60; ++round) {
        task_order order;
        plain_graph graph;
        std::vector<vertex> alive = add_many(order, 2 + random() % 25);
        for (int action = 0; action < 120; ++action) {
            vertex const to = alive[random() % alive.size()];
            if (random() % 20 == 0) {
                alive.push_back(order.add());
            } else if (random() % 20 == 0 && alive.size() > 2) {
                order.remove(to);
                std::erase(alive, to);
                std::erase_if(graph.edges, [to](auto const& edge) { return edge.first == to || edge.second == to; });
            } else {
                std::vector<vertex> from(1 + random() % 3);
                bool possible = true;
                for (vertex& each : from) {
                    each = alive[random() % alive.size()];
                    possible = possible && !graph.leads(to, each);
                }
                ASSERT_EQ(order.connect(from, to), possible) << "round " << round << ", action " << action;
                if (possible)
                    for (vertex const each : from)
                        graph.edges.emplace(each, to);
            }
            for (auto const& [before, after] : graph.edges)
                ASSERT_TRUE(order.is_before(before, after)) << "round " << round << ", action " << action;
        }
    }
}

TEST(task_order, survives_ever_more_insertions_at_one_place) {
    // Each new vertex goes just before the same one, which has to stay where it is since others come after it: the labels
    // in between run out again and again, and their neighbours' have to make room.
    task_order order;
    auto const ends = add_many(order, 3);
    ASSERT_TRUE(connect(order, ends[1], ends[2]));
    std::vector<vertex> chain{ends[0]};
    for (int i = 0; i < 5000; ++i) {
        vertex const added = order.add();
        ASSERT_TRUE(connect(order, added, ends[1]));
        ASSERT_TRUE(connect(order, chain.back(), added));
        chain.push_back(added);
    }
    chain.push_back(ends[1]);
    chain.push_back(ends[2]);
    for (std::size_t i = 1; i < chain.size(); ++i)
        ASSERT_TRUE(order.is_before(chain[i - 1], chain[i])) << i;
    EXPECT_FALSE(connect(order, ends[1], ends[0]));
    EXPECT_LT(order.get_steps(), 100 * chain.size());
}

TEST(task_order, survives_ever_more_insertions_behind_one_vertex) {
    // The same from the other side: what leads to the first keeps it in place, and each new vertex goes just behind it.
    task_order order;
    auto const fixed = add_many(order, 2);
    ASSERT_TRUE(connect(order, fixed[0], fixed[1]));
    vertex const last = order.add();
    std::vector<vertex> found{last};
    for (int i = 0; i < 2000; ++i) {
        vertex const added = order.add();
        ASSERT_TRUE(connect(order, fixed[1], added));
        ASSERT_TRUE(connect(order, added, found.back()));
        found.push_back(added);
    }
    for (std::size_t i = 1; i < found.size(); ++i) {
        ASSERT_TRUE(order.is_before(found[i], found[i - 1])) << i;
        ASSERT_TRUE(order.is_before(fixed[1], found[i])) << i;
    }
}

TEST(task_order, survives_ever_more_insertions_at_the_front) {
    task_order order;
    vertex first = order.add();
    for (int i = 0; i < 5000; ++i) {
        vertex const added = order.add();
        ASSERT_TRUE(connect(order, added, first));
        ASSERT_TRUE(order.is_before(added, first));
        first = added;
    }
}

// What the order costs for the graphs that finalization makes, as steps for each edge.

TEST(task_order, costs_little_for_new_vertices_that_nothing_leads_to) {
    task_order order;
    auto const encoders = add_many(order, 2000);
    vertex const packager = order.add();
    for (vertex const each : encoders)
        ASSERT_TRUE(connect(order, each, packager));
    vertex const main = order.add();
    for (vertex const each : encoders)
        ASSERT_TRUE(connect(order, main, each));
    for (vertex const each : encoders)
        ASSERT_TRUE(connect(order, order.add(), each));
    EXPECT_LT(order.get_steps(), 20 * 6000u);
}

TEST(task_order, costs_little_for_chains_drawn_in_any_direction) {
    for (bool const backward : {false, true}) {
        task_order order;
        auto const v = add_many(order, 4000);
        for (std::size_t i = 1; i < v.size(); ++i) {
            std::size_t const at = backward ? v.size() - i : i;
            ASSERT_TRUE(connect(order, v[at], v[at - 1]));
        }
        EXPECT_LT(order.get_steps(), 20 * v.size()) << backward;
    }
}

TEST(task_order, costs_little_for_pairs_that_are_joined_to_a_chain) {
    task_order order;
    auto const v = add_many(order, 4000);
    for (std::size_t i = 1; i < v.size(); i += 2)
        ASSERT_TRUE(connect(order, v[i], v[i - 1]));
    for (std::size_t i = 2; i < v.size(); i += 2)
        ASSERT_TRUE(connect(order, v[i], v[i - 1]));
    EXPECT_LT(order.get_steps(), 40 * v.size());
}

} // namespace
