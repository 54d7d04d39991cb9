// The common core of every finalization: adjusts the workflow to the caller's settings and to itself.
#pragma once

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

struct finalization_run;

/// Runs the steps of workflow finalization on the builder and collects resource URIs in the run. Raises es::arg, having
/// reported the same message, for a value for an input that a task does not accept and for a media file that can't be
/// localized, and es::arg naming the place for meta data of a wrong form; the builder is then half done.
void finalize_workflow(kxworkflow::workflow_builder& builder, finalization_run& run);

} // namespace kxclientutil
