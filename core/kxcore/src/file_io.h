#pragma once

// Whole files of this machine: read up to a limit, replaced so that a reader or a crash sees the old or the new one.
// Paths are plain paths; `ioutil` turns URLs into them.

#include <cstddef>
#include <string>
#include <string_view>

namespace kxcore::file_io {

/// The content of a regular file.
///
/// @throws es::call when it cannot be opened or read or is no regular file; es::arg naming the
///         limit "document" when it is larger than `limit` bytes
[[nodiscard]] std::string read_file(std::string_view path, std::size_t limit);

/// The first bytes of a regular file, fewer than `size` only when it has no more.
/// Errors as read_file, but a larger file is none.
[[nodiscard]] std::string read_prefix(std::string_view path, std::size_t size);

/// Who may use a file that is written.
enum class e_access {
    kept,       ///< as the file that was there; a new file as the process's umask says
    owner_only, ///< mode 0600, whatever was there
};

/// Replaces a file whole, or makes it; a symbolic link stays and what it names is replaced.
///
/// @throws es::call when any step fails: the file that was there is as it was, and nothing else
///         is left behind
void write_file(std::string_view path, std::string_view content, e_access access);

/// Makes a file of mode 0600 with the content, complete from the moment that it is there.
///
/// @return false when there is something of that name already, which is left alone
/// @throws es::call when it cannot be made
[[nodiscard]] bool create_file(std::string_view path, std::string_view content);

} // namespace kxcore::file_io
