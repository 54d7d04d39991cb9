#include "validation/members.h"

#include <kxbase/text.h>
#include <kxcore/constraint_db.h>
#include <kxcore/installation.h>
#include <kxcore/plugin_db.h>
#include <kxcore/shown_value.h>
#include <kxworkflow/identifiers.h>

#include <algorithm>
#include <set>

namespace kxclientutil {

namespace {

using kxcore::properties;

/// A monitor of the document: a source, or what stands for one in a submission.
struct judged_monitor {
    std::string path;
    properties const* source;
};

void judge_configuration(judged_document const& document, std::string const& path, properties const* configuration,
                         std::string const& plugin_id, document_problems& out);
void judge_ids(judged_document const& document, document_problems& out);
void judge_plugin(judged_document const& document, judged_task const& task, document_problems& out);
void tell_unknown_plugin(judged_document const& document, std::string path, std::string const& plugin_id,
                         document_problems& out);
std::vector<judged_monitor> monitors(judged_document const& document);
std::string monitor_plugin(judged_monitor const& monitor);
document_problem problem_of(judged_document const& document, kxcore::finding&& found);
std::string allowed_id(judged_document const& document, std::string_view path);
bool is_of_monitor(std::string_view path);
std::vector<std::string> plugins_for(judged_document const& document, std::string_view path);

} // namespace

void judge_members(judged_document const& document, document_problems& out) {
    auto const constraint = find_database(document.constraints, document.type.constraint);
    if (constraint) {
        for (kxcore::finding& found : constraint->findings(document.tree, kxcore::validity::all))
            out.push_back(problem_of(document, std::move(found)));
    } else {
        out.push_back(
            {.found = kxbase::string_with_format("no constraint \"%s\" in the installation, so that nobody can "
                                                 "say what is valid",
                                                 document.type.constraint)});
    }
    for (judged_task const& task : document.tasks)
        if (task.info)
            judge_configuration(document, below(task.path, "configuration"), task.configuration, task.plugin_id, out);
    for (judged_monitor const& monitor : monitors(document))
        judge_configuration(document, below(monitor.path, "plugin-configuration"),
                            member_tree(monitor.source, "plugin-configuration"), monitor_plugin(monitor), out);
}

void judge_plugins(judged_document const& document, document_problems& out) {
    for (judged_task const& task : document.tasks)
        judge_plugin(document, task, out);
    judge_ids(document, out);
    for (judged_monitor const& monitor : monitors(document)) {
        std::string const plugin_id = monitor_plugin(monitor);
        if (!plugin_id.empty() && !document.plugins.describe_plugin(plugin_id))
            tell_unknown_plugin(document, below(below(monitor.path, "manager-configuration"), "plugin-id"), plugin_id,
                                out);
    }
}

namespace {

void judge_configuration(judged_document const& document, std::string const& path, properties const* configuration,
                         std::string const& plugin_id, document_problems& out) {
    if (configuration == nullptr || plugin_id.empty()) return;
    for (kxcore::finding& found :
         kxcore::configuration_findings(document.constraints, plugin_id, *configuration, kxcore::validity::all)) {
        std::string const inside = std::move(found.path);
        auto const first_step = std::min(inside.find_first_of("{["), inside.size());
        found.path = below(path, inside.substr(0, first_step)) + inside.substr(first_step);
        out.push_back(problem_of(document, std::move(found)));
    }
}

/// A plugin id that is missing is the business of the document's own constraint.
void judge_plugin(judged_document const& document, judged_task const& task, document_problems& out) {
    if (task.plugin_id.empty()) return;
    if (!task.info)
        return tell_unknown_plugin(document, below(task.path, task.states_plugin ? "plugin-id" : "id"), task.plugin_id,
                                   out);
    std::string const named = kxworkflow::wtid_plid(task.wtid);
    if (task.wtid.empty() || named == task.plugin_id) return;
    std::string const instance = task.wtid.substr(std::min(task.wtid.find('#'), task.wtid.size()));
    document_problem problem{.path = below(task.path, "id"),
                             .found = kxcore::found_text(*task.tree.find("id"), false),
                             .allowed = "an id of the task's own plugin, \"wtid:" + task.plugin_id + "#NAME\""};
    if (instance.size() > 1) problem.suggestion = kxcore::shown_text("wtid:" + task.plugin_id + instance);
    out.push_back(std::move(problem));
}

void judge_ids(judged_document const& document, document_problems& out) {
    for (judged_task const& task : document.tasks) {
        judged_task const* const first = task.wtid.empty() ? nullptr : document.find_task(task.wtid);
        if (first == nullptr || first == &task) continue;
        out.push_back({.path = below(task.path, "id"),
                       .found = kxcore::found_text(*task.tree.find("id"), false),
                       .allowed = "an id that no other task has; " + first->path + " has this one"});
    }
}

void tell_unknown_plugin(judged_document const& document, std::string path, std::string const& plugin_id,
                         document_problems& out) {
    std::vector<std::string> const ids = plugins_for(document, path);
    out.push_back({.path = std::move(path),
                   .found = "the unknown plugin " + kxcore::shown_text(plugin_id),
                   .allowed = ids.empty() ? "a plugin of the installation, which has none" : one_of(ids),
                   .suggestion = nearest_of(plugin_id, ids)});
}

/// Monitors don't run tasks, and tasks don't watch folders: only plugins of the same family are worth naming.
std::vector<std::string> plugins_for(judged_document const& document, std::string_view path) {
    std::vector<std::string> ids = document.plugins.get_ids();
    std::string_view const family = is_of_monitor(path) ? "io/" : "task/";
    if (std::ranges::any_of(ids, [&](std::string const& id) { return id.starts_with(family); }))
        std::erase_if(ids, [&](std::string const& id) { return !id.starts_with(family); });
    return ids;
}

std::vector<judged_monitor> monitors(judged_document const& document) {
    if (document.type.type == config_monitor_source) return {{"", &document.tree}};
    if (document.type.type != config_submission) return {};
    properties const* const source = member_tree(&document.tree, "monitor-source");
    return source == nullptr ? std::vector<judged_monitor>() : std::vector<judged_monitor>{{"monitor-source", source}};
}

std::string monitor_plugin(judged_monitor const& monitor) {
    auto const* const manager = member_tree(monitor.source, "manager-configuration");
    return manager == nullptr ? std::string() : manager->get_string_value("plugin-id", "");
}

document_problem problem_of(judged_document const& document, kxcore::finding&& found) {
    document_problem problem{.path = std::move(found.path),
                             .found = std::move(found.found),
                             .allowed = std::move(found.allowed),
                             .suggestion = std::move(found.suggestion)};
    if (found.what == kxcore::e_finding::unknown) {
        problem.found = "an unknown key";
    } else {
        if (found.what == kxcore::e_finding::missing) problem.found.clear();
        if (std::string allowed = allowed_id(document, problem.path); !allowed.empty())
            problem.allowed = std::move(allowed);
    }
    return problem;
}

bool is_of_monitor(std::string_view path) {
    return path == "manager-configuration{plugin-id}" || path == "monitor-source{manager-configuration}{plugin-id}";
}

/// What helps more than the pattern that ids of plugins and tasks are held to; empty for other paths.
std::string allowed_id(judged_document const& document, std::string_view path) {
    judged_task const* const task = document.find_task_at(path);
    if (is_of_monitor(path) || (task != nullptr && path == below(task->path, "plugin-id"))) {
        auto const ids = plugins_for(document, path);
        return ids.empty() ? std::string() : one_of(ids);
    }
    if (task != nullptr && path == below(task->path, "id")) return "an id, \"wtid:PLUGIN#NAME\"";
    bool const is_of_component = path == "plugin-id" || path.ends_with("{plugin-id}");
    return is_of_component ? "the id of a plugin, like \"media/filter/deinterlace/1.0\", without blanks"
                           : std::string();
}

} // namespace

} // namespace kxclientutil
