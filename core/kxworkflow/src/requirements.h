#pragma once

/// @file
/// What a node must be like to run a task, derived from the task's plugin and from the capabilities that the workflow
/// asks for.

#include "workflow_content.h"

#include <string_view>

namespace kxworkflow {

/// Derives the requirements of all tasks that have derived ones already, of all that have none, or of both; see
/// workflow_builder::update_task_requirements.
///
/// @throws es::arg naming the task when its requirements are no constraint database, with nothing changed
void derive_requirements(workflow_content& content, bool refresh_present, bool add_missing);

/// Adds one requirement, in place of an earlier one of that name.
///
/// @throws es::arg naming the task when its requirements are no constraint database, with nothing changed
void add_requirement(task_record& task, std::string_view name,
                     kxbase::ptr_refcount<kxcore::constraint const> requirement);

} // namespace kxworkflow
