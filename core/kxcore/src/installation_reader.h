// Reads an installation folder, whole: every file is looked at whatever is wrong with the others.
#pragma once

#include <kxcore/installation.h>
#include <kxcore/plugin_db.h>

#include <kxbase/ptr_refcount.h>

#include <string>
#include <vector>

namespace kxcore {

/// What came out of a folder. The databases are only good when there are no problems.
struct installation_reading {
    plugin_db plugins;
    kxbase::ptr_refcount<constraint_db const> constraints;
    /// In byte order of the files, those of a file in the order in which they were found.
    std::vector<installation_problem> problems;
};

/// Reads the installation in a folder. What the system or the content refuses becomes a problem.
[[nodiscard]] installation_reading read_installation(std::string const& folder);

} // namespace kxcore
