#include "validation/cycles.h"

#include <gmock/gmock.h>

namespace {

using kxclientutil::find_cycles;
using kxclientutil::wait_edge;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(cycles, are_not_found_where_there_are_none) {
    EXPECT_THAT(find_cycles(0, {}), IsEmpty());
    EXPECT_THAT(find_cycles(4, {{0, 1}, {0, 2}, {1, 3}, {2, 3}}), IsEmpty()) << "two ways to the same end";
    EXPECT_THAT(find_cycles(2, {{0, 1}, {0, 1}}), IsEmpty());
}

TEST(cycles, are_told_by_their_last_edge) {
    auto const found = find_cycles(4, {{3, 0}, {0, 1}, {1, 2}, {2, 0}, {0, 3}});
    ASSERT_THAT(found, SizeIs(1)) << "all of them wait for each other";
    EXPECT_EQ(found[0].closing_edge, 4U);
    EXPECT_THAT(found[0].nodes, ElementsAre(3U, 0U));
}

TEST(cycles, take_the_shortest_way) {
    auto const found = find_cycles(4, {{0, 1}, {1, 2}, {2, 3}, {1, 3}, {3, 0}});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].nodes, ElementsAre(0U, 1U, 3U));
}

TEST(cycles, are_found_each_in_the_order_of_their_edges) {
    auto const found = find_cycles(5, {{2, 3}, {0, 1}, {3, 2}, {1, 4}, {1, 0}});
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(found[0].closing_edge, 2U);
    EXPECT_EQ(found[1].closing_edge, 4U);
    EXPECT_THAT(found[1].nodes, ElementsAre(0U, 1U));
}

TEST(cycles, of_a_node_with_itself_are_cycles_too) {
    auto const found = find_cycles(1, {{0, 0}});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].nodes, ElementsAre(0U));
}

TEST(cycles, may_be_very_long) {
    constexpr std::size_t many = 50000;
    std::vector<wait_edge> edges;
    for (std::size_t i = 0; i < many; ++i)
        edges.push_back({i, (i + 1) % many});
    auto const found = find_cycles(many, edges);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].nodes, SizeIs(many));
    edges.pop_back();
    EXPECT_THAT(find_cycles(many, edges), IsEmpty());
}

} // namespace
