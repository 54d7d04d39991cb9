// The finalization of a submission whose source is a sequence of numbered images.
#pragma once

namespace kxclientutil {

struct finalization_run;

/// Replaces "iseq-source" by a file source with one file per sequence, its URL bearing the parameters of the sequence,
/// and finalizes that.
///
/// Raises es::arg naming the place for a source that has no list of sequences or a sequence without a start file, with the
/// source still there. After any later error the file source has taken its place.
void finalize_iseq_source(finalization_run& run);

} // namespace kxclientutil
