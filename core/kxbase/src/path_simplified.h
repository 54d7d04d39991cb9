#pragma once

// The part of `path_normalized` that leaves the characters of a name alone.

#include <string>
#include <string_view>

namespace kxbase {

/// `path_normalized` without turning one separator into the other, for a path whose '\' belong to its names.
[[nodiscard]] std::string path_simplified(std::string_view path, char separator);

} // namespace kxbase
