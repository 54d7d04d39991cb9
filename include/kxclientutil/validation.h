#pragma once

/// @file
/// What is wrong with a document, all of it at once and with its place, for whoever explains documents to their authors.
/// Reading stops at the first thing that does not fit; this looks at everything, also at what reading lets pass and a
/// node would stumble over. docs/validation.md lists what is looked at.

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

/// How bad a problem is.
enum class e_problem_severity {
    error,   ///< the document cannot be read, or cannot do what it says
    warning, ///< probably not what its author meant
};

/// One thing that is wrong with a document. All texts are without credentials, and all but path and task stay on one line.
struct document_problem {
    e_problem_severity severity = e_problem_severity::error;
    /// The property path, "tasks[2]{configuration}{source-url}"; empty when the document as a whole is meant. A key that
    /// is a URL stands in it without its password.
    std::string path = {};
    /// The place in an XML document, counted from 1: where the property begins, else what is around it. Both 0 in a
    /// binary document, and where an upgrade made what is wrong.
    std::size_t line = 0;
    std::size_t column = 0;
    /// The name of the task that the path lies in, its wtid when it has none; empty outside of tasks.
    std::string task = {};
    /// What was found: `the string "abc"`; empty when something is missing.
    std::string found = {};
    /// What is allowed in its place: `one of "fail", "rename", "replace"`; empty when nothing can be said.
    std::string allowed = {};
    /// The value or key that may have been meant, as it is shown: strings in double quotes. Empty when there is no good
    /// guess.
    std::string suggestion = {};

    /// "PATH: found FOUND, must be ALLOWED (did you mean SUGGESTION?)", "PATH: missing, must be ALLOWED", without what is
    /// empty. Of a warning: "should be".
    [[nodiscard]] KXCLIENTUTIL_EXPORT std::string message() const;

    /// The whole as a line, in the form that editors know from compilers, behind the name of the file: "LINE:COLUMN:
    /// error: task "NAME": MESSAGE", without the place or the task where there is none.
    [[nodiscard]] KXCLIENTUTIL_EXPORT std::string to_string() const;

    friend bool operator==(document_problem const&, document_problem const&) = default;
};

/// Everything that is wrong with a stored document: where its syntax breaks; every member that does not fit the
/// constraint of its type or that it lacks; in the configuration of each task and monitor every member that does not fit
/// what the installation says of the plugin; plugins, tasks, inputs, outputs and variables that do not exist; tasks that
/// wait for each other in a circle. Warnings tell of texts that look like misspelt variables, of connections without an
/// effect, and of secrets that the file holds in the clear.
///
/// A document of an older version is upgraded first, as read_config() does it, and what came out is judged, since it is
/// what will be used. Paths are then those of the upgraded document; a problem has the place of the stored member of the
/// same path (in tasks: of the task with the same "id"), and none when there is no such member. Secrets are looked for in
/// the document as it is stored.
///
/// Credentials are not unwrapped, and no key is needed.
///
/// @param data         the stored document; the whole buffer.
/// @param plugins      the installation's plugins.
/// @param constraints  the installation's constraints.
/// @return             the problems by line and then by path, those without a place last. No errors for a document that
///                     read_config() accepts and whose configurations and connections fit their plugins. What breaks the
///                     document as a whole (it is none, it is broken, it cannot be upgraded) is the only problem then.
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

/// Whether there is an error among the problems, and not only warnings.
[[nodiscard]] KXCLIENTUTIL_EXPORT bool has_errors(std::vector<document_problem> const& problems);

} // namespace kxclientutil
