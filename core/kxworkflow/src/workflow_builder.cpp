#include <kxworkflow/workflow_builder.h>

#include "document_keys.h"
#include "exporting.h"
#include "members.h"
#include "parsing.h"
#include "requirements.h"
#include "workflow_content.h"

#include <kxcore/constraint_db.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/task_editor.h>

#include <utility>

namespace kxworkflow {

namespace {

constexpr std::string_view workflow_place = "workflow";
/// What the installation's constraint database calls the documents of tasks.
constexpr std::string_view task_constraint_name = "node.user-task";

void require_valid_task(kxcore::constraint const& constraint, kxcore::properties const& document);

} // namespace

workflow_builder::workflow_builder(kxcore::properties const& workflow, kxcore::plugin_db const& plugins,
                                   kxcore::constraint_db const& constraints)
    : content_(std::make_unique<workflow_content>()) {
    content_->plugins = plugins;
    content_->task_constraint = constraints.get_constraint(task_constraint_name);
    parse_workflow(workflow, *content_);
}

workflow_builder::~workflow_builder() = default;
workflow_builder::workflow_builder(workflow_builder&&) noexcept = default;
workflow_builder& workflow_builder::operator=(workflow_builder&&) noexcept = default;

std::string workflow_builder::get_workflow_name() const {
    return content_->document.get_string_value(keys::name, {});
}

void workflow_builder::set_workflow_capability(std::string_view name, kxcore::property_handle const& value) {
    require_key(name, "capability", workflow_place);
    kxcore::property_handle const before =
        copy_subtree(content_->document, keys::capabilities, workflow_place).get_property(name);
    set_in_subtree(content_->document, keys::capabilities, name, value, workflow_place);
    std::string const key(name);
    if (value)
        content_->withdrawn.erase(key);
    else if (before)
        content_->withdrawn[key].insert(before);
    ++content_->capabilities_version;
}

void workflow_builder::set_workflow_configuration(std::string_view name, kxcore::property_handle value) {
    require_key(name, "setting", workflow_place);
    set_in_subtree(content_->document, keys::configuration, name, std::move(value), workflow_place);
}

kxbase::ptr_refcount<kxcore::properties const> workflow_builder::get_workflow_meta_data() const {
    content_->forget_removed();
    return kxbase::make_refcount<kxcore::properties>(
        copy_subtree(content_->document, keys::workflow_meta, workflow_place));
}

void workflow_builder::add_workflow_meta_data(std::string_view key, kxcore::property_handle value) {
    require_key(key, "meta data key", workflow_place);
    content_->forget_removed();
    set_in_subtree(content_->document, keys::workflow_meta, key, std::move(value), workflow_place);
}

void workflow_builder::set_workflow_type(std::int64_t type) {
    content_->document.set_property(keys::type, kxbase::make_refcount<kxcore::property_int>(type));
}

std::int64_t workflow_builder::get_workflow_type() const {
    return content_->document.get_int_value(keys::type, 0);
}

std::size_t workflow_builder::get_task_count() const noexcept {
    return content_->tasks.size();
}

bool workflow_builder::has_task(std::string_view wtid) const noexcept {
    return content_->find(wtid) != nullptr;
}

void workflow_builder::get_tasks(std::map<std::string, task_proxy>& tasks) const {
    tasks.clear();
    for (auto const& [wtid, task] : content_->tasks)
        tasks.emplace_hint(tasks.end(), wtid, make_view(task));
}

void workflow_builder::for_each_task(std::function<void(task_editor&)> const& edit) {
    for (auto& [wtid, task] : content_->tasks) {
        task_editor editor(*content_, task);
        edit(editor);
    }
}

task_proxy workflow_builder::get_task(std::string_view wtid) const {
    return task_proxy(make_view(content_->require(wtid)));
}

kxbase::ptr_refcount<workflow_info const> workflow_builder::get_workflow_info() const {
    workflow_info::task_list tasks;
    tasks.reserve(content_->by_sequence.size());
    for (auto const& [sequence, task] : content_->by_sequence)
        tasks.push_back(make_view(*task));
    return kxbase::make_refcount<workflow_info>(get_workflow_name(), std::move(tasks));
}

std::string workflow_builder::add_task(properties_handle const& document) {
    if (document && content_->task_constraint) require_valid_task(*content_->task_constraint, *document);
    return parse_new_task(document, *content_).wtid;
}

std::string workflow_builder::add_task(std::string_view plid, properties_handle configuration, unsigned int flags,
                                       std::string_view name, std::string_view label) {
    task_record task;
    task.plid = plid;
    task.info = content_->plugins.describe_plugin(plid);
    if (!task.info) kxbase::es::arg::raise("workflow, task to be added: unknown plugin '" + task.plid + "'");
    if (name.find('>') != std::string_view::npos)
        kxbase::es::arg::raise("workflow, task to be added: its name '" + std::string(name) +
                               "' holds '>', which separates a task from its input");
    task.wtid = wtid_create(plid, name);
    if (name.empty() || content_->find(task.wtid) != nullptr) task.wtid = wtid_new(plid);
    task.name = label.empty() ? std::string_view("Untitled") : label;
    task.configuration = configuration ? std::move(configuration) : kxbase::make_refcount<kxcore::properties>(false);

    using kxbase::make_refcount;
    task.document.set_property(keys::id, make_refcount<kxcore::property_string>(task.wtid));
    task.document.set_property(keys::plugin_id, make_refcount<kxcore::property_string>(plid));
    task.document.set_property(keys::name, make_refcount<kxcore::property_string>(task.name));
    task.document.set_property(keys::configuration, task.configuration);
    if (flags != 0) task.document.set_property(keys::flags, make_refcount<kxcore::property_int>(flags));
    return content_->insert(std::move(task)).wtid;
}

void workflow_builder::remove_task(std::string_view wtid) {
    content_->remove(content_->require(wtid));
}

properties_handle workflow_builder::get_task_configuration(std::string_view wtid) const {
    return content_->require(wtid).configuration;
}

void workflow_builder::configure_task(std::string_view wtid, kxcore::properties const& configuration) {
    content_->configure(content_->require(wtid), kxbase::make_refcount<kxcore::properties>(configuration));
}

void workflow_builder::add_task_ext_meta(std::string_view wtid, std::string_view key, kxcore::property_handle value) {
    task_editor(*content_, content_->require(wtid)).add_ext_meta(key, std::move(value));
}

std::size_t workflow_builder::find_task_with_configuration_value(std::string_view plid, std::string_view key,
                                                                 kxcore::property const& value,
                                                                 std::list<std::string>& wtids) const {
    return content_->index.find(content_->tasks, plid, key, value, wtids);
}

void workflow_builder::update_task_requirements(bool refresh_present, bool add_missing) {
    derive_requirements(*content_, refresh_present, add_missing);
}

void workflow_builder::add_task_requirement(std::string_view wtid, std::string_view name,
                                            kxbase::ptr_refcount<kxcore::constraint const> requirement) {
    task_record& task = content_->require(wtid);
    if (name.empty()) kxbase::es::arg::raise(place_of(task) + ": a requirement without a name");
    if (!requirement)
        kxbase::es::arg::raise(place_of(task) + ": the requirement '" + std::string(name) + "' has no constraint");
    add_requirement(task, name, std::move(requirement));
}

void workflow_builder::export_workflow(kxcore::properties& workflow) const {
    workflow = make_workflow_document(*content_);
}

bool workflow_builder::operator==(workflow_builder const& other) const {
    return make_workflow_document(*content_) == make_workflow_document(*other.content_);
}

namespace {

void require_valid_task(kxcore::constraint const& constraint, kxcore::properties const& document) {
    constexpr unsigned int flags = kxcore::validity::all;
    if (constraint.is_valid(&document, flags)) return;
    std::string reason;
    if (constraint.kind() == kxcore::constraint_kind::database)
        static_cast<kxcore::constraint_db const&>(constraint).get_invalid_reason(document, reason, flags);
    else
        constraint.invalid_reason(&document, reason, flags);
    kxbase::es::arg::raise("workflow, task to be added: " + reason);
}

} // namespace

} // namespace kxworkflow
