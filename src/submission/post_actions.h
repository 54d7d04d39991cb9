// What is to become of the source and of the other tasks when an encoder or a delivery has failed, or all has gone well.
#pragma once

#include "submission/finalization_notes.h"

namespace kxcore {
class plugin_db;
}

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

/// Adds what the meta data "finalize-workflow-failure" of the workflow asks for: the task that moves or deletes the
/// source, and what stops the encoders. Of "encode" and "deployment" in it only "encode" counts when both are there.
/// Raises es::arg naming the place for a member of another kind.
void add_failure_actions(kxworkflow::workflow_builder& builder, kxcore::plugin_db const& plugins,
                         finalization_notes const& notes = {});

/// The same for "finalize-workflow-success": moves or deletes the source when all deliveries have succeeded.
void add_success_actions(kxworkflow::workflow_builder& builder, kxcore::plugin_db const& plugins,
                         finalization_notes const& notes = {});

} // namespace kxclientutil
