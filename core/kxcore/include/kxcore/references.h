#pragma once

/// @file
/// Paths: texts that name a value in a tree. A path is a key, then any number of {key} and [n]:
/// tasks[0]{configuration}{source-urls}[1].

#include <kxcore/property.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

/// One step of a path: into a tree by key, or into a list by index.
struct reference_step {
    std::string_view key;  ///< meaningful unless `is_index`; part of the path's text
    std::size_t index = 0; ///< meaningful when `is_index`, counted from 0
    bool is_index = false;
};

/// Splits a path into its steps. The first is a key, except in the path of a list's own leaves, which begins with [n].
///
/// Malformed are: a bracket that is not closed, text between steps, one of { } [ ] within a key, an index that is not
/// decimal or that no list can have. Leading zeros of an index are malformed too: each value has one path.
///
/// @return false, with `steps` empty, when the path is malformed
[[nodiscard]] KXCORE_EXPORT bool split_reference(std::string_view path, std::vector<reference_step>& steps);

/// Appends a step by key: the bare key to an empty path, else {key}.
KXCORE_EXPORT void append_reference_key(std::string& path, std::string_view key);

/// Appends a step by index: [n].
KXCORE_EXPORT void append_reference_index(std::string& path, std::size_t index);

} // namespace kxcore
