#pragma once

// The part of `path_normalized` that leaves the characters of a name alone.

#include <string>
#include <string_view>

namespace kxbase {

/// `path_normalized` without turning one separator into the other, for a path whose '\' belong to its names.
[[nodiscard]] std::string path_simplified(std::string_view path, char separator);

/// Whether the path is simple at first sight, as most are: no separator follows another one, and no element (the one
/// behind a drive letter is one, too) begins with a dot.
[[nodiscard]] bool is_simple_path(std::string_view path, char separator) noexcept;

} // namespace kxbase
