#pragma once

/// @file
/// Whole files, named by URL. file: is read and written here; ftp:, http:, https: and smb: are transferred, with the user
/// and the password of the URL, for as long as process_context::get_transfer_time_outs() lets them stall. Web servers may
/// redirect to others, from https to https only; the login is not told there. With https the system's authorities are
/// trusted, and those that SSL_CERT_FILE or SSL_CERT_DIR names.
/// No text of an error ever holds the user or the password of a URL.

#include <kxcore/export.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kxbase {
class buffer;
}

namespace kxcore {

class plugin_db;

namespace ioutil {

/// Reads a whole file.
///
/// @param url a "file:", "ftp:", "http:", "https:" or "smb:" URL, or a path of this machine
/// @param out replaced by the content; untouched when an error is raised
/// @param plugins the installation's plugins; none is needed for the schemes above
/// @throws es::call when the file cannot be opened, read or transferred, or is no regular file (a folder, a device);
///         es::arg naming the limit "document" when it is larger than that, or when the login of a URL holds an end of
///         line; es::unsupp for another scheme
KXCORE_EXPORT void get_file_content(std::string_view url, std::string& out, plugin_db const& plugins);
KXCORE_EXPORT void get_file_content(std::string_view url, kxbase::buffer& out, plugin_db const& plugins);

/// Reads the beginning of a file.
///
/// @param size how much at most; the result is shorter only when the file is
/// @throws as get_file_content, except that a larger file is no error
[[nodiscard]] KXCORE_EXPORT std::string get_file_prefix(std::string_view url, std::size_t size,
                                                        plugin_db const& plugins);

/// Writes a whole file.
///
/// On this machine a reader, or a crash at any moment, sees the old or the new file, whole: the
/// content is written to a temporary beside the target, brought to the disk, and renamed. The
/// permissions of a file that was there are kept, a new one gets those that the process gives
/// (umask); a symbolic link stays, and the file that it names is replaced. Other schemes upload;
/// http and https with PUT, and what a failed upload leaves there is up to the server.
///
/// @throws es::call when it cannot be written, or is there and is no regular file (a folder, a device): what was
///         there is as it was; es::unsupp for another scheme
KXCORE_EXPORT void set_file_content(std::string_view url, kxbase::buffer const& content, plugin_db const& plugins);

} // namespace ioutil
} // namespace kxcore
