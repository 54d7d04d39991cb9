// What finalization does about the files that encoders need beside their source.
#pragma once

#include "submission/finalization_notes.h"

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

/// Has the media files of encoders that lie on a server (intro, outro, audio, watermark, captions) fetched by localizers,
/// one for all encoders that use the same file. The configurations then refer to the output of the localizer. Raises
/// es::arg, having reported the same message, as localize_dependency_file() does.
void localize_media_files(kxworkflow::workflow_builder& builder, finalization_notes const& notes = {});

/// Lets encoders that look for captions or sound beside their source hand these files on to the tasks after them.
void publish_extra_files(kxworkflow::workflow_builder& builder, finalization_notes const& notes = {});

} // namespace kxclientutil
