#pragma once

// From URLs to paths of this machine.

#include <string>
#include <string_view>

namespace kxcore {

/// Whether a URL leads to another machine; a path and a "file:" URL don't.
[[nodiscard]] bool is_remote(std::string_view url);

/// The path that a "file:" URL means, or a path as it is.
///
/// @throws es::unsupp for any other URL; es::arg for a "file:" URL without a path
[[nodiscard]] std::string local_path(std::string_view url);

} // namespace kxcore
