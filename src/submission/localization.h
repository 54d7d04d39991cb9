// Localizers: tasks that copy a file to where other tasks can read it.
#pragma once

#include "submission/finalization_notes.h"

#include <kxbase/ptr_refcount.h>

#include <string>
#include <string_view>

namespace kxcore {
class properties;
}

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

inline constexpr char const* localizer_plid = "task/regular/localize/1.0";

/// The output of a localizer, of an encoder and of a transfer that is the place of the file it wrote.
inline constexpr char const* file_output = "dest-url";

/// The configuration of a localizer of that URL; a connection has to feed one that is made from the empty text.
[[nodiscard]] kxbase::ptr_refcount<kxcore::properties> localizer_configuration(std::string_view url);

/// Feeds an input of a task, which holds the URL of a file, from the localizer of that file. A localizer that the
/// workflow has already serves this task too, and keeps its label; else one is added with the label. The input keeps its
/// value: replacing it is the caller's business.
///
/// Raises es::arg, having reported the same message, when more than one localizer of that file is there, and when the
/// input can't be connected; the localizer that was added stays then. Raises es::arg also when the input holds nothing.
void localize_dependency_file(kxworkflow::workflow_builder& builder, std::string_view wtid, std::string_view input,
                              std::string_view label, finalization_notes const& notes = {});

} // namespace kxclientutil
