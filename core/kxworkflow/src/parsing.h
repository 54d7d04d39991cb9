#pragma once

/// @file
/// From a workflow document, or a task's, to what a workflow_builder works on.

#include "members.h"
#include "workflow_content.h"

#include <string_view>

namespace kxworkflow {

/// Takes a whole workflow apart.
///
/// @param content has the plugins, and nothing else yet
/// @throws es::arg as workflow_builder's constructor says; the content is then of no use
void parse_workflow(kxcore::properties const& workflow, workflow_content& content);

/// Takes a task document apart and adds it to the tasks, with a fresh wtid.
///
/// @throws es::arg as parse_workflow, with nothing changed
task_record& parse_new_task(properties_handle const& document, workflow_content& content);

} // namespace kxworkflow
