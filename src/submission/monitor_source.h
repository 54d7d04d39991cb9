// The finalization of a submission whose source is a place that is watched.
#pragma once

namespace kxclientutil {

struct finalization_run;

/// Finalizes the workflow for the files that will appear at the location of "monitor-source", and rewrites that: the URL
/// that the node watches and the inputs that each file feeds. The source's post actions become the workflow's.
///
/// Raises es::arg naming the place for a source without a manager configuration or without a URL in it.
void finalize_monitor_source(finalization_run& run);

} // namespace kxclientutil
