#pragma once

/// @file
/// Editing a workflow document: the connections that are drawn between its tasks, and the insertion of a task.

#include <kxclientutil/export.h>

#include <list>
#include <string>

namespace kxcore {
class constraint_db;
class plugin_db;
class properties;
} // namespace kxcore

namespace kxclientutil {

/// One drawn connection between two tasks of a workflow. A plain value; nothing is checked.
struct KXCLIENTUTIL_EXPORT wf_connection {
    std::string from_wtid; ///< the task that it leaves from
    std::string from_node; ///< an output of that task; empty when it is not tied to a particular one
    std::string to_wtid;   ///< the task that it leads to
    std::string to_node;   ///< an input of that task; empty when it is not tied to a particular one
    /// The outcome of the source task on which the other one depends: "success", "failure", any other text for "it has
    /// finished"; empty when the connection is no such dependency.
    std::string result;

    /// A connection between an output and an input.
    wf_connection(std::string source_wtid, std::string source_node, std::string target_wtid, std::string target_node);

    /// A dependency. The third text is the `result` and not, as in the form of four texts, a node: that is meant.
    wf_connection(std::string source_wtid, std::string target_wtid, std::string outcome);

    /// A connection that says nothing but which tasks it joins.
    wf_connection(std::string source_wtid, std::string target_wtid);

    /// Reads the form that encode() writes.
    ///
    /// @throws es::arg naming the key when "from-wtid" or "to-wtid" is missing or no string. The other three are empty
    ///         then.
    explicit wf_connection(kxcore::properties const& encoded);

    /// Writes "from-wtid" and "to-wtid", and "from-node", "to-node" and "result" unless they are empty.
    ///
    /// @param out  other members stay, and so does one of these keys whose text is empty here: for an encoding that is
    ///             read back equal, hand in an empty tree.
    void encode(kxcore::properties& out) const;

    /// Whether both nodes are named. Ask this first: who is both this and a result connection counts as this.
    [[nodiscard]] bool is_exact_connection() const;

    /// Whether a result is named.
    [[nodiscard]] bool is_result_connection() const;

    [[nodiscard]] bool operator==(wf_connection const&) const = default;
};

/// Appends a connection to the list "workflow-meta{connections}" of a workflow. What stands there and is no list is
/// replaced. It neither looks whether the tasks are there nor whether an equal connection is.
///
/// @throws es::arg, with the workflow unchanged, when its "workflow-meta" is no tree
KXCLIENTUTIL_EXPORT void connect_task(wf_connection const& connection, kxcore::properties& workflow);

/// Adds a task at the end of a workflow.
///
/// @param task         a task document. Its values are shared with the workflow; it gets a fresh wtid there, whatever
///                     its "id" is.
/// @param workflow     replaced by the document with the task in it; untouched on any error.
/// @param plugins      must know the plugin of every task.
/// @param constraints  its "node.user-task", if it has one, judges the task.
/// @return             the wtid of the new task, unique in the workflow.
///
/// @throws es::arg naming the task, and the key where there is one, for what kxworkflow::workflow_builder refuses: a
///         workflow that does not hold together, an unknown plugin, a task that does not fit its constraint
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string add_task(kxcore::properties const& task, kxcore::properties& workflow,
                                                       kxcore::plugin_db const& plugins,
                                                       kxcore::constraint_db const& constraints);

/// The same for a task that only nodes with, or without, certain tags may run. The requirement "tags" of the new task
/// then holds these tags and no others.
///
/// @param required_tags  tags that the node has.
/// @param excluded_tags  tags that it has not; a tag in both lists is excluded. Without any tag the task gets no
///                       requirement.
///
/// @throws es::arg also when "requirements" of the task is no constraint database
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string add_task(kxcore::properties const& task, kxcore::properties& workflow,
                                                       kxcore::plugin_db const& plugins,
                                                       kxcore::constraint_db const& constraints,
                                                       std::list<std::string> const& required_tags,
                                                       std::list<std::string> const& excluded_tags);

} // namespace kxclientutil
