#include <kxclientutil/graph.h>

#include <algorithm>
#include <string_view>
#include <tuple>
#include <unordered_set>

namespace kxclientutil {

namespace {

/// An arrow by what it joins, for graphs whose tasks have other indexes.
using edge_key = std::tuple<std::string_view, std::string_view, e_graph_edge, std::string_view, std::string_view>;

edge_key key_of(workflow_graph const& graph, graph_edge const& edge);
edge_key plain_key_of(workflow_graph const& graph, graph_edge const& edge);

/// Who leads to whom, as one array: those that task i leads to are at first[i] to first[i + 1].
struct successors {
    explicit successors(workflow_graph const& graph);

    std::vector<std::size_t> first;
    std::vector<std::size_t> task;
};

} // namespace

void mark_added(workflow_graph& graph, workflow_graph const& before) {
    std::unordered_set<std::string_view> ids;
    for (graph_node const& node : before.nodes)
        if (!node.is_missing) ids.insert(node.id);
    std::vector<edge_key> keys;
    keys.reserve(before.edges.size());
    for (graph_edge const& edge : before.edges)
        keys.push_back(key_of(before, edge));
    std::ranges::sort(keys);

    for (graph_node& node : graph.nodes)
        node.is_added = !ids.contains(node.id);
    // Wiring that a drawn connection without ports asked for is nothing new.
    for (graph_edge& edge : graph.edges)
        edge.is_added = !std::ranges::binary_search(keys, key_of(graph, edge)) &&
                        !std::ranges::binary_search(keys, plain_key_of(graph, edge));
}

std::vector<std::size_t> find_way(workflow_graph const& graph, std::size_t from, std::size_t to) {
    if (from >= graph.nodes.size() || to >= graph.nodes.size()) return {};
    successors const next(graph);
    constexpr auto unseen = static_cast<std::size_t>(-1);
    std::vector<std::size_t> reached_from(graph.nodes.size(), unseen);
    std::vector<std::size_t> open = {from};
    reached_from[from] = from;
    for (std::size_t i = 0; i < open.size() && reached_from[to] == unseen; ++i) {
        for (std::size_t k = next.first[open[i]]; k < next.first[open[i] + 1]; ++k) {
            std::size_t const task = next.task[k];
            if (reached_from[task] != unseen) continue;
            reached_from[task] = open[i];
            open.push_back(task);
        }
    }
    if (reached_from[to] == unseen) return {};
    std::vector<std::size_t> way = {to};
    while (way.back() != from)
        way.push_back(reached_from[way.back()]);
    std::ranges::reverse(way);
    return way;
}

namespace {

edge_key key_of(workflow_graph const& graph, graph_edge const& edge) {
    return {graph.nodes[edge.from].id, graph.nodes[edge.to].id, edge.kind, edge.output, edge.input};
}

edge_key plain_key_of(workflow_graph const& graph, graph_edge const& edge) {
    return {graph.nodes[edge.from].id, graph.nodes[edge.to].id, e_graph_edge::order, {}, {}};
}

successors::successors(workflow_graph const& graph) : first(graph.nodes.size() + 1) {
    for (graph_edge const& edge : graph.edges)
        if (edge.kind != e_graph_edge::stop) ++first[edge.from + 1];
    for (std::size_t i = 1; i < first.size(); ++i)
        first[i] += first[i - 1];
    task.resize(first.back());
    std::vector<std::size_t> place(first.begin(), first.end() - 1);
    for (graph_edge const& edge : graph.edges)
        if (edge.kind != e_graph_edge::stop) task[place[edge.from]++] = edge.to;
}

} // namespace

} // namespace kxclientutil
