#pragma once

/// @file
/// A workflow as a picture: its tasks and what leads from one to another, taken out of a document into plain values, and
/// written as a drawing for Graphviz (DOT) or for Mermaid. docs/workflows.md shows what it looks like.
///
/// A picture shows what is wrong as well: a connection to a task that is not there leads to a dashed box that says so,
/// and what cannot be drawn at all is told in words. No text of a document, whatever its bytes are, can add anything to a
/// drawing but itself, and no password of a URL gets into one. The same document gives the same bytes. All functions may
/// be called from any thread; their time and memory grow with the document, no faster.

#include <kxclientutil/export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kxcore {
class plugin_db;
class properties;
} // namespace kxcore

namespace kxclientutil {

/// A task in the picture.
struct graph_node {
    std::string id;   ///< the wtid; empty for a task without one
    std::string name; ///< the task's name; empty when it has none
    std::string kind; ///< its plugin's "info.name", or the plugin id when the plugin is not known; may be empty
    /// What is wrong with the task, in a few words: "no such task", "unknown plugin", "same id as another task"; empty
    /// when nothing is.
    std::string problem;
    bool is_missing = false; ///< no task of the workflow has the id; something else names it
    bool is_added = false;   ///< not in the workflow that it is compared with

    [[nodiscard]] bool operator==(graph_node const&) const = default;
};

/// What leads from one task to another.
enum class e_graph_edge : std::uint8_t {
    value,   ///< an output feeds an input
    order,   ///< a connection that names neither, or only one of the two
    success, ///< the second task runs when the first has succeeded
    failure, ///< the second task runs when the first has failed
    any,     ///< the second task runs when the first has ended
    stop,    ///< the end of the first task stops the second
};

/// An arrow in the picture.
struct graph_edge {
    std::size_t from = 0; ///< index of the task that it leaves from
    std::size_t to = 0;   ///< index of the task that it leads to
    e_graph_edge kind = e_graph_edge::order;
    std::string output;    ///< of the first task; empty when none is named
    std::string input;     ///< of the second task; empty when none is named
    bool is_added = false; ///< not in the workflow that it is compared with

    [[nodiscard]] bool operator==(graph_edge const&) const = default;
};

/// The picture before it is drawn.
struct workflow_graph {
    std::string name; ///< the workflow's name; empty when it has none
    /// The tasks in the order of the document, then the missing ones in the order in which they are named.
    std::vector<graph_node> nodes;
    /// The drawn connections in the order of the document, then what each task records of its wiring, task by task. What
    /// is drawn and wired is there once.
    std::vector<graph_edge> edges;
    /// What cannot be drawn, a line each, with its property path: "workflow-meta{connections}[2]: no tree".
    std::vector<std::string> problems;
};

/// Takes a workflow apart for drawing: a stored one, an exported one, or that of a finalized job, whose wiring is drawn
/// then. It raises nothing about the document, however broken it is.
///
/// @param workflow  a workflow document, or a tree that holds one under "workflow" (a submission, a job).
/// @param plugins   names the kinds of the tasks.
[[nodiscard]] KXCLIENTUTIL_EXPORT workflow_graph create_workflow_graph(kxcore::properties const& workflow,
                                                                       kxcore::plugin_db const& plugins);

/// Marks the tasks and arrows that an earlier state of the workflow does not have: those that finalization has added,
/// for instance, when that is the graph of the original. Tasks are compared by their ids.
KXCLIENTUTIL_EXPORT void mark_added(workflow_graph& graph, workflow_graph const& before);

/// The way along arrows from one task to another that takes the fewest steps, `stop` left out: indexes of the tasks, both
/// ends included. Empty when there is none; a single index when both are the same task.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::vector<std::size_t> find_way(workflow_graph const& graph, std::size_t from,
                                                                    std::size_t to);

/// The word for a kind of arrow: "value", "order", "success", "failure", "any", "stop".
[[nodiscard]] KXCLIENTUTIL_EXPORT char const* graph_edge_c_str(e_graph_edge kind);

/// How a picture is drawn.
struct graph_drawing {
    /// Whether it explains its arrows and boxes, those kinds that it has.
    bool legend = false;
};

/// The picture in the language of Graphviz, from left to right. UTF-8 whatever the texts of the document are; long texts
/// lose their middles.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string graph_to_dot(workflow_graph const& graph,
                                                           graph_drawing const& drawing = {});

/// The picture as a Mermaid flowchart, as graph_to_dot() draws it.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string graph_to_mermaid(workflow_graph const& graph,
                                                               graph_drawing const& drawing = {});

} // namespace kxclientutil
