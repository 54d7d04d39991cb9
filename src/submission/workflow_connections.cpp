#include "submission/workflow_connections.h"

#include "raising.h"
#include "submission/localization.h"

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/task_status.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>

namespace kxclientutil {

namespace {

using kxcore::properties;
using kxcore::property_cast;
using kxcore::property_list;
using kxcore::property_special;
using kxworkflow::workflow_builder;

/// Wires connections one by one, with what they have in common.
class connection_wiring {
public:
    connection_wiring(workflow_builder& builder, finalization_notes const& notes);

    void wire(wf_connection const& connection);

private:
    /// An input that asks for an output by its name.
    struct output_reference {
        std::string input;
        std::string output;
    };

    void wire_values(wf_connection const& connection);
    void wire_published_outputs(wf_connection const& connection);
    void make_wait(wf_connection const& connection);
    std::vector<output_reference> const& references_of(std::string const& wtid);

    workflow_builder& builder_;
    finalization_notes notes_;
    std::unordered_set<std::string> localized_;
    std::map<std::string, std::vector<output_reference>> references_;
};

/// How a task can end, as a connection says it.
struct end_state {
    std::string_view word;
    kxworkflow::task_status const& (*status)();
};

constexpr std::array<end_state, 3> end_states{{
    {"failure", kxworkflow::failure_end_states},
    {"success", kxworkflow::success_end_state},
    {"any", kxworkflow::any_end_state},
}};

std::unordered_set<std::string> localized_inputs(workflow_builder const& builder);
end_state const& end_state_of(std::string_view result);
property_special const* as_output_reference(kxcore::property_handle const& value);
[[noreturn]] void refuse_connection(std::size_t index, std::string_view reason);

} // namespace

std::vector<wf_connection> drawn_connections(workflow_builder const& builder) {
    std::vector<wf_connection> connections;
    auto const meta_data = builder.get_workflow_meta_data();
    auto const* const entries = property_cast<property_list>(meta_data->find("connections"));
    if (!entries) return connections;
    connections.reserve(entries->size());
    for (std::size_t index = 0; index < entries->size(); ++index) {
        auto const* const entry = property_cast<properties>((*entries)[index].get());
        if (!entry) refuse_connection(index, "a tree was expected");
        try {
            connections.emplace_back(*entry);
        } catch (kxbase::es::arg const& error) {
            refuse_connection(index, error.message());
        }
    }
    return connections;
}

void wire_drawn_connections(workflow_builder& builder, std::span<wf_connection const> connections,
                            finalization_notes const& notes) {
    notes.begin(e_finalization_step::connections);
    connection_wiring wiring(builder, notes);
    for (std::size_t index = 0; index < connections.size(); ++index) {
        try {
            wiring.wire(connections[index]);
        } catch (kxbase::es::arg const& error) {
            refuse_connection(index, error.message());
        }
    }
}

namespace {

connection_wiring::connection_wiring(workflow_builder& builder, finalization_notes const& notes)
    : builder_(builder), notes_(notes), localized_(localized_inputs(builder)) {}

void connection_wiring::wire(wf_connection const& connection) {
    if (connection.is_exact_connection()) {
        // What can't be connected is no error, not even a task that is not there: the input stays as it is.
        static_cast<void>(notes_.connect(builder_, connection.from_wtid, connection.from_node, connection.to_wtid,
                                         connection.to_node, "drawn so"));
        return;
    }
    if (connection.is_result_connection()) return make_wait(connection);
    std::size_t const told = notes_.get_count();
    wire_values(connection);
    wire_published_outputs(connection);
    if (notes_.get_count() == told)
        notes_.not_connected(
            connection.from_wtid, connection.to_wtid,
            "the two were joined, but it asks for none of the other's outputs and does not wait for it");
}

/// An input that a localizer feeds asks for the output of that localizer and of nobody else, though it looks like any
/// other that asks for "dest-url".
void connection_wiring::wire_values(wf_connection const& connection) {
    for (auto const& [input, output] : references_of(connection.to_wtid))
        if (!localized_.contains(kxworkflow::port_new_id(connection.to_wtid, input)))
            static_cast<void>(notes_.connect(builder_, connection.from_wtid, output, connection.to_wtid, input,
                                             "it asks for that output, and the two were joined"));
}

void connection_wiring::wire_published_outputs(wf_connection const& connection) {
    std::list<std::string> outputs;
    builder_.get_published_outputs(connection.from_wtid, outputs);
    for (std::string const& output : outputs) {
        auto const value = builder_.get_out_value(connection.from_wtid, output);
        auto const* const meant_for = as_output_reference(value);
        if (meant_for && builder_.is_publishable_in(connection.to_wtid, meant_for->value()))
            static_cast<void>(notes_.connect(builder_, connection.from_wtid, output, connection.to_wtid,
                                             meant_for->value(),
                                             "the output is meant for it, and the two were joined"));
    }
}

void connection_wiring::make_wait(wf_connection const& connection) {
    end_state const& end = end_state_of(connection.result);
    builder_.depend_task(connection.to_wtid, connection.from_wtid, end.status());
    notes_.runs_after(connection.to_wtid, connection.from_wtid, end.word);
}

/// Remembered, so that a task with a large configuration and many connections is looked through once.
std::vector<connection_wiring::output_reference> const& connection_wiring::references_of(std::string const& wtid) {
    auto const known = references_.find(wtid);
    if (known != references_.end()) return known->second;
    std::vector<output_reference> references;
    kxcore::visit_leaves(*builder_.get_task_configuration(wtid),
                         [&](std::string_view path, kxcore::property_handle const& value) {
                             if (auto const* const reference = as_output_reference(value))
                                 references.push_back({std::string(path), std::string(reference->value())});
                         });
    return references_.emplace(wtid, std::move(references)).first->second;
}

/// What the localizers feed that are there before anything that was drawn is wired.
std::unordered_set<std::string> localized_inputs(workflow_builder const& builder) {
    std::unordered_set<std::string> inputs;
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    for (auto const& [wtid, task] : tasks) {
        if (task->get_plid() != localizer_plid) continue;
        kxworkflow::task::node_list outputs;
        task->get_connected_out_nodes(outputs);
        for (auto const& output : outputs)
            inputs.insert(output->get_connection_ids().begin(), output->get_connection_ids().end());
    }
    return inputs;
}

/// Two words are known; any other text asks for the end alone, whatever came of the task.
end_state const& end_state_of(std::string_view result) {
    auto const* const known = std::ranges::find(end_states, result, &end_state::word);
    return known != end_states.end() ? *known : end_states.back();
}

property_special const* as_output_reference(kxcore::property_handle const& value) {
    auto const* const special = property_cast<property_special>(value.get());
    return special && special->sub_type() == property_special::e_sub_type::variable ? special : nullptr;
}

void refuse_connection(std::size_t index, std::string_view reason) {
    raise_from<kxbase::es::arg>(submission_source_path,
                                "workflow-meta{connections}[" + std::to_string(index) + "]: " + std::string(reason));
}

} // namespace

} // namespace kxclientutil
