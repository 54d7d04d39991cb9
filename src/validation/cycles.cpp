#include "validation/cycles.h"

#include <algorithm>
#include <limits>

namespace kxclientutil {

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

/// The edges by the node that they leave.
struct graph {
    graph(std::size_t nodes, std::vector<wait_edge> const& edges);

    std::vector<std::vector<std::size_t>> next;
};

/// Numbers the sets of nodes that wait for each other: Tarjan's algorithm, with a stack of its own.
class component_finder {
public:
    explicit component_finder(graph const& of);

    std::vector<std::size_t> component;

private:
    void visit(std::size_t root);
    void enter(std::size_t node);
    void leave(std::size_t node);

    graph const& graph_;
    std::vector<std::size_t> number_;
    std::vector<std::size_t> lowest_;
    std::vector<std::size_t> next_edge_;
    std::vector<std::size_t> path_;
    std::vector<std::size_t> open_;
    std::size_t numbers_ = 0;
    std::size_t components_ = 0;
};

std::vector<std::size_t> shortest_way(graph const& in, std::vector<std::size_t> const& component, std::size_t from,
                                      std::size_t to);

} // namespace

std::vector<wait_cycle> find_cycles(std::size_t nodes, std::vector<wait_edge> const& edges) {
    graph const whole(nodes, edges);
    component_finder const found(whole);
    std::vector<std::size_t> last_edge(nodes, none);
    for (std::size_t i = 0; i < edges.size(); ++i)
        if (found.component[edges[i].from] == found.component[edges[i].to])
            last_edge[found.component[edges[i].from]] = i;

    std::vector<wait_cycle> cycles;
    for (std::size_t const edge : last_edge)
        if (edge != none)
            cycles.push_back({edge, shortest_way(whole, found.component, edges[edge].to, edges[edge].from)});
    std::ranges::sort(cycles, {}, &wait_cycle::closing_edge);
    return cycles;
}

namespace {

graph::graph(std::size_t nodes, std::vector<wait_edge> const& edges) : next(nodes) {
    for (wait_edge const& edge : edges)
        next[edge.from].push_back(edge.to);
}

component_finder::component_finder(graph const& of)
    : component(of.next.size(), none), graph_(of), number_(of.next.size(), none), lowest_(of.next.size()),
      next_edge_(of.next.size()) {
    for (std::size_t node = 0; node < of.next.size(); ++node)
        if (number_[node] == none) visit(node);
}

void component_finder::visit(std::size_t root) {
    enter(root);
    while (!path_.empty()) {
        std::size_t const node = path_.back();
        if (next_edge_[node] == graph_.next[node].size()) {
            leave(node);
            continue;
        }
        std::size_t const other = graph_.next[node][next_edge_[node]++];
        if (number_[other] == none)
            enter(other);
        else if (component[other] == none)
            lowest_[node] = std::min(lowest_[node], number_[other]);
    }
}

void component_finder::enter(std::size_t node) {
    number_[node] = lowest_[node] = numbers_++;
    path_.push_back(node);
    open_.push_back(node);
}

void component_finder::leave(std::size_t node) {
    path_.pop_back();
    if (!path_.empty()) lowest_[path_.back()] = std::min(lowest_[path_.back()], lowest_[node]);
    if (lowest_[node] != number_[node]) return;
    while (component[node] == none) {
        component[open_.back()] = components_;
        open_.pop_back();
    }
    ++components_;
}

/// The nodes from the one to the other, both included; there is a way within the component of both.
std::vector<std::size_t> shortest_way(graph const& in, std::vector<std::size_t> const& component, std::size_t from,
                                      std::size_t to) {
    std::vector<std::size_t> queue{from};
    std::vector<std::size_t> came_from(in.next.size(), none);
    came_from[from] = from;
    for (std::size_t i = 0; i < queue.size() && came_from[to] == none; ++i) {
        for (std::size_t const other : in.next[queue[i]]) {
            if (component[other] != component[from] || came_from[other] != none) continue;
            came_from[other] = queue[i];
            queue.push_back(other);
        }
    }
    std::vector<std::size_t> way{to};
    while (way.back() != from)
        way.push_back(came_from[way.back()]);
    std::ranges::reverse(way);
    return way;
}

} // namespace

} // namespace kxclientutil
