// Turns what a person drew between the tasks of a workflow into their wiring.
#pragma once

#include "submission/finalization_notes.h"

#include <kxclientutil/wf_connection.h>

#include <span>
#include <vector>

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

/// The connections that the meta data of the workflow lists, in their order; none when there is no list. Raises es::arg
/// naming the place for an entry that does not name two tasks.
[[nodiscard]] std::vector<wf_connection> drawn_connections(kxworkflow::workflow_builder const& builder);

/// Connects outputs to inputs, and makes tasks wait for others, as the connections say. What can't be connected stays as
/// it is. Raises es::arg naming the place for a connection that says nothing of outputs and inputs, or one that makes a
/// task wait, when one of its tasks is not there, and for a task that would wait for itself.
void wire_drawn_connections(kxworkflow::workflow_builder& builder, std::span<wf_connection const> connections,
                            finalization_notes const& notes = {});

} // namespace kxclientutil
