// Tasks that wait for each other in a circle, found in time linear in the size of the graph however deep it is.
#pragma once

#include <cstddef>
#include <vector>

namespace kxclientutil {

/// One task waits for another.
struct wait_edge {
    std::size_t from;
    std::size_t to;
};

/// A circle: the edge that closes it, and the nodes in the order in which they wait, beginning with the one that the
/// edge leads to and ending with the one that it leaves.
struct wait_cycle {
    std::size_t closing_edge;
    std::vector<std::size_t> nodes;
};

/// One circle for each set of nodes that wait for each other: a shortest one through the set's last edge. In the order of
/// these edges.
///
/// @param nodes  how many nodes there are; the edges name them by number, from 0
[[nodiscard]] std::vector<wait_cycle> find_cycles(std::size_t nodes, std::vector<wait_edge> const& edges);

} // namespace kxclientutil
