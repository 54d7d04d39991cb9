#pragma once

/// @file
/// The files of a folder of this machine as a monitor sees them.

#include "application.h"

#include <kxclientutil/monitor_filter.h>

#include <filesystem>
#include <vector>

namespace kx {

/// All files below a folder, sorted by their paths. Links to folders are not followed, and what is neither file nor folder
/// is passed over. What can't be looked at is told as an error, and the others are found all the same.
///
/// @throws es::call for a folder that can't be looked into at all
[[nodiscard]] std::vector<kxclientutil::watched_file> files_below(application& app,
                                                                  std::filesystem::path const& folder);

} // namespace kx
