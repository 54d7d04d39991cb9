#include "graph/look.h"

#include <kxclientutil/graph.h>

#include <kxcore/constraint.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/identifiers.h>

#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::property_cast;
using kxcore::property_list;

/// The string under a key, valid as long as the tree; empty when there is none.
std::string_view text_in(properties const& tree, std::string_view key) {
    auto const* const found = property_cast<kxcore::property_string>(tree.find(key));
    return found == nullptr ? std::string_view() : found->value();
}

/// Puts a graph together. The texts that it finds tasks by lie in the document.
class graph_builder {
public:
    graph_builder(properties const& workflow, kxcore::plugin_db const& plugins)
        : workflow_(workflow), plugins_(plugins) {}

    workflow_graph build();

private:
    /// A list in a task, null when it has none, and its path.
    struct wiring {
        property_list const* list = nullptr;
        std::string path;
    };

    void add_tasks();
    void add_task(properties const& task);
    void name_kind(properties const& task, graph_node& node) const;
    void add_drawn_connections();
    void add_drawn_connection(properties const& connection, std::string const& path);
    void add_wiring(properties const& task, std::size_t index);
    wiring wiring_of(properties const& task, std::string_view key, std::size_t index);
    void add_input_connections(property_list const& connections, std::size_t to, std::string const& path);
    void add_run_dependencies(property_list const& dependencies, std::size_t to, std::string const& path);
    void add_kill_triggers(property_list const& triggers, std::size_t from, std::string const& path);
    void leave_out_what_is_wired();
    std::size_t node_of(std::string_view wtid);
    property_list const* list_at(properties const& tree, std::string_view key, std::string const& path);
    properties const* tree_at(property_list const& list, std::size_t index, std::string const& path);
    std::string_view task_named(property_list const& list, std::size_t index, std::string const& path);
    void add_problem(std::string const& path, std::string_view what) {
        graph_.problems.push_back(path + ": " + std::string(what));
    }

    properties const& workflow_;
    kxcore::plugin_db const& plugins_;
    workflow_graph graph_;
    std::unordered_map<std::string_view, std::size_t> by_id_;
    std::size_t drawn_ = 0; ///< how many of the edges were drawn, not wired
};

std::string task_path(std::size_t index);
std::string element_path(std::string const& list, std::size_t index);
e_graph_edge kind_of_result(std::string_view result);
e_graph_edge kind_of_status(properties const& dependency);

} // namespace

workflow_graph create_workflow_graph(properties const& workflow, kxcore::plugin_db const& plugins) {
    auto const* const inner = property_cast<properties>(workflow.find("workflow"));
    bool const is_submission = inner != nullptr && workflow.find("tasks") == nullptr;
    return graph_builder(is_submission ? *inner : workflow, plugins).build();
}

char const* graph_edge_c_str(e_graph_edge kind) {
    return look::of(kind).word;
}

namespace {

workflow_graph graph_builder::build() {
    graph_.name = text_in(workflow_, "name");
    add_tasks();
    add_drawn_connections();
    drawn_ = graph_.edges.size();
    auto const* const tasks = property_cast<property_list>(workflow_.find("tasks"));
    for (std::size_t index = 0; tasks != nullptr && index < tasks->size(); ++index)
        if (auto const* task = property_cast<properties>((*tasks)[index].get())) add_wiring(*task, index);
    leave_out_what_is_wired();
    return std::move(graph_);
}

/// Also what is no task becomes a box, so that the boxes of tasks have the tasks' indexes.
void graph_builder::add_tasks() {
    property_list const* const tasks = list_at(workflow_, "tasks", "tasks");
    if (tasks == nullptr) return;
    graph_.nodes.reserve(tasks->size());
    by_id_.reserve(tasks->size());
    for (auto const& element : *tasks) {
        if (auto const* const task = property_cast<properties>(element.get())) {
            add_task(*task);
        } else {
            graph_.nodes.push_back({"", "", "", "no task", false, false});
        }
    }
}

void graph_builder::add_task(properties const& task) {
    std::string_view const id = text_in(task, "id");
    graph_node node;
    node.id = id;
    node.name = text_in(task, "name");
    name_kind(task, node);
    if (!id.empty() && !by_id_.emplace(id, graph_.nodes.size()).second) node.problem = "same id as another task";
    graph_.nodes.push_back(std::move(node));
}

void graph_builder::name_kind(properties const& task, graph_node& node) const {
    std::string_view const stated = text_in(task, "plugin-id");
    std::string plugin_id = stated.empty() ? kxworkflow::wtid_plid(node.id) : std::string(stated);
    if (plugin_id.empty()) {
        node.problem = "no plugin";
    } else if (auto const plugin = plugins_.describe_plugin(plugin_id)) {
        node.kind = plugin->get_name();
    } else {
        node.problem = "unknown plugin";
    }
    if (node.kind.empty()) node.kind = std::move(plugin_id);
}

void graph_builder::add_drawn_connections() {
    auto const* const meta = workflow_.find("workflow-meta");
    if (meta == nullptr) return;
    auto const* const meta_tree = property_cast<properties>(meta);
    if (meta_tree == nullptr) return add_problem("workflow-meta", "no tree");
    std::string const path = "workflow-meta{connections}";
    property_list const* const connections = list_at(*meta_tree, "connections", path);
    if (connections == nullptr) return;
    graph_.edges.reserve(connections->size());
    for (std::size_t index = 0; index < connections->size(); ++index)
        if (auto const* connection = tree_at(*connections, index, path))
            add_drawn_connection(*connection, element_path(path, index));
}

/// One that names both an output and an input is that, whatever result it names as well.
void graph_builder::add_drawn_connection(properties const& connection, std::string const& path) {
    std::string_view const from = text_in(connection, "from-wtid");
    std::string_view const to = text_in(connection, "to-wtid");
    if (from.empty() || to.empty()) {
        return add_problem(path, from.empty() ? "no \"from-wtid\"" : "no \"to-wtid\"");
    }
    std::string_view const output = text_in(connection, "from-node");
    std::string_view const input = text_in(connection, "to-node");
    std::string_view const result = text_in(connection, "result");
    bool const is_exact = !output.empty() && !input.empty();
    graph_edge edge;
    edge.from = node_of(from);
    edge.to = node_of(to);
    edge.kind = is_exact ? e_graph_edge::value : kind_of_result(result);
    edge.output = output;
    edge.input = input;
    graph_.edges.push_back(std::move(edge));
}

void graph_builder::add_wiring(properties const& task, std::size_t index) {
    if (auto const [list, path] = wiring_of(task, "input-connections", index); list != nullptr)
        add_input_connections(*list, index, path);
    if (auto const [list, path] = wiring_of(task, "run-dependencies", index); list != nullptr)
        add_run_dependencies(*list, index, path);
    if (auto const [list, path] = wiring_of(task, "kill-triggers", index); list != nullptr)
        add_kill_triggers(*list, index, path);
}

graph_builder::wiring graph_builder::wiring_of(properties const& task, std::string_view key, std::size_t index) {
    if (task.find(key) == nullptr) return {};
    std::string path = task_path(index) + '{' + std::string(key) + '}';
    property_list const* const list = list_at(task, key, path);
    return {list, std::move(path)};
}

void graph_builder::add_input_connections(property_list const& connections, std::size_t to, std::string const& path) {
    for (std::size_t i = 0; i < connections.size(); ++i) {
        auto const* const connection = tree_at(connections, i, path);
        if (connection == nullptr) continue;
        std::string_view const from = text_in(*connection, "from-wtid");
        if (from.empty()) {
            add_problem(element_path(path, i), "no \"from-wtid\"");
            continue;
        }
        graph_edge edge;
        edge.from = node_of(from);
        edge.to = to;
        edge.kind = e_graph_edge::value;
        edge.output = text_in(*connection, "from-node");
        edge.input = text_in(*connection, "to-node");
        graph_.edges.push_back(std::move(edge));
    }
}

void graph_builder::add_run_dependencies(property_list const& dependencies, std::size_t to, std::string const& path) {
    for (std::size_t i = 0; i < dependencies.size(); ++i) {
        auto const* const dependency = tree_at(dependencies, i, path);
        if (dependency == nullptr) continue;
        std::string const tasks_path = element_path(path, i) + "{tasks}";
        property_list const* const tasks = list_at(*dependency, "tasks", tasks_path);
        e_graph_edge const kind = kind_of_status(*dependency);
        for (std::size_t k = 0; tasks != nullptr && k < tasks->size(); ++k) {
            std::string_view const from = task_named(*tasks, k, tasks_path);
            if (!from.empty()) graph_.edges.push_back({node_of(from), to, kind, "", "", false});
        }
    }
}

void graph_builder::add_kill_triggers(property_list const& triggers, std::size_t from, std::string const& path) {
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        auto const* const trigger = tree_at(triggers, i, path);
        if (trigger == nullptr) continue;
        std::string const tasks_path = element_path(path, i) + "{tasks}";
        property_list const* const tasks = list_at(*trigger, "tasks", tasks_path);
        for (std::size_t k = 0; tasks != nullptr && k < tasks->size(); ++k) {
            std::string_view const to = task_named(*tasks, k, tasks_path);
            if (!to.empty()) graph_.edges.push_back({from, node_of(to), e_graph_edge::stop, "", "", false});
        }
    }
}

/// A drawn connection between two tasks that are wired to each other has done its work: the wiring shows it. Where two
/// wires are the same, one is shown.
void graph_builder::leave_out_what_is_wired() {
    if (drawn_ == graph_.edges.size()) return;
    auto& edges = graph_.edges;
    auto const pair_of = [&](graph_edge const& edge) { return edge.from * graph_.nodes.size() + edge.to; };
    auto const hash = [&](graph_edge const* edge) {
        return std::hash<std::string_view>()(edge->input) * 31 + std::hash<std::size_t>()(pair_of(*edge));
    };
    auto const equal = [](graph_edge const* a, graph_edge const* b) { return *a == *b; };
    std::unordered_set<graph_edge const*, decltype(hash), decltype(equal)> shown(edges.size(), hash, equal);
    std::unordered_set<std::size_t> wired;
    for (std::size_t i = drawn_; i < edges.size(); ++i)
        wired.insert(pair_of(edges[i]));
    std::vector<graph_edge> kept;
    kept.reserve(edges.size());
    for (std::size_t i = 0; i < edges.size(); ++i) {
        bool const is_done = i < drawn_ && edges[i].kind == e_graph_edge::order && wired.contains(pair_of(edges[i]));
        if (!is_done && (i < drawn_ || shown.find(&edges[i]) == shown.end())) {
            kept.push_back(edges[i]);
        }
        shown.insert(&edges[i]);
    }
    edges = std::move(kept);
}

std::size_t graph_builder::node_of(std::string_view wtid) {
    auto const [found, is_new] = by_id_.emplace(wtid, graph_.nodes.size());
    if (is_new) graph_.nodes.push_back({std::string(wtid), "", "", "no such task", true, false});
    return found->second;
}

property_list const* graph_builder::list_at(properties const& tree, std::string_view key, std::string const& path) {
    auto const* const value = tree.find(key);
    auto const* const list = property_cast<property_list>(value);
    if (value != nullptr && list == nullptr) add_problem(path, "no list");
    return list;
}

properties const* graph_builder::tree_at(property_list const& list, std::size_t index, std::string const& path) {
    auto const* const tree = property_cast<properties>(list[index].get());
    if (tree == nullptr) add_problem(element_path(path, index), "no tree");
    return tree;
}

std::string_view graph_builder::task_named(property_list const& list, std::size_t index, std::string const& path) {
    auto const* const wtid = property_cast<kxcore::property_string>(list[index].get());
    if (wtid == nullptr || wtid->value().empty()) {
        add_problem(element_path(path, index), "no wtid");
        return {};
    }
    return wtid->value();
}

std::string task_path(std::size_t index) {
    return "tasks[" + std::to_string(index) + ']';
}

std::string element_path(std::string const& list, std::size_t index) {
    return list + '[' + std::to_string(index) + ']';
}

e_graph_edge kind_of_result(std::string_view result) {
    if (result.empty()) return e_graph_edge::order;
    if (result == "success") return e_graph_edge::success;
    return result == "failure" ? e_graph_edge::failure : e_graph_edge::any;
}

/// Judged by what the statuses that count are, not by their object: a stored one is as good.
e_graph_edge kind_of_status(properties const& dependency) {
    auto const* const status = property_cast<kxcore::property_constraint>(dependency.find("status"));
    if (status == nullptr) return e_graph_edge::any;
    static auto const succeeded = kxbase::make_refcount<kxcore::property_string>("succeeded");
    static auto const failed = kxbase::make_refcount<kxcore::property_string>("failed");
    bool const on_success = status->value()->is_valid(succeeded.get(), 0);
    bool const on_failure = status->value()->is_valid(failed.get(), 0);
    if (on_success == on_failure) return e_graph_edge::any;
    return on_success ? e_graph_edge::success : e_graph_edge::failure;
}

} // namespace

} // namespace kxclientutil
