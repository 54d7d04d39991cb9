#include "submission/finalization_notes.h"

#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/tree_difference.h>
#include <kxworkflow/workflow_builder.h>

namespace kxclientutil {

namespace {

using kxcore::property_handle;
using kxworkflow::workflow_builder;

property_handle value_at(workflow_builder const& builder, std::string_view wtid, std::string_view path);
std::string_view obstacle(workflow_builder const& builder, std::string_view from, std::string_view output,
                          std::string_view to, std::string_view input);
bool has_output(workflow_builder const& builder, std::string_view wtid, std::string_view output);
account_task described(kxworkflow::task const& task);

} // namespace

void finalization_notes::begin(e_finalization_step step) const {
    if (account_) account_->last_step = step;
}

void finalization_notes::complete() const {
    if (account_) account_->is_complete = true;
}

void finalization_notes::opened(workflow_builder const& builder) const {
    if (!account_) return;
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    for (auto const& [wtid, task] : tasks)
        account_->tasks[wtid] = described(*task);
}

void finalization_notes::set(std::string_view task, std::string_view path, property_handle const& before,
                             property_handle const& after, std::string_view why) const {
    if (!account_) return;
    finalization_event& event = add(e_finalization_change::value_set, task, path, why);
    event.before = before;
    event.after = after;
}

void finalization_notes::asked(std::string_view path, property_handle const& before, property_handle const& after,
                               std::string_view why) const {
    if (before && after && *before == *after) return kept({}, path, before, why);
    set({}, path, before, after, why);
}

void finalization_notes::kept(std::string_view task, std::string_view path, property_handle const& value,
                              std::string_view why) const {
    if (account_) add(e_finalization_change::value_kept, task, path, why).before = value;
}

void finalization_notes::unused(std::string_view path, property_handle const& value, std::string_view why) const {
    if (account_) add(e_finalization_change::value_unused, {}, path, why).after = value;
}

void finalization_notes::configured(std::string_view task, kxcore::properties const& before,
                                    kxcore::properties const& after, std::string_view why) const {
    if (!account_) return;
    kxcore::visit_differences(before, after,
                              [&](std::string_view path, property_handle const& old_value,
                                  property_handle const& new_value) { set(task, path, old_value, new_value, why); });
}

void finalization_notes::added(workflow_builder const& builder, std::string_view task, std::string_view why,
                               property_handle const& what) const {
    if (!account_) return;
    account_->tasks[std::string(task)] = described(*builder.get_task(task));
    add(e_finalization_change::task_added, task, {}, why).after = what;
}

bool finalization_notes::connect(workflow_builder& builder, std::string_view from, std::string_view output,
                                 std::string_view to, std::string_view input, std::string_view why) const {
    bool const is_connected = builder.connect(from, output, to, input);
    if (!account_) return is_connected;
    finalization_event& event =
        is_connected ? add(e_finalization_change::connected, to, input, why)
                     : add(e_finalization_change::not_connected, to, input, obstacle(builder, from, output, to, input));
    event.before = value_at(builder, to, input);
    event.others.emplace_back(from);
    event.output = output;
    return is_connected;
}

void finalization_notes::not_connected(std::string_view from, std::string_view to, std::string_view why) const {
    if (account_) add(e_finalization_change::not_connected, to, {}, why).others.emplace_back(from);
}

void finalization_notes::runs_after(std::string_view task, std::string_view other, std::string_view when) const {
    if (!account_) return;
    auto& events = account_->events;
    if (events.empty() || events.back().change != e_finalization_change::runs_after || events.back().task != task ||
        events.back().when != when || events.back().step != account_->last_step)
        add(e_finalization_change::runs_after, task, {}, {}).when = when;
    events.back().others.emplace_back(other);
}

void finalization_notes::runs_after_any(std::string_view task, std::set<std::string> const& others,
                                        std::string_view when) const {
    if (!account_) return;
    finalization_event& event = add(e_finalization_change::runs_after_any, task, {}, {});
    event.others.assign(others.begin(), others.end());
    event.when = when;
}

void finalization_notes::stops(std::string_view task, std::set<std::string> const& others,
                               std::string_view when) const {
    if (!account_) return;
    std::vector<std::string> stopped(others.begin(), others.end());
    std::erase(stopped, task);
    if (stopped.empty()) return;
    finalization_event& event = add(e_finalization_change::stops, task, {}, {});
    event.others = std::move(stopped);
    event.when = when;
}

void finalization_notes::published(std::string_view task, std::string_view output, property_handle const& value,
                                   std::string_view why) const {
    if (!account_) return;
    finalization_event& event = add(e_finalization_change::published, task, {}, why);
    event.output = output;
    event.after = value;
}

void finalization_notes::source_feeds(std::string_view task, std::string_view input, std::string_view why) const {
    if (account_) add(e_finalization_change::source_feeds, task, input, why);
}

void finalization_notes::each_task(workflow_builder const& builder, std::string_view why) const {
    if (!account_) return;
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    if (tasks.empty()) return;
    finalization_event& event = add(e_finalization_change::each_task, {}, {}, why);
    for (auto const& [wtid, task] : tasks)
        event.others.push_back(wtid);
}

void finalization_notes::one_task(std::string_view task, std::string_view why) const {
    if (account_) add(e_finalization_change::each_task, {}, {}, why).others.emplace_back(task);
}

void finalization_notes::resource(std::string_view uri) const {
    if (account_)
        add(e_finalization_change::resource, {}, {}, {}).after = kxbase::make_refcount<kxcore::property_string>(uri);
}

finalization_event& finalization_notes::add(e_finalization_change change, std::string_view task, std::string_view path,
                                            std::string_view why) const {
    finalization_event& event = account_->events.emplace_back();
    event.step = account_->last_step;
    event.change = change;
    event.task = task;
    event.path = path;
    event.why = why;
    return event;
}

namespace {

property_handle value_at(workflow_builder const& builder, std::string_view wtid, std::string_view path) {
    if (!builder.has_task(wtid)) return {};
    return builder.get_task_configuration(wtid)->get_referenced_property(path);
}

/// The builder only says that it is not possible; these are its reasons, in its order.
std::string_view obstacle(workflow_builder const& builder, std::string_view from, std::string_view output,
                          std::string_view to, std::string_view input) {
    if (!builder.has_task(from)) return "there is no task to give it";
    if (!builder.has_task(to)) return "there is no task to take it";
    if (from == to) return "no task feeds itself";
    if (!has_output(builder, from, output)) return "the other has no such output";
    if (!builder.is_possible_input(to, input)) return "it has no such input";
    return "the tasks would wait for each other in a circle";
}

bool has_output(workflow_builder const& builder, std::string_view wtid, std::string_view output) {
    return builder.get_task(wtid)->get_info()->find_output(output) != nullptr || builder.get_out_value(wtid, output);
}

account_task described(kxworkflow::task const& task) {
    return {task.get_name(), task.get_type()};
}

} // namespace

} // namespace kxclientutil
