#include "validation/judged_document.h"

#include <kxcore/nearest_text.h>
#include <kxcore/plugin_db.h>
#include <kxcore/references.h>
#include <kxcore/shown_value.h>
#include <kxworkflow/identifiers.h>

#include <algorithm>

namespace kxclientutil {

std::string judged_task::shown_name() const {
    return kxcore::shown_text(name);
}

judged_document::judged_document(document_type const& of_type, kxcore::properties const& of,
                                 kxcore::plugin_db const& by_plugins, kxcore::constraint_db const& by_constraints)
    : type(of_type), tree(of), plugins(by_plugins), constraints(by_constraints) {
    switch (type.type) {
    case config_task: add_task("", tree); break;
    case config_workflow: workflow = &tree; break;
    case config_submission:
        workflow_path = "workflow";
        workflow = member_tree(&tree, workflow_path);
        break;
    default: break;
    }
    add_tasks();
}

judged_task const* judged_document::find_task_at(std::string_view path) const {
    if (type.type == config_task) return &tasks.front();
    auto const found = by_path_.find(element_of(path, tasks_path(type.type)));
    return found == by_path_.end() ? nullptr : &tasks[found->second];
}

judged_task const* judged_document::find_task(std::string_view wtid) const {
    auto const found = by_wtid_.find(wtid);
    return found == by_wtid_.end() ? nullptr : &tasks[found->second];
}

void judged_document::add_tasks() {
    auto const* const list = member_list(workflow, "tasks");
    if (list == nullptr) return;
    for (std::size_t index = 0; index < list->size(); ++index)
        if (auto const* const task = kxcore::property_cast<kxcore::properties>((*list)[index].get()))
            add_task(element(tasks_path(type.type), index), *task);
}

void judged_document::add_task(std::string path, kxcore::properties const& task) {
    std::string wtid = task.get_string_value("id", "");
    std::string name = task.get_string_value("name", "");
    if (name.empty()) name = wtid;
    bool const states_plugin = !task.get_string_value("plugin-id", "").empty();
    std::string plugin_id = states_plugin ? task.get_string_value("plugin-id", "") : kxworkflow::wtid_plid(wtid);
    auto info = plugins.describe_plugin(plugin_id);
    by_path_.emplace(path, tasks.size());
    if (!wtid.empty()) by_wtid_.emplace(wtid, tasks.size());
    tasks.push_back({std::move(path), task, std::move(wtid), std::move(name), std::move(plugin_id), states_plugin,
                     std::move(info), member_tree(&task, "configuration")});
}

std::string tasks_path(e_config_type type) {
    switch (type) {
    case config_workflow: return "tasks";
    case config_submission: return "workflow{tasks}";
    default: return {};
    }
}

std::string_view element_of(std::string_view path, std::string_view list) {
    if (list.empty() || !path.starts_with(list) || path.substr(list.size(), 1) != "[") return {};
    std::size_t const end = path.find(']', list.size());
    return end == std::string_view::npos ? std::string_view() : path.substr(0, end + 1);
}

std::string below(std::string path, std::string_view key) {
    kxcore::append_reference_key(path, key);
    return path;
}

std::string element(std::string path, std::size_t index) {
    kxcore::append_reference_index(path, index);
    return path;
}

kxcore::properties const* member_tree(kxcore::properties const* tree, std::string_view key) {
    return tree == nullptr ? nullptr : kxcore::property_cast<kxcore::properties>(tree->find(key));
}

kxcore::property_list const* member_list(kxcore::properties const* tree, std::string_view key) {
    return tree == nullptr ? nullptr : kxcore::property_cast<kxcore::property_list>(tree->find(key));
}

std::string one_of(std::vector<std::string> const& texts, std::size_t most) {
    std::string out = texts.size() > 1 ? "one of " : "";
    for (std::size_t i = 0; i < std::min(most, texts.size()); ++i) {
        if (i != 0) out += ", ";
        out += kxcore::shown_text(texts[i]);
    }
    if (texts.size() > most) out += " and " + std::to_string(texts.size() - most) + " more";
    return out;
}

std::string nearest_of(std::string_view given, std::vector<std::string> const& texts) {
    // Of very many texts only the first: looking for slips costs time that a hostile document could multiply.
    constexpr std::size_t most = 500;
    kxcore::nearest_text nearest(given);
    for (std::size_t i = 0; i < std::min(most, texts.size()); ++i)
        nearest.consider(texts[i]);
    return nearest.good_guess().empty() ? std::string() : kxcore::shown_text(nearest.good_guess());
}

} // namespace kxclientutil
