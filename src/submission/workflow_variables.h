// Resolves the workflow variables that stand as whole values in the configurations of tasks.
#pragma once

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

/// Gives every input whose value is a workflow variable the value, or the context of the job, that the variable stands
/// for. What can't be resolved is reported and stays as it is.
void resolve_workflow_variables(kxworkflow::workflow_builder& builder);

} // namespace kxclientutil
