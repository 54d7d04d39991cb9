// The finalization of a submission whose source is a list of files.
#pragma once

namespace kxclientutil {

struct finalization_run;

/// Finalizes the workflow for the files under "file-source" and rewrites these: resource URIs for the files of this
/// machine, one main localizer for remote ones, and the inputs that each file feeds.
///
/// @param image_sequence  whether the files stand for an image sequence; only the meta data "source-type" tells.
///
/// Raises es::arg naming the place for a source that has no list of files or a file without a URL.
void finalize_file_source(finalization_run& run, bool image_sequence);

} // namespace kxclientutil
