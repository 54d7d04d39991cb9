#pragma once

/// @file
/// From what a workflow_builder works on back to documents.

#include "members.h"
#include "workflow_content.h"

#include <memory>

namespace kxworkflow {

/// The whole workflow as a document. Tasks that did not change since they were exported last, or came, are the same
/// objects as then.
[[nodiscard]] kxcore::properties make_workflow_document(workflow_content& content);

/// One task as a document.
[[nodiscard]] properties_handle const& make_task_document(task_record const& task);

/// The view of one task.
[[nodiscard]] kxbase::ptr_refcount<task const> const& make_view(task_record const& of);

} // namespace kxworkflow
