// What is wrong with how the tasks of a workflow depend on each other: connections of tasks, inputs and outputs that do
// not exist, circles, and connections that have no effect.
#pragma once

#include "validation/judged_document.h"

namespace kxclientutil {

/// Judges the connections that the workflow declares, and the wiring that a finalized workflow records in its tasks.
void judge_connections(judged_document const& document, document_problems& out);

} // namespace kxclientutil
