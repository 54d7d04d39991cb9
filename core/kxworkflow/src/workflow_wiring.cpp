// The operations of workflow_builder on inputs and outputs, and on what connects tasks.
#include "document_keys.h"
#include "inputs.h"
#include "members.h"
#include "workflow_content.h"

#include <kxcore/constraint.h>
#include <kxcore/property_values.h>
#include <kxworkflow/ports.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace kxworkflow {

namespace {

kxcore::property_handle published_by_task(task_record const& task, std::string_view output);
std::string put_value(kxcore::properties& configuration, std::string_view input, kxcore::property_handle value);
std::string describe_input(task_record const& task, std::string_view input);
void require_status(task_record const& task, kxbase::ptr_refcount<kxcore::constraint const> const& status);

} // namespace

bool workflow_builder::is_possible_input(std::string_view wtid, std::string_view input) const {
    task_record const& task = content_->require(wtid);
    return kxworkflow::is_possible_input(*task.info, *task.configuration, input);
}

void workflow_builder::set_in_value(std::string_view wtid, std::string_view input, kxcore::property_handle value) {
    task_record& task = content_->require(wtid);
    if (!kxworkflow::is_possible_input(*task.info, *task.configuration, input))
        kxbase::es::arg::raise(describe_input(task, input) + " is none of its inputs");
    if (!value) kxbase::es::arg::raise(describe_input(task, input) + " gets no value");
    auto configuration = kxbase::make_refcount<kxcore::properties>(*task.configuration);
    std::string const obstacle = put_value(*configuration, input, std::move(value));
    if (!obstacle.empty()) kxbase::es::arg::raise(describe_input(task, input) + " cannot be set: " + obstacle);
    content_->configure(task, std::move(configuration));
}

bool workflow_builder::can_set_in_value(std::string_view wtid, std::string_view input) const {
    task_record const& task = content_->require(wtid);
    if (!kxworkflow::is_possible_input(*task.info, *task.configuration, input)) return false;
    kxcore::properties attempt = *task.configuration;
    return put_value(attempt, input, kxbase::make_refcount<kxcore::property_bool>(true)).empty();
}

void workflow_builder::publish_out(std::string_view wtid, std::string_view output, kxcore::property_handle value) {
    task_record& task = content_->require(wtid);
    require_key(output, "output", task);
    if (!value)
        kxbase::es::arg::raise(place_of(task) + ": nothing to publish at the output '" + std::string(output) + "'");
    set_in_subtree(task.document, keys::published_outputs, output, std::move(value), task);
    task.touch();
}

void workflow_builder::get_published_outputs(std::string_view wtid, std::list<std::string>& outputs) const {
    task_record const& task = content_->require(wtid);
    std::set<std::string, std::less<>> names;
    for (kxcore::plugin_published_value const& each : task.info->get_published())
        names.insert(each.name);
    kxcore::properties const published = copy_subtree(task.document, keys::published_outputs, task);
    for (kxcore::property_member const& each : published)
        names.emplace(each.key());
    outputs.insert(outputs.end(), names.begin(), names.end());
}

kxcore::property_handle workflow_builder::get_out_value(std::string_view wtid, std::string_view output) const {
    task_record const& task = content_->require(wtid);
    kxcore::property_handle value = published_by_task(task, output);
    return value ? value : published_by_plugin(*task.info, output);
}

bool workflow_builder::is_publishable_in(std::string_view wtid, std::string_view input) const {
    task_record const& task = content_->require(wtid);
    kxcore::plugin_port const* const declared = task.info->find_input(input);
    return declared != nullptr && declared->publishable && leaves_room(task.configuration->find(input));
}

bool workflow_builder::connect(std::string_view from_wtid, std::string_view output, std::string_view to_wtid,
                               std::string_view input) {
    task_record* const from = content_->find(from_wtid);
    task_record* const to = content_->find(to_wtid);
    if (from == nullptr || to == nullptr || from == to) return false;
    if (!is_output(*from->info, from->document, output) ||
        !kxworkflow::is_possible_input(*to->info, *to->configuration, input))
        return false;
    return content_->connect(*from, output, *to, input, {});
}

void workflow_builder::depend_task(std::string_view to_wtid, std::string_view from_wtid,
                                   kxbase::ptr_refcount<kxcore::constraint const> const& status) {
    depend_any_task(to_wtid, {std::string(from_wtid)}, status);
}

void workflow_builder::depend_any_task(std::string_view to_wtid, std::set<std::string> const& from_wtids,
                                       kxbase::ptr_refcount<kxcore::constraint const> const& status) {
    task_record& waiting = content_->require(to_wtid);
    require_status(waiting, status);
    std::vector<task_record*> others;
    others.reserve(from_wtids.size());
    for (std::string const& wtid : from_wtids)
        others.push_back(&content_->require(wtid));
    if (!content_->make_wait(waiting, others))
        kxbase::es::arg::raise(place_of(waiting) + ": a run dependency would make it wait for itself");
    waiting.run_dependencies.add(std::move(others), status);
}

void workflow_builder::add_kill_triggers(std::string_view wtid, std::set<std::string> const& others,
                                         kxbase::ptr_refcount<kxcore::constraint const> const& status) {
    task_record& task = content_->require(wtid);
    require_status(task, status);
    std::vector<task_record*> stopped;
    stopped.reserve(others.size());
    for (std::string const& other : others)
        stopped.push_back(&content_->require(other));
    std::erase(stopped, &task);
    if (stopped.empty()) return;
    for (task_record* const each : stopped)
        each->named_by.push_back(task.sequence);
    task.kill_triggers.add(std::move(stopped), status);
    task.rewired = true;
    task.touch();
}

namespace {

kxcore::property_handle published_by_task(task_record const& task, std::string_view output) {
    auto const* const published =
        kxcore::property_cast<kxcore::properties>(task.document.find(keys::published_outputs));
    return published != nullptr ? published->get_property(output) : kxcore::property_handle();
}

/// Why there is no place for the value; empty when it was put there.
std::string put_value(kxcore::properties& configuration, std::string_view input, kxcore::property_handle value) {
    try {
        configuration.set_create_referenced_property(input, std::move(value));
        return {};
    } catch (kxbase::es::arg const& error) {
        return error.message();
    }
}

std::string describe_input(task_record const& task, std::string_view input) {
    return place_of(task) + ": the input '" + std::string(input) + "'";
}

void require_status(task_record const& task, kxbase::ptr_refcount<kxcore::constraint const> const& status) {
    if (!status) kxbase::es::arg::raise(place_of(task) + ": no constraint on the status that it is about");
}

} // namespace

} // namespace kxworkflow
