#pragma once

/// @file
/// The end states of a task, as the constraints that a dependency on another task is given. There is one object of each
/// for everybody, made when the library is loaded: a copy of the handle costs one reference, and since enumerations
/// compare by identity, only these objects and their clones are equal to them.

#include <kxbase/ptr_refcount.h>
#include <kxcore/constraint_enum.h>
#include <kxworkflow/export.h>

namespace kxworkflow {

using task_status = kxbase::ptr_refcount<kxcore::constraint_enum const>;

/// The task has ended, whatever came of it: succeeded, failed, pre_start_fail, cancelled or invalid_pre_reqs.
[[nodiscard]] KXWORKFLOW_EXPORT task_status const& any_end_state();

/// The task has ended in any state but succeeded.
[[nodiscard]] KXWORKFLOW_EXPORT task_status const& failure_end_states();

/// The task has succeeded.
[[nodiscard]] KXWORKFLOW_EXPORT task_status const& success_end_state();

} // namespace kxworkflow
