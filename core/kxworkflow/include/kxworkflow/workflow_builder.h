#pragma once

/// @file
/// A workflow while it is worked on. The builder takes a workflow document apart once, into tasks
/// that are found by their wtids; every operation then works on these; export_workflow() puts the
/// document together again. docs/documents.md, chapter "Workflows", describes the document.
///
/// What holds between any two calls:
/// - every task has a wtid of its own, which names a plugin that the plugin database knows;
/// - no connection, run dependency or kill trigger names a task that is not there;
/// - connections and run dependencies together have no cycle: some order of the tasks runs each
///   one after all those that it waits for;
/// - what the builder does not understand in a document it hands on unchanged.
///
/// A call that raises changes nothing. All errors are es::arg and name the task, and where there
/// is one the key or the input. A wtid that is not in the workflow is an error for every operation
/// that takes one, except for connect(). With n the number of tasks an operation costs O(log n),
/// or what the things that it names cost; connect() and the dependencies also keep the order of
/// the tasks, see task_order.h in the sources. A builder is used by one thread at a time.

#include <kxbase/ptr_refcount.h>
#include <kxworkflow/export.h>
#include <kxworkflow/task_view.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

namespace kxcore {
class constraint;
class constraint_db;
class plugin_db;
class properties;
class property;
} // namespace kxcore

namespace kxworkflow {

class task_editor;
struct workflow_content;

/// Edits one workflow. Movable, not copyable; a builder that was moved from can only be
/// destroyed or assigned to.
class KXWORKFLOW_EXPORT workflow_builder {
public:
    /// Takes a workflow document apart. The document is not changed and its values are shared,
    /// so they must not be changed afterwards (values that are shared never are).
    ///
    /// A task without "id" gets a fresh wtid of its plugin, one without "plugin-id" the plugin
    /// that its id names.
    ///
    /// @param workflow    a workflow, stored or exported from a builder
    /// @param plugins     the installation's plugins; a copy is kept, which shares them
    /// @param constraints the installation's constraints; kept by reference where add_task() needs
    ///                    one of them, else not used
    /// @throws es::arg for a task that has neither "id" nor "plugin-id", or two that do not fit
    ///         together, an id that is taken, a plugin that is unknown, a member of a wrong kind,
    ///         a connection, dependency or trigger that names no task of the workflow, and a
    ///         cycle
    workflow_builder(kxcore::properties const& workflow, kxcore::plugin_db const& plugins,
                     kxcore::constraint_db const& constraints);
    ~workflow_builder();
    workflow_builder(workflow_builder const&) = delete;
    workflow_builder& operator=(workflow_builder const&) = delete;
    workflow_builder(workflow_builder&&) noexcept;
    workflow_builder& operator=(workflow_builder&&) noexcept;

    // The workflow itself.

    /// The workflow's "name"; empty when it has none.
    [[nodiscard]] std::string get_workflow_name() const;

    /// Sets what every node that runs a task of this workflow must have, for example "node-id".
    /// Tasks demand it from the next update_task_requirements() on. An empty handle takes it back.
    void set_workflow_capability(std::string_view name, kxbase::ptr_refcount<kxcore::property const> const& value);

    /// Sets one member of the workflow's configuration, for example "priority". An empty handle
    /// removes it.
    void set_workflow_configuration(std::string_view name, kxbase::ptr_refcount<kxcore::property const> value);

    /// The workflow's meta data: a snapshot, never empty. The "connections" in it are those that
    /// the document declared, without those of removed tasks.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::properties const> get_workflow_meta_data() const;

    /// Sets one member of the workflow's meta data. An empty handle removes it.
    void add_workflow_meta_data(std::string_view key, kxbase::ptr_refcount<kxcore::property const> value);

    /// Sets the workflow's type: 0 for an ordinary one, 2 for an edit decision list.
    void set_workflow_type(std::int64_t type);

    /// The workflow's type; 0 when none was set.
    [[nodiscard]] std::int64_t get_workflow_type() const;

    // Tasks.

    /// The number of tasks.
    [[nodiscard]] std::size_t get_task_count() const noexcept;

    /// Whether a task with that wtid is there.
    [[nodiscard]] bool has_task(std::string_view wtid) const noexcept;

    /// Views of all tasks, by wtid in byte order. What the map held before is gone.
    void get_tasks(std::map<std::string, task_proxy>& tasks) const;

    /// Calls the function for every task, by wtid in byte order: for who does the same to all. The
    /// function may ask the builder anything, but neither add nor remove tasks. When it raises, the
    /// tasks before stay as it made them.
    void for_each_task(std::function<void(task_editor&)> const& edit);

    /// The view of one task.
    [[nodiscard]] task_proxy get_task(std::string_view wtid) const;

    /// A view of the workflow with its tasks in the order of the document.
    [[nodiscard]] kxbase::ptr_refcount<workflow_info const> get_workflow_info() const;

    /// Adds a task at the end.
    ///
    /// @param document a task document, which is shared with the builder and not copied: it must
    ///        live on the heap, behind its handle, and must not be changed afterwards. An "id" in
    ///        it only stands in for a missing "plugin-id".
    /// @return the new task's wtid, always a fresh one
    /// @throws es::arg as the constructor does for a task, and for a document that the
    ///         installation's constraint "node.user-task", if it has one, calls invalid
    [[nodiscard]] std::string add_task(kxbase::ptr_refcount<kxcore::properties const> const& document);

    /// Adds a task at the end.
    ///
    /// @param plid          the plugin's id
    /// @param configuration the whole configuration, shared as above; the plugin's default
    ///                      configuration is not merged into it. An empty handle is an empty tree.
    /// @param flags         the task's type for the node, 0 for an ordinary one; kept under "flags"
    ///                      when it is not 0
    /// @param name          an instance name: when it is not empty and the wtid is free, the task's
    ///                      wtid is "wtid:PLID#NAME"; else it is a fresh one
    /// @param label         the name that people see; empty for "Untitled"
    /// @return the new task's wtid
    /// @throws es::arg for an unknown plugin, and for a name that holds '>'
    [[nodiscard]] std::string add_task(std::string_view plid,
                                       kxbase::ptr_refcount<kxcore::properties const> configuration, unsigned int flags,
                                       std::string_view name, std::string_view label);

    /// Removes a task and all that names it: connections, entries in kill triggers, declared
    /// connections in the workflow's meta data. A run dependency loses the task; one that is left
    /// without any is never met, so that nothing runs that waited for the task.
    void remove_task(std::string_view wtid);

    /// The task's configuration as it is now, not as it will be; never empty.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::properties const> get_task_configuration(std::string_view wtid) const;

    /// Replaces the task's configuration by a copy of this one. Connections and whatever else is
    /// recorded beside the configuration stay, even when an input is gone.
    void configure_task(std::string_view wtid, kxcore::properties const& configuration);

    /// Sets one member of the task's "ext-meta". An empty handle removes it.
    void add_task_ext_meta(std::string_view wtid, std::string_view key,
                           kxbase::ptr_refcount<kxcore::property const> value);

    /// Looks for tasks by one value of their configurations.
    ///
    /// @param plid  the plugin id, exactly
    /// @param key   a path into the configuration, for example "source-url"
    /// @param value the value, compared as properties compare
    /// @param wtids the wtids found are appended, in byte order
    /// @return how many were found
    std::size_t find_task_with_configuration_value(std::string_view plid, std::string_view key,
                                                   kxcore::property const& value, std::list<std::string>& wtids) const;

    // Requirements.

    /// Brings the "requirements" of the tasks up to date: what a node must be like to run each
    /// one. Derived are "plugins" (the node has the task's plugin; others that the caller asks
    /// for there stay), the members of a constraint database that the plugin's attribute
    /// "requirements" holds, and one requirement per workflow capability, which demands its value.
    /// Derived ones replace others of their name; all others, "tags" above all, stay as they are.
    /// Doing it twice changes nothing more.
    ///
    /// @param refresh_present brings the tasks up to date that have derived requirements already
    /// @param add_missing     derives them for tasks that have none yet, such as added ones
    void update_task_requirements(bool refresh_present, bool add_missing);

    /// Adds a requirement to a task, in place of an earlier one of that name; the node must fit it.
    ///
    /// @throws es::arg also for an empty name or handle, and when the task's "requirements" is not
    ///         a constraint database
    void add_task_requirement(std::string_view wtid, std::string_view name,
                              kxbase::ptr_refcount<kxcore::constraint const> requirement);

    // Inputs and outputs.

    /// Whether the task accepts an input: its path is in the configuration, or its first step is
    /// declared by the plugin or a member of the configuration. A text that is no path is none. What
    /// feeds an input may bring the list that it is in, so one that can be connected is possible,
    /// though there may be no place for a value yet.
    [[nodiscard]] bool is_possible_input(std::string_view wtid, std::string_view input) const;

    /// Whether set_in_value() would give the input a value: it is possible, and the way to it leads
    /// through trees, and through lists that are long enough.
    [[nodiscard]] bool can_set_in_value(std::string_view wtid, std::string_view input) const;

    /// Gives an input a value, in the configuration, where get_task_configuration() then shows it.
    /// Missing trees on the way are made, missing lists are not.
    ///
    /// @throws es::arg also for an input that can't be set, see above, and an empty handle
    void set_in_value(std::string_view wtid, std::string_view input,
                      kxbase::ptr_refcount<kxcore::property const> value);

    /// Publishes an output of this one task, or changes what it publishes there. The value is what
    /// the output offers; a variable reference in it names the input that it is meant for.
    ///
    /// @throws es::arg also for an empty name or handle, or a name that cannot be a key
    void publish_out(std::string_view wtid, std::string_view output,
                     kxbase::ptr_refcount<kxcore::property const> value);

    /// Appends the names of the outputs that the task publishes, its own and its plugin's, in byte
    /// order. Outputs that the plugin declares without a value are not among them.
    void get_published_outputs(std::string_view wtid, std::list<std::string>& outputs) const;

    /// The value that the task, or else its plugin, publishes at an output; empty when there is none.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::property const> get_out_value(std::string_view wtid,
                                                                             std::string_view output) const;

    /// Whether a value that another task publishes may be connected to this input without being
    /// asked for: the plugin declares it so, and its value is missing, an empty tree or list, a
    /// plain deferred or a variable reference.
    [[nodiscard]] bool is_publishable_in(std::string_view wtid, std::string_view input) const;

    // Wiring.

    /// Feeds an input from an output. An input may be fed by several; the same connection twice
    /// counts once.
    ///
    /// @return false, and nothing is changed, when a task is not there or both are the same, the
    ///         output is neither declared by the plugin nor published by the task, the input is
    ///         impossible, or the connection would close a cycle
    [[nodiscard]] bool connect(std::string_view from_wtid, std::string_view output, std::string_view to_wtid,
                               std::string_view input);

    /// Runs a task only when another has ended in a status that the constraint accepts.
    ///
    /// @throws es::arg also for a task that would wait for itself, directly or through others, and
    ///         for an empty handle
    void depend_task(std::string_view to_wtid, std::string_view from_wtid,
                     kxbase::ptr_refcount<kxcore::constraint const> const& status);

    /// Runs a task only when any one of the others has ended in a status that the constraint
    /// accepts. No others means never. All dependencies of a task must be met.
    ///
    /// @throws es::arg as depend_task()
    void depend_any_task(std::string_view to_wtid, std::set<std::string> const& from_wtids,
                         kxbase::ptr_refcount<kxcore::constraint const> const& status);

    /// Stops the other tasks as soon as the task has ended in a status that the constraint accepts.
    /// The task itself is left out; with no others nothing is recorded.
    ///
    /// @throws es::arg also for an empty handle
    void add_kill_triggers(std::string_view wtid, std::set<std::string> const& others,
                           kxbase::ptr_refcount<kxcore::constraint const> const& status);

    // The way back.

    /// Replaces the content of a document by the workflow. Values are shared with the builder,
    /// which may be used, and exported, further. A builder made from the result is equal to this
    /// one.
    void export_workflow(kxcore::properties& workflow) const;

    /// Whether both would export the same document.
    [[nodiscard]] bool operator==(workflow_builder const& other) const;

private:
    std::unique_ptr<workflow_content> content_;
};

} // namespace kxworkflow
