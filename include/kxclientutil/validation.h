#pragma once

/// @file
/// What is wrong with a document, all of it at once and with its place, for whoever explains documents to their authors.
/// Reading stops at the first thing that does not fit; this looks at everything.

#include <kxclientutil/export.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kxbase {
class buffer;
}

namespace kxcore {
class constraint_db;
class plugin_db;
} // namespace kxcore

namespace kxclientutil {

/// One thing that is wrong with a document.
struct document_problem {
    /// The property path, "tasks[2]{configuration}{source-url}"; empty when the document as a whole is meant.
    std::string path;
    /// The place in an XML document, counted from 1; both 0 in a binary one.
    std::size_t line = 0;
    std::size_t column = 0;
    /// What was found and what is allowed, in one line that names the path too.
    std::string what;

    friend bool operator==(document_problem const&, document_problem const&) = default;
};

/// Everything that is wrong with a stored document of the current version: where its syntax breaks, every member that
/// does not fit the constraint of its type or that it lacks, and in the configuration of each task and monitor every
/// member that does not fit what the installation says of the plugin. Credentials are not unwrapped; nothing that is
/// secret appears in a text.
///
/// @param data         the stored document; the whole buffer.
/// @param plugins      the installation's plugins.
/// @param constraints  the installation's constraints.
/// @return             the problems in the order of their paths, those of configurations last; empty for a document
///                     that read_config() accepts and whose configurations fit their plugins. What breaks the document
///                     as a whole (it is none, it is broken, it has another version) is the only problem then.
/// @throws es::arg  when the document goes beyond a limit; the message names it
[[nodiscard]] KXCLIENTUTIL_EXPORT std::vector<document_problem>
find_document_problems(kxbase::buffer const& data, kxcore::plugin_db const& plugins,
                       kxcore::constraint_db const& constraints);

/// The same for a file, as read_config_file() takes it; a preset is judged as the task that it stands for.
///
/// @throws es::call  for a file that can't be read
[[nodiscard]] KXCLIENTUTIL_EXPORT std::vector<document_problem>
find_document_problems(std::string const& path_or_url, kxcore::plugin_db const& plugins,
                       kxcore::constraint_db const& constraints);

} // namespace kxclientutil
