// What the upgrade of documents and the tests need of the variables beyond the exported interface.
#pragma once

#include <kxclientutil/export.h>

#include <map>
#include <string>
#include <string_view>

namespace kxclientutil {

/// The URI of a variable, its name bare or as a reference; null when there is none of that name. Takes no memory, for who
/// asks about every string of a job.
[[nodiscard]] std::string const* find_variable(std::string_view name);

/// Writes the current reference for a legacy one ("$source-filename$") into `output` and gives true; gives false, with
/// `output` untouched, for every other input. Exported for the tests only.
[[nodiscard]] KXCLIENTUTIL_EXPORT bool convert_legacy_variable(std::map<std::string, std::string> const& variables,
                                                               std::string const& input, std::string& output);

} // namespace kxclientutil
