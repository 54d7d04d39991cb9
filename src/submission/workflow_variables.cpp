#include "submission/workflow_variables.h"

#include "raising.h"
#include "submission/task_chain.h"
#include "submission/workflow_variable_values.h"

#include <kxbase/limits.h>
#include <kxcore/encodable.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/task_editor.h>
#include <kxworkflow/workflow_builder.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_kind;
using kxworkflow::task_editor;
using kxworkflow::workflow_builder;

/// An output that is to feed an input.
struct wire {
    std::string from_wtid;
    std::string output;
    std::string to_wtid;
    std::string input;
};

/// What the n-th string of a member became.
struct counted_variable {
    std::size_t string_number;
    variable_value value;
};

class variable_resolution {
public:
    variable_resolution(workflow_builder const& builder, task_chain& chain, finalization_notes const& notes)
        : builder_(builder), chain_(chain), notes_(notes) {}

    /// Replaces the variables in a task's configuration by values, and notes what is to be connected.
    void resolve(task_editor& task);

    std::vector<wire> wires;

private:
    bool resolve_member(properties& member, variable_place const& place);
    void count_in(property_handle const& value, workflow_variable const& variable, variable_place const& place);
    void place_variables(properties const& member, std::vector<counted_variable> found, std::string const& wtid);
    void place_variable(counted_variable found, std::string const& wtid, std::string_view path,
                        property_handle const& before);

    workflow_builder const& builder_;
    task_chain& chain_;
    finalization_notes notes_;
    std::optional<kxcore::encoding_budget> taken_over_;
};

} // namespace

void resolve_workflow_variables(workflow_builder& builder, std::span<wf_connection const> drawn,
                                finalization_notes const& notes) {
    notes.begin(e_finalization_step::variables);
    task_chain chain(drawn);
    variable_resolution resolution(builder, chain, notes);
    builder.for_each_task([&](task_editor& task) { resolution.resolve(task); });
    // The input keeps the text of its variable, and so it does when it can't be connected, which is no error.
    for (wire const& each : resolution.wires)
        static_cast<void>(notes.connect(builder, each.from_wtid, each.output, each.to_wtid, each.input,
                                        "the variable names what that task gives"));
}

namespace {

/// Leaves are replaced where they stand and never set by their paths: no leaf is too deep or too odd. Member by member,
/// since a task may refer to a member of its own configuration that was resolved before.
void variable_resolution::resolve(task_editor& task) {
    properties const stored = *task.get_configuration();
    properties resolved = stored;
    bool changed = false;
    variable_place const place{builder_, chain_, task.get_wtid(), resolved};
    for (kxcore::property_member const& each : stored) {
        properties member(each.key(), each.value());
        if (!resolve_member(member, place)) continue;
        resolved.set_property(each.key(), member.get_property(each.key()));
        changed = true;
    }
    if (changed) task.configure(kxbase::make_refcount<properties>(std::move(resolved)));
}

bool variable_resolution::resolve_member(properties& member, variable_place const& place) {
    std::size_t string_count = 0;
    std::vector<counted_variable> found;
    properties const stored = member;
    bool const changed =
        kxcore::replace_values(member, property_kind::string, [&](property_handle const& leaf) -> property_handle {
            std::size_t const number = string_count++;
            auto const variable = read_workflow_variable(static_cast<kxcore::property_string const&>(*leaf).value());
            if (!variable) return {};
            variable_value value = resolve_workflow_variable(*variable, place);
            property_handle const resolved = value.value;
            count_in(resolved, *variable, place);
            if (!value.from_wtid.empty() || notes_.is_listening()) found.push_back({number, std::move(value)});
            return resolved;
        }) != 0;
    if (!found.empty()) place_variables(stored, std::move(found), place.wtid);
    return changed;
}

/// Settings that are taken over whole may hold others that were: what doubles with each step is stopped on the way, before
/// anybody looks through it. The job will hold each of them, so together they can't be larger than it may be.
void variable_resolution::count_in(property_handle const& value, workflow_variable const& variable,
                                   variable_place const& place) {
    if (!value || (value->kind() != property_kind::properties && value->kind() != property_kind::list)) return;
    if (!taken_over_) taken_over_.emplace(kxbase::current_limits().document);
    try {
        taken_over_->spend(*value);
    } catch (kxbase::es::arg const& error) {
        raise_from<kxbase::es::arg>(submission_source_path,
                                    "'" + variable.text + "' in " + place.wtid + ": " + error.message());
    }
}

/// Connections and notes name inputs by their paths, which cost time to make and are made for members that need them.
void variable_resolution::place_variables(properties const& member, std::vector<counted_variable> found,
                                          std::string const& wtid) {
    std::size_t string_count = 0;
    auto next = found.begin();
    kxcore::visit_leaves(member, [&](std::string_view path, property_handle const& leaf) {
        if (leaf->kind() != property_kind::string || next == found.end()) return;
        if (string_count++ != next->string_number) return;
        place_variable(std::move(*next), wtid, path, leaf);
        ++next;
    });
}

void variable_resolution::place_variable(counted_variable found, std::string const& wtid, std::string_view path,
                                         property_handle const& before) {
    variable_value& made = found.value;
    if (!made.from_wtid.empty()) {
        wires.push_back({std::move(made.from_wtid), std::move(made.output), wtid, std::string(path)});
    } else if (made.value) {
        notes_.set(wtid, path, before, made.value, {});
    } else {
        notes_.kept(wtid, path, before, made.problem);
    }
}

} // namespace

} // namespace kxclientutil
