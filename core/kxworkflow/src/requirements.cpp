#include "requirements.h"

#include "document_keys.h"
#include "members.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_property.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace kxworkflow {

namespace {

using constraint_handle = kxbase::ptr_refcount<kxcore::constraint const>;
using database_handle = kxbase::ptr_refcount<kxcore::constraint_db const>;

/// One requirement that is derived.
using demand = kxcore::constraint_db::member;

/// Derives requirements, and lets tasks of one plugin that ask for nothing of their own share one database.
class deriver {
public:
    explicit deriver(workflow_content const& content);

    /// Whether the task's requirements hold derived ones already.
    [[nodiscard]] static bool has_derived(task_record const& task, database_handle const& own);

    /// The task's requirements brought up to date; the same object when they are.
    [[nodiscard]] database_handle derive(task_record const& task, database_handle const& own);

private:
    [[nodiscard]] std::vector<demand> const& demands_of(task_record const& task);
    [[nodiscard]] bool is_capability(std::string_view name) const;
    [[nodiscard]] bool is_withdrawn(kxcore::constraint_db::member const& member) const;

    workflow_content const& content_;
    std::vector<demand> capabilities_;
    std::map<std::string, std::vector<demand>, std::less<>> by_plugin_;
    std::map<std::string, database_handle, std::less<>> shared_;
};

database_handle own_requirements(task_record const& task);
kxbase::ptr_refcount<kxcore::constraint_db> copy_of(database_handle const& own);
demand plugin_demand(std::string const& plid);
bool is_met(kxcore::constraint_db const& own, demand const& each);
void meet(kxcore::constraint_db& own, demand const& each);
kxcore::constraint_db const* as_database(constraint_handle const& constraint);
constraint_handle must_equal(kxcore::property_handle const& value);
bool same_constraint(constraint_handle const& a, constraint_handle const& b);

} // namespace

void derive_requirements(workflow_content& content, bool refresh_present, bool add_missing) {
    std::vector<std::pair<task_record*, database_handle>> outdated;
    for (auto& [wtid, task] : content.tasks) {
        if (task.derived_for == content.capabilities_version) continue;
        database_handle own = own_requirements(task);
        if (deriver::has_derived(task, own) ? refresh_present : add_missing)
            outdated.emplace_back(&task, std::move(own));
    }
    deriver derivation(content);
    kxbase::ptr_refcount<kxcore::property_constraint const> requirements;
    for (auto const& [task, own] : outdated) {
        task->derived_for = content.capabilities_version;
        database_handle const derived = derivation.derive(*task, own);
        if (derived == own) continue;
        // Tasks that come one after the other share more often than not.
        if (!requirements || requirements->value() != derived)
            requirements = kxbase::make_refcount<kxcore::property_constraint>(derived);
        task->document.set_property(keys::requirements, requirements);
        task->touch();
    }
}

void add_requirement(task_record& task, std::string_view name,
                     kxbase::ptr_refcount<kxcore::constraint const> requirement) {
    database_handle const own = own_requirements(task);
    auto const changed = copy_of(own);
    changed->add_constraint(name, std::move(requirement), true);
    task.document.set_property(keys::requirements, kxbase::make_refcount<kxcore::property_constraint>(changed));
    task.derived_for = 0;
    task.touch();
}

namespace {

database_handle own_requirements(task_record const& task) {
    auto const* const found = find_member<kxcore::property_constraint>(task.document, keys::requirements, task);
    if (found == nullptr) return {};
    if (found->value()->kind() != kxcore::constraint_kind::database)
        kxbase::es::arg::raise(place_of(task) + ": \"requirements\" is not a constraint db");
    return kxbase::static_refcount_cast<kxcore::constraint_db const>(found->value());
}

deriver::deriver(workflow_content const& content) : content_(content) {
    kxcore::properties const capabilities = copy_subtree(content.document, keys::capabilities, "workflow");
    for (kxcore::property_member const& each : capabilities)
        capabilities_.push_back({std::string(each.key()), must_equal(each.value()), true});
}

bool deriver::has_derived(task_record const& task, database_handle const& own) {
    return own && is_met(*own, plugin_demand(task.plid));
}

database_handle deriver::derive(task_record const& task, database_handle const& own) {
    if (!own)
        if (auto const found = shared_.find(task.plid); found != shared_.end()) return found->second;

    auto const derived = copy_of(own);
    bool changed = !own;
    if (own)
        for (kxcore::constraint_db::member const& member : own->members())
            if (is_withdrawn(member)) {
                derived->remove_constraint(member.name);
                changed = true;
            }
    for (std::vector<demand> const* const demands : {&demands_of(task), &std::as_const(capabilities_)})
        for (demand const& each : *demands)
            if (!is_met(*derived, each)) {
                meet(*derived, each);
                changed = true;
            }
    if (!own) shared_.emplace(task.plid, derived);
    return changed ? database_handle(derived) : own;
}

std::vector<demand> const& deriver::demands_of(task_record const& task) {
    auto const [found, added] = by_plugin_.try_emplace(task.plid);
    std::vector<demand>& demands = found->second;
    if (!added) return demands;
    demands.push_back(plugin_demand(task.plid));
    kxcore::property_handle const attribute = task.info->get(keys::requirements);
    auto const* const declared = kxcore::property_cast<kxcore::property_constraint>(attribute.get());
    if (declared == nullptr) return demands;
    if (kxcore::constraint_db const* const database = as_database(declared->value()))
        for (demand const& each : database->members())
            if (!is_capability(each.name)) demands.push_back(each); // the workflow has the last word
    return demands;
}

bool deriver::is_capability(std::string_view name) const {
    return std::ranges::any_of(capabilities_, [name](demand const& each) { return each.name == name; });
}

/// Whether a task demands what a capability had as its value before, and has no more.
bool deriver::is_withdrawn(kxcore::constraint_db::member const& member) const {
    auto const lost = content_.withdrawn.find(member.name);
    return lost != content_.withdrawn.end() && member.value &&
           member.value->kind() == kxcore::constraint_kind::property &&
           lost->second.contains(static_cast<kxcore::constraint_property const&>(*member.value).value());
}

/// A copy to be changed; without members when there is nothing to copy.
kxbase::ptr_refcount<kxcore::constraint_db> copy_of(database_handle const& own) {
    kxcore::constraint_db const nothing(false);
    return kxbase::make_refcount<kxcore::constraint_db>(own ? *own : nothing);
}

demand plugin_demand(std::string const& plid) {
    auto plugins = kxbase::make_refcount<kxcore::constraint_db>(false);
    plugins->add_constraint(plid, must_equal(kxbase::make_refcount<kxcore::property_bool>(true)), true);
    return {std::string(keys::plugins), std::move(plugins), true};
}

/// Whether the requirements hold what is demanded. Of a demand for a database they hold it when theirs has its members;
/// what else there is in it is the user's.
bool is_met(kxcore::constraint_db const& own, demand const& each) {
    auto const* const member = own.find(each.name);
    if (member == nullptr || (each.required && !member->required)) return false;
    kxcore::constraint_db const* const wanted = as_database(each.value);
    kxcore::constraint_db const* const present = as_database(member->value);
    if (wanted == nullptr || present == nullptr) return same_constraint(member->value, each.value);
    return std::ranges::all_of(wanted->members(), [present](demand const& part) { return is_met(*present, part); });
}

void meet(kxcore::constraint_db& own, demand const& each) {
    auto const* const member = own.find(each.name);
    kxcore::constraint_db const* const wanted = as_database(each.value);
    kxcore::constraint_db const* const present = member != nullptr ? as_database(member->value) : nullptr;
    if (wanted == nullptr || present == nullptr) {
        own.add_constraint(each.name, each.value, each.required);
        return;
    }
    auto merged = kxbase::make_refcount<kxcore::constraint_db>(*present);
    bool const required = each.required || member->required;
    for (demand const& part : wanted->members())
        meet(*merged, part);
    own.add_constraint(each.name, std::move(merged), required);
}

kxcore::constraint_db const* as_database(constraint_handle const& constraint) {
    return constraint && constraint->kind() == kxcore::constraint_kind::database
               ? static_cast<kxcore::constraint_db const*>(constraint.get())
               : nullptr;
}

constraint_handle must_equal(kxcore::property_handle const& value) {
    return kxbase::make_refcount<kxcore::constraint_property>(value);
}

/// Whether both accept the same in the same words. Unlike operator==, two enumerations made from one text are the same.
bool same_constraint(constraint_handle const& a, constraint_handle const& b) {
    if (a == b) return true;
    return a && b && a->kind() == b->kind() && kxcore::constraint_text(*a) == kxcore::constraint_text(*b);
}

} // namespace

} // namespace kxworkflow
