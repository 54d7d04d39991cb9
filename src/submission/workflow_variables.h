// Resolves the workflow variables that stand as whole values in the configurations of tasks.
#pragma once

#include "submission/finalization_notes.h"

#include <kxclientutil/wf_connection.h>

#include <span>

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

/// Gives every input whose value is a workflow variable what the variable stands for: a value, a context of the job, or a
/// connection with a task that was drawn before or after it. What can't be resolved is reported and stays as it is.
///
/// @param drawn  the drawn connections of the workflow, which say what comes before and after a task.
void resolve_workflow_variables(kxworkflow::workflow_builder& builder, std::span<wf_connection const> drawn,
                                finalization_notes const& notes = {});

} // namespace kxclientutil
