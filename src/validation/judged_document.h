// A document under validation, taken apart as far as it can be: what the judges look at, and the form in which they tell.
// Nothing here trusts the document: every member may be missing or of any kind.
#pragma once

#include "config/document_types.h"

#include <kxclientutil/validation.h>

#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kxclientutil {

using document_problems = std::vector<document_problem>;

/// A task of the document.
struct judged_task {
    std::string path; ///< empty for a task that is a document of its own
    kxcore::properties const& tree;
    std::string wtid;
    std::string name;                                     ///< for people: its name, its wtid when it has none
    std::string plugin_id;                                ///< as stated, else as the wtid tells it
    bool states_plugin;                                   ///< whether it has a "plugin-id"
    kxbase::ptr_refcount<kxcore::plugin_info const> info; ///< empty for an unknown plugin
    kxcore::properties const* configuration;              ///< null when there is none

    /// The name as it is shown: in double quotes, shortened.
    [[nodiscard]] std::string shown_name() const;
};

/// A document of the current version. The tree must outlive it.
class judged_document {
public:
    judged_document(document_type const& of_type, kxcore::properties const& of, kxcore::plugin_db const& by_plugins,
                    kxcore::constraint_db const& by_constraints);

    document_type const& type;
    kxcore::properties const& tree;
    kxcore::plugin_db const& plugins;
    kxcore::constraint_db const& constraints;

    /// The path of the workflow in it: empty for a workflow, "workflow" in a submission.
    std::string workflow_path;
    /// Null in a document without a workflow.
    kxcore::properties const* workflow = nullptr;
    /// In the order of the document. Elements of "tasks" that are no trees are left out.
    std::vector<judged_task> tasks;

    /// The task that the path lies in; null outside of tasks.
    [[nodiscard]] judged_task const* find_task_at(std::string_view path) const;

    /// The task of that wtid, the first of several; null when there is none.
    [[nodiscard]] judged_task const* find_task(std::string_view wtid) const;

private:
    void add_task(std::string path, kxcore::properties const& task);
    void add_tasks();

    std::map<std::string, std::size_t, std::less<>> by_path_;
    std::map<std::string, std::size_t, std::less<>> by_wtid_;
};

/// The path of the list of tasks in a document of the type; empty in one that has none.
[[nodiscard]] std::string tasks_path(e_config_type type);

/// The path of the element of `list` that the path leads through: "tasks[3]" for "tasks[3]{configuration}"; empty when it
/// leads through none. An empty list path is none.
[[nodiscard]] std::string_view element_of(std::string_view path, std::string_view list);

/// The path of a member of what the path names.
[[nodiscard]] std::string below(std::string path, std::string_view key);

/// The path of an element of the list that the path names.
[[nodiscard]] std::string element(std::string path, std::size_t index);

/// The member when it is a tree, or a list; null otherwise, and when there is no tree to look in.
[[nodiscard]] kxcore::properties const* member_tree(kxcore::properties const* tree, std::string_view key);
[[nodiscard]] kxcore::property_list const* member_list(kxcore::properties const* tree, std::string_view key);

/// "one of "a", "b" and 3 more", `"a"` for a single text; at most so many are named.
[[nodiscard]] std::string one_of(std::vector<std::string> const& texts, std::size_t most = 12);

/// The text nearest to the given one as it is shown, empty when none is near.
[[nodiscard]] std::string nearest_of(std::string_view given, std::vector<std::string> const& texts);

} // namespace kxclientutil
