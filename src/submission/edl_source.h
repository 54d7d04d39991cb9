// The finalization of a submission whose source is an edit decision list.
#pragma once

namespace kxclientutil {

struct finalization_run;

/// Gives the clips of "edl-source" to the encoders, remote ones through a localizer for each file, and finalizes the
/// workflow, which then holds all that the source did; the source is erased.
///
/// Raises es::arg, having reported the same message, for a source without any clip and for a clip that can't be connected;
/// raises es::arg naming the place for a clip without a URL. The source and the workflow are as they were then.
void finalize_edl_source(finalization_run& run);

} // namespace kxclientutil
