#pragma once

/// @file
/// A workflow on disk that a command changes: reading it, finding its tasks by what people call them, and writing it back.

#include "document.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kx {

/// Reads a workflow document of any version, to change it.
///
/// @throws es::arg for any other document, and what read_document() throws
[[nodiscard]] document read_workflow(application& app, std::string const& file);

/// Writes a document in the format that it was read in; the file is the old or the new one, whole.
void write_document(application& app, document const& written, std::string const& file);

/// A task of a workflow.
struct named_task {
    std::size_t index = 0; ///< in "tasks"
    std::string wtid;
    std::string name;
    kxcore::properties tree{false};

    /// The name in double quotes, the wtid when there is none: on one line and without passwords.
    [[nodiscard]] std::string shown() const;
};

/// The task of that wtid, or of that name.
///
/// @throws es::arg when no task has it (telling the nearest name) or several have the name (telling their wtids)
[[nodiscard]] named_task find_task(kxcore::properties const& workflow, std::string_view name_or_wtid);

/// A text of the user in double quotes, on one line and without passwords.
[[nodiscard]] std::string in_quotes(std::string_view text);

} // namespace kx
