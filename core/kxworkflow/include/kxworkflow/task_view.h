#pragma once

/// @file
/// Views of the tasks of a workflow, as a workflow_builder shows them. A view is a snapshot: it
/// shows the task as it was when the view was made, whatever happens to the builder afterwards,
/// and costs a few references, never a copy of the task's configuration. Views never change, so
/// any number of threads may read them.

#include <kxbase/ptr_refcount.h>
#include <kxworkflow/export.h>

#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {
class plugin_info;
class properties;
class property;
} // namespace kxcore

namespace kxworkflow {

struct task_snapshot;

/// One named place of a plugin's instance where a value goes in or comes out.
class KXWORKFLOW_EXPORT plugin_node : public kxbase::object_refcount {
public:
    explicit plugin_node(std::string id) : id_(std::move(id)) {}
    ~plugin_node() override;
    plugin_node(plugin_node const&) = delete;
    plugin_node& operator=(plugin_node const&) = delete;

    /// The input or output: its path, for example "source-url", "clips[0]{url}", "dest-url".
    [[nodiscard]] std::string const& get_id() const noexcept { return id_; }

private:
    std::string id_;
};

/// An instance of a plugin: its description and its configuration.
class KXWORKFLOW_EXPORT plugin : public kxbase::object_refcount {
public:
    ~plugin() override;
    plugin(plugin const&) = delete;
    plugin& operator=(plugin const&) = delete;

    /// The configuration; a tree without members when the task has none, never an empty handle.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::properties const> const& get_configuration() const noexcept;

    /// The plugin's description; never an empty handle.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::plugin_info const> const& get_info() const noexcept;

protected:
    explicit plugin(std::shared_ptr<task_snapshot const> snapshot);

    std::shared_ptr<task_snapshot const> snapshot_;
};

/// A task of a workflow.
class KXWORKFLOW_EXPORT task : public plugin {
public:
    /// An input or an output of a task, with what it is connected to.
    class KXWORKFLOW_EXPORT task_node : public plugin_node {
    public:
        /// For the library itself; callers get nodes from a task.
        task_node(std::string id, std::vector<std::string> connection_ids,
                  kxbase::ptr_refcount<kxcore::property const> value);
        ~task_node() override;
        task_node(task_node const&) = delete;
        task_node& operator=(task_node const&) = delete;

        /// The ports at the other end, `port_new_id(wtid, node)` each: for an output the inputs
        /// that it feeds in byte order; for an input the outputs that feed it (or a part of it,
        /// or the tree or list that it is in) in the order in which they were connected.
        [[nodiscard]] std::vector<std::string> const& get_connection_ids() const noexcept { return connection_ids_; }

        /// An input's value in the configuration, an output's published value; empty when there
        /// is none.
        [[nodiscard]] kxbase::ptr_refcount<kxcore::property const> const& get_value() const noexcept { return value_; }

        /// Whether there is at least one connection.
        [[nodiscard]] bool is_connected() const noexcept { return !connection_ids_.empty(); }

        /// Whether an input waits for somebody to feed it: it is not connected, and its value is
        /// missing, a plain deferred or a variable reference. A literal (an empty tree or list
        /// is one), a context value and a wrapped credential are fed. Means nothing for outputs.
        [[nodiscard]] bool is_open() const;

    private:
        std::vector<std::string> connection_ids_;
        kxbase::ptr_refcount<kxcore::property const> value_;
    };

    using node_list = std::list<kxbase::ptr_refcount<task_node const>>;

    /// For the library itself; callers get tasks from a workflow_builder.
    explicit task(std::shared_ptr<task_snapshot const> snapshot);
    ~task() override;
    task(task const&) = delete;
    task& operator=(task const&) = delete;

    /// The wtid.
    [[nodiscard]] std::string const& get_id() const noexcept;

    /// The plugin id, the one that the wtid names.
    [[nodiscard]] std::string const& get_plid() const noexcept;

    /// The task's own name, the one that people see; empty when it has none.
    [[nodiscard]] std::string const& get_name() const noexcept;

    /// The task's type: its plugin's "info.name".
    [[nodiscard]] std::string get_type() const;

    /// Appends the inputs that the plugin declares, in byte order of the declared names. An input
    /// that the configuration fills with a tree or a list comes as its leaves, depth first
    /// ("source-urls[0]"); one that is missing or empty comes as itself. A
    /// publishable input that is missing is left out: it waits for what other tasks publish.
    void get_published_in_nodes(node_list& nodes) const;

    /// Appends the outputs that feed at least one input, in byte order.
    void get_connected_out_nodes(node_list& nodes) const;
};

/// What `workflow_builder::get_tasks` puts beside a wtid: a handle to the view of that task that
/// is never empty once it came from there.
class KXWORKFLOW_EXPORT task_proxy {
public:
    task_proxy() = default;
    explicit task_proxy(kxbase::ptr_refcount<task const> view) : view_(std::move(view)) {}

    [[nodiscard]] task const* operator->() const noexcept { return view_.get(); }
    [[nodiscard]] task const& operator*() const noexcept { return *view_; }
    [[nodiscard]] kxbase::ptr_refcount<task const> const& get() const noexcept { return view_; }

private:
    kxbase::ptr_refcount<task const> view_;
};

/// A view of a whole workflow.
class KXWORKFLOW_EXPORT workflow_info : public kxbase::object_refcount {
public:
    using task_list = std::vector<kxbase::ptr_refcount<task const>>;

    /// For the library itself; callers get it from a workflow_builder.
    workflow_info(std::string name, task_list tasks);
    ~workflow_info() override;
    workflow_info(workflow_info const&) = delete;
    workflow_info& operator=(workflow_info const&) = delete;

    /// The workflow's name; empty when it has none.
    [[nodiscard]] std::string const& get_name() const noexcept { return name_; }

    /// The tasks in the order of the document, added ones last.
    [[nodiscard]] task_list const& get_task_infos() const noexcept { return tasks_; }

private:
    std::string name_;
    task_list tasks_;
};

} // namespace kxworkflow
