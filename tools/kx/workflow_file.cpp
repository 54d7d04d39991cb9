#include "workflow_file.h"

#include "shown.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxcore/nearest_text.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <fmt/format.h>

namespace kx {
namespace {

std::string_view text_in(kxcore::properties const& tree, std::string_view key) {
    auto const* const found = kxcore::property_cast<kxcore::property_string>(tree.find(key));
    return found == nullptr ? std::string_view() : found->value();
}

std::string suggestion(std::vector<named_task> const& tasks, std::string_view given) {
    kxcore::nearest_text nearest(given);
    for (auto const& task : tasks) {
        nearest.consider(task.name);
        nearest.consider(task.wtid);
    }
    auto const guess = nearest.good_guess();
    return guess.empty() ? "" : fmt::format(" (did you mean {}?)", in_quotes(guess));
}

std::vector<named_task> tasks_of(kxcore::properties const& workflow) {
    std::vector<named_task> all;
    auto const list = workflow.get_list_value("tasks");
    for (std::size_t index = 0; index < list->size(); ++index) {
        auto const* const task = kxcore::property_cast<kxcore::properties>((*list)[index].get());
        if (task == nullptr) continue;
        all.push_back({index, std::string(text_in(*task, "id")), std::string(text_in(*task, "name")), *task});
    }
    return all;
}

} // namespace

document read_workflow(application& app, std::string const& file) {
    document read = read_document_to_edit(app, file);
    if (read.config_type != kxclientutil::config_workflow) {
        kxbase::es::arg::raise(fmt::format("{}, no workflow", in_words(read)));
    }
    return read;
}

void write_document(application& app, document const& written, std::string const& file) {
    auto const& installation = app.installation();
    kxclientutil::write_config_file(file, written.config_type, installation.get_plugins(),
                                    installation.get_constraints(), written.tree,
                                    format_of(written.format).value_or(kxcore::configuration::format_xml));
}

std::string named_task::shown() const {
    return in_quotes(name.empty() ? wtid : name);
}

named_task find_task(kxcore::properties const& workflow, std::string_view name_or_wtid) {
    auto const tasks = tasks_of(workflow);
    for (auto const& task : tasks)
        if (task.wtid == name_or_wtid) return task;
    std::vector<named_task> found;
    for (auto const& task : tasks)
        if (task.name == name_or_wtid) found.push_back(task);
    if (found.size() == 1) return found.front();
    if (found.empty()) {
        kxbase::es::arg::raise(fmt::format("no task {}{}", in_quotes(name_or_wtid), suggestion(tasks, name_or_wtid)));
    }
    std::string wtids;
    for (auto const& task : found)
        wtids += (wtids.empty() ? "" : ", ") + kx::shown(task.wtid);
    kxbase::es::arg::raise(
        fmt::format("{} tasks are named {}; say which by its wtid: {}", found.size(), in_quotes(name_or_wtid), wtids));
}

std::string in_quotes(std::string_view text) {
    return '"' + on_one_line(kxbase::url_protected_output(text)) + '"';
}

} // namespace kx
