#include "validation/connections.h"

#include "validation/cycles.h"

#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxcore/shown_value.h>
#include <kxworkflow/ports.h>

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <tuple>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::property_string;

/// A connection as it is stored, with what of it exists.
struct judged_connection {
    std::string path;
    properties const& tree;
    judged_task const* from; ///< null when there is no such task
    judged_task const* to;
    std::string from_node; ///< empty when it names none
    std::string to_node;
    std::string result;

    [[nodiscard]] bool is_exact() const { return !from_node.empty() && !to_node.empty(); }
    [[nodiscard]] bool is_plain() const { return !is_exact() && result.empty(); }
};

/// Who waits for whom, with the path of what says so.
struct waits {
    std::vector<wait_edge> edges;
    std::vector<std::string> paths;

    void add(judged_document const& document, judged_task const* from, judged_task const* to, std::string const& path);
};

class connection_judge {
public:
    connection_judge(judged_document const& document, document_problems& out) : document_(document), out_(out) {}

    void judge();

private:
    void judge_declared();
    void judge_recorded(judged_task const& task);
    void judge_waits(judged_task const& task, std::string_view key, bool is_waited_for);
    void judge_ends(judged_connection const& connection);
    void judge_effect(judged_connection const& connection);
    void judge_result(judged_connection const& connection);
    void judge_repetitions();
    void judge_references();
    void judge_reference(judged_task const& task, std::string_view leaf, std::string_view output);
    void judge_cycles();

    [[nodiscard]] judged_connection read(std::string path, properties const& tree) const;
    void judge_task_name(std::string path, properties const& tree, std::string_view key);
    void judge_output(judged_connection const& connection);
    void judge_input(judged_connection const& connection);
    [[nodiscard]] std::string cycle_text(wait_cycle const& cycle) const;

    [[nodiscard]] std::vector<std::string> const& known_tasks();
    [[nodiscard]] std::string nearest_task(std::string_view wtid);

    judged_document const& document_;
    document_problems& out_;
    std::vector<judged_connection> declared_;
    std::map<judged_task const*, std::vector<std::size_t>> declared_to_;
    std::vector<std::string> known_tasks_;
    waits waits_;
};

/// A word that is none of the two results, but says the same as one.
struct result_word {
    std::string_view written;
    std::string_view meant;
};

constexpr std::array<result_word, 5> other_words{{
    {"error", "failure"},
    {"failed", "failure"},
    {"ok", "success"},
    {"succeeded", "success"},
    {"successful", "success"},
}};

std::vector<std::string> outputs_of(judged_task const& task);
std::vector<std::string> inputs_of(judged_task const& task);
std::string as_found(properties const& tree, std::string_view key);

} // namespace

void judge_connections(judged_document const& document, document_problems& out) {
    if (document.workflow != nullptr) connection_judge(document, out).judge();
}

namespace {

void connection_judge::judge() {
    judge_declared();
    for (judged_task const& task : document_.tasks)
        judge_recorded(task);
    judge_repetitions();
    judge_references();
    judge_cycles();
}

void connection_judge::judge_declared() {
    auto const* const list = member_list(member_tree(document_.workflow, "workflow-meta"), "connections");
    if (list == nullptr) return;
    std::string const path = below(below(document_.workflow_path, "workflow-meta"), "connections");
    for (std::size_t index = 0; index < list->size(); ++index) {
        auto const* const tree = kxcore::property_cast<properties>((*list)[index].get());
        if (tree == nullptr) continue;
        declared_.push_back(read(element(path, index), *tree));
        judge_task_name(declared_.back().path, *tree, "from-wtid");
        judge_task_name(declared_.back().path, *tree, "to-wtid");
        judge_ends(declared_.back());
        judge_effect(declared_.back());
        judge_result(declared_.back());
        waits_.add(document_, declared_.back().from, declared_.back().to, declared_.back().path);
        if (declared_.back().to != nullptr) declared_to_[declared_.back().to].push_back(declared_.size() - 1);
    }
}

/// The wiring of a workflow that was finalized, or exported by who builds workflows.
void connection_judge::judge_recorded(judged_task const& task) {
    if (auto const* const list = member_list(&task.tree, "input-connections")) {
        for (std::size_t index = 0; index < list->size(); ++index) {
            auto const* const tree = kxcore::property_cast<properties>((*list)[index].get());
            if (tree == nullptr) continue;
            judged_connection connection = read(element(below(task.path, "input-connections"), index), *tree);
            connection.to = &task;
            judge_task_name(connection.path, *tree, "from-wtid");
            judge_ends(connection);
            waits_.add(document_, connection.from, connection.to, connection.path);
        }
    }
    judge_waits(task, "run-dependencies", true);
    judge_waits(task, "kill-triggers", false);
}

void connection_judge::judge_waits(judged_task const& task, std::string_view key, bool is_waited_for) {
    auto const* const list = member_list(&task.tree, key);
    if (list == nullptr) return;
    for (std::size_t index = 0; index < list->size(); ++index) {
        auto const* const names = member_list(kxcore::property_cast<properties>((*list)[index].get()), "tasks");
        if (names == nullptr) continue;
        std::string const path = below(element(below(task.path, key), index), "tasks");
        for (std::size_t at = 0; at < names->size(); ++at) {
            auto const* const wtid = kxcore::property_cast<property_string>((*names)[at].get());
            if (wtid == nullptr) continue;
            judged_task const* const other = document_.find_task(wtid->value());
            if (other == nullptr || other == &task) {
                out_.push_back({.path = element(path, at),
                                .found = kxcore::found_text(*wtid, false),
                                .allowed = "the id of another task of the workflow",
                                .suggestion = other == &task ? std::string() : nearest_task(wtid->value())});
            } else if (is_waited_for) {
                waits_.add(document_, other, &task, element(path, at));
            }
        }
    }
}

judged_connection connection_judge::read(std::string path, properties const& tree) const {
    return {std::move(path),
            tree,
            document_.find_task(tree.get_string_value("from-wtid", "")),
            document_.find_task(tree.get_string_value("to-wtid", "")),
            tree.get_string_value("from-node", ""),
            tree.get_string_value("to-node", ""),
            tree.get_string_value("result", "")};
}

/// A name that is missing or no text is the business of the document's constraint.
void connection_judge::judge_task_name(std::string path, properties const& tree, std::string_view key) {
    auto const* const wtid = kxcore::property_cast<property_string>(tree.find(key));
    if (wtid == nullptr || document_.find_task(wtid->value()) != nullptr) return;
    std::vector<std::string> const& known = known_tasks();
    constexpr std::size_t most = 5;
    out_.push_back({.path = below(std::move(path), key),
                    .found = kxcore::found_text(*wtid, false),
                    .allowed = known.empty() ? "the id of a task, but the workflow has none"
                                             : "the id of a task of the workflow, " + one_of(known, most),
                    .suggestion = nearest_task(wtid->value())});
}

std::vector<std::string> const& connection_judge::known_tasks() {
    if (known_tasks_.empty())
        for (judged_task const& each : document_.tasks)
            if (!each.wtid.empty()) known_tasks_.push_back(each.wtid);
    return known_tasks_;
}

/// Ids of two plugins look alike, since most of each is the same in all. What differs in its plugin and in its name is
/// another task, though, and no slip.
std::string connection_judge::nearest_task(std::string_view wtid) {
    // Of very many tasks only the first, for every wrong connection looks through them.
    constexpr std::size_t most = 500;
    auto const separator = std::min(wtid.find('#'), wtid.size());
    std::vector<std::string> similar;
    std::span<std::string const> const known = known_tasks();
    for (std::string_view const each : known.first(std::min(known.size(), most))) {
        auto const end = std::min(each.find('#'), each.size());
        if (each.substr(0, end) == wtid.substr(0, separator) || each.substr(end) == wtid.substr(separator))
            similar.emplace_back(each);
    }
    return nearest_of(wtid, similar);
}

void connection_judge::judge_ends(judged_connection const& connection) {
    if (connection.from != nullptr && connection.from == connection.to) {
        out_.push_back({.path = connection.path,
                        .found = "a connection of the task " + connection.from->shown_name() + " with itself",
                        .allowed = "one between two tasks"});
        return;
    }
    judge_output(connection);
    judge_input(connection);
}

void connection_judge::judge_output(judged_connection const& connection) {
    if (connection.from == nullptr || !connection.from->info || connection.from_node.empty()) return;
    if (kxworkflow::is_output(*connection.from->info, connection.from->tree, connection.from_node)) return;
    std::vector<std::string> const outputs = outputs_of(*connection.from);
    std::string const of = " of the task " + connection.from->shown_name();
    out_.push_back(
        {.path = below(connection.path, "from-node"),
         .found = as_found(connection.tree, "from-node"),
         .allowed = outputs.empty() ? "left out: there are no outputs" + of : "an output" + of + ", " + one_of(outputs),
         .suggestion = nearest_of(connection.from_node, outputs)});
}

void connection_judge::judge_input(judged_connection const& connection) {
    if (connection.to == nullptr || !connection.to->info || connection.to_node.empty()) return;
    properties const none(false);
    properties const& configuration = connection.to->configuration == nullptr ? none : *connection.to->configuration;
    if (kxworkflow::is_possible_input(*connection.to->info, configuration, connection.to_node)) return;
    std::vector<std::string> const inputs = inputs_of(*connection.to);
    std::size_t const first_step = std::min(connection.to_node.find_first_of("{["), connection.to_node.size());
    out_.push_back({.path = below(connection.path, "to-node"),
                    .found = as_found(connection.tree, "to-node"),
                    .allowed = "an input of the task " + connection.to->shown_name() + ", " + one_of(inputs),
                    .suggestion = nearest_of(std::string_view(connection.to_node).substr(0, first_step), inputs)});
}

/// What is said in vain, since finalization goes by something else.
void connection_judge::judge_effect(judged_connection const& connection) {
    if (connection.is_exact()) {
        if (!connection.result.empty())
            out_.push_back({.severity = e_problem_severity::warning,
                            .path = below(connection.path, "result"),
                            .found = as_found(connection.tree, "result") +
                                     ", which is not looked at, since output and input are named too",
                            .allowed = "left out, or in a connection of its own"});
        return;
    }
    for (auto const* const key : {"from-node", "to-node"}) {
        bool const is_from = std::string_view(key) == "from-node";
        if ((is_from ? connection.from_node : connection.to_node).empty()) continue;
        out_.push_back({.severity = e_problem_severity::warning,
                        .path = below(connection.path, key),
                        .found = as_found(connection.tree, key) + ", which is not looked at without a \"" +
                                 (is_from ? "to-node" : "from-node") + '"',
                        .allowed = "used together with one, or left out"});
    }
}

/// Any result that is neither of the two stands for both, so it is only told when it looks like a slip.
void connection_judge::judge_result(judged_connection const& connection) {
    if (connection.is_exact() || connection.result.empty()) return;
    std::vector<std::string> const known{"failure", "success"};
    if (std::ranges::find(known, connection.result) != known.end()) return;
    auto const* const other_word = std::ranges::find(other_words, connection.result, &result_word::written);
    std::string suggestion =
        other_word == other_words.end() ? nearest_of(connection.result, known) : kxcore::shown_text(other_word->meant);
    if (suggestion.empty()) return;
    out_.push_back({.severity = e_problem_severity::warning,
                    .path = below(connection.path, "result"),
                    .found = as_found(connection.tree, "result") + ", which stands for whatever outcome",
                    .allowed = R"("success" or "failure" to wait for just that)",
                    .suggestion = std::move(suggestion)});
}

void connection_judge::judge_repetitions() {
    using form = std::tuple<judged_task const*, std::string, judged_task const*, std::string, std::string>;
    std::map<form, std::string> seen;
    for (judged_connection const& each : declared_) {
        if (each.from == nullptr || each.to == nullptr) continue;
        auto const [first, is_new] =
            seen.emplace(form{each.from, each.from_node, each.to, each.to_node, each.result}, each.path);
        if (!is_new)
            out_.push_back({.severity = e_problem_severity::warning,
                            .path = each.path,
                            .found = "the connection " + first->second + " once more",
                            .allowed = "there only once"});
    }
}

/// A connection without nodes feeds whatever refers to an output of the task before, by the name of that output.
void connection_judge::judge_references() {
    for (judged_task const& task : document_.tasks) {
        if (task.configuration == nullptr) continue;
        kxcore::visit_leaves(*task.configuration, [&](std::string_view leaf, kxcore::property_handle const& value) {
            auto const* const special = kxcore::property_cast<kxcore::property_special>(value.get());
            if (special != nullptr && special->sub_type() == kxcore::property_special::e_sub_type::variable)
                judge_reference(task, leaf, special->value());
        });
    }
}

void connection_judge::judge_reference(judged_task const& task, std::string_view leaf, std::string_view output) {
    std::vector<std::string> outputs;
    std::string sources;
    for (std::size_t const index : declared_to_[&task]) {
        judged_connection const& each = declared_[index];
        // Somebody feeds it by its own name, or may: then the reference does not matter, or nobody can tell.
        if (each.is_exact() && leaf.starts_with(each.to_node)) return;
        if (!each.is_plain()) continue;
        if (each.from == nullptr || each.from == &task || !each.from->info) return;
        if (kxworkflow::is_output(*each.from->info, each.from->tree, output)) return;
        for (std::string& name : outputs_of(*each.from))
            outputs.push_back(std::move(name));
        sources += (sources.empty() ? "" : ", ") + each.from->shown_name();
    }
    if (sources.empty()) return;
    std::string path = below(task.path, "configuration");
    std::size_t const first_step = std::min(leaf.find_first_of("{["), leaf.size());
    path = below(std::move(path), leaf.substr(0, first_step)).append(leaf.substr(first_step));
    out_.push_back({.path = std::move(path),
                    .found = "a reference to the output " + kxcore::shown_text(output),
                    .allowed = outputs.empty() ? "fed by another task: there are no outputs of " + sources
                                               : "one to an output of " + sources + ", " + one_of(outputs),
                    .suggestion = nearest_of(output, outputs)});
}

void connection_judge::judge_cycles() {
    for (wait_cycle const& cycle : find_cycles(document_.tasks.size(), waits_.edges))
        out_.push_back({.path = waits_.paths[cycle.closing_edge],
                        .found = cycle_text(cycle),
                        .allowed = "a connection that closes none"});
}

std::string connection_judge::cycle_text(wait_cycle const& cycle) const {
    constexpr std::size_t most = 8;
    std::string text = "a circle of tasks that wait for each other: ";
    for (std::size_t i = 0; i < std::min(most, cycle.nodes.size()); ++i)
        text += document_.tasks[cycle.nodes[i]].shown_name() + ", then ";
    if (cycle.nodes.size() > most) text += std::to_string(cycle.nodes.size() - most) + " more, then ";
    return text + document_.tasks[cycle.nodes.front()].shown_name() + " again";
}

void waits::add(judged_document const& document, judged_task const* from, judged_task const* to,
                std::string const& path) {
    if (from == nullptr || to == nullptr || from == to) return;
    auto const number = [&](judged_task const* task) { return static_cast<std::size_t>(task - document.tasks.data()); };
    edges.push_back({number(from), number(to)});
    paths.push_back(path);
}

std::vector<std::string> outputs_of(judged_task const& task) {
    std::set<std::string> names;
    for (kxcore::plugin_port const& each : task.info->get_outputs())
        names.insert(each.name);
    for (kxcore::plugin_published_value const& each : task.info->get_published())
        names.insert(each.name);
    if (properties const* const published = member_tree(&task.tree, "published-outputs"))
        for (kxcore::property_member const& each : *published)
            names.emplace(each.key());
    return {names.begin(), names.end()};
}

std::vector<std::string> inputs_of(judged_task const& task) {
    std::set<std::string> names;
    for (kxcore::plugin_port const& each : task.info->get_inputs())
        names.insert(each.name);
    if (task.configuration != nullptr)
        for (kxcore::property_member const& each : *task.configuration)
            names.emplace(each.key());
    return {names.begin(), names.end()};
}

std::string as_found(properties const& tree, std::string_view key) {
    return kxcore::found_text(*tree.find(key), false);
}

} // namespace

} // namespace kxclientutil
