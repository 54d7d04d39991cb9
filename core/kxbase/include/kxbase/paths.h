#pragma once

/// @file
/// Plain paths: texts whose elements stand between separators of one kind. '/' and '\' for files; other separators
/// serve other texts, '>' for workflow targets. No function looks at a disk.

#include <kxbase/export.h>

#include <string>
#include <string_view>

namespace kxbase {

/// The path in its simplest form: the other separator ('\' for '/', '/' for '\') turned into the given one, runs of it
/// folded, "." dropped and ".." resolved. A trailing separator stays. ".." never climbs above the root: the leading
/// separator, a drive letter ("C:/", and "/C:/" as URLs have it), or the server of a UNC path, which keeps its two
/// leading separators. In a relative path leading ".." stay; one that comes to nothing gives the empty text.
[[nodiscard]] KXBASE_EXPORT std::string path_normalized(std::string_view path, char separator);

/// The path with another element behind it and exactly one separator between them. Where one of the two is empty, the
/// other.
[[nodiscard]] KXBASE_EXPORT std::string path_appended(std::string_view path, std::string_view element, char separator);

/// The path with what stands behind its last separator replaced; an empty file leaves the folder with its separator.
[[nodiscard]] KXBASE_EXPORT std::string path_new_file(std::string_view path, std::string_view file, char separator);

/// What stands before the first separator: the whole path where there is none.
[[nodiscard]] KXBASE_EXPORT std::string path_front(std::string_view path, char separator);

/// What stands behind the first separator: empty where there is none.
[[nodiscard]] KXBASE_EXPORT std::string path_popped_front(std::string_view path, char separator);

/// What stands behind the last separator: the whole path where there is none, empty behind a trailing one.
[[nodiscard]] KXBASE_EXPORT std::string path_back(std::string_view path, char separator);

/// What stands before the last separator: empty where there is none.
[[nodiscard]] KXBASE_EXPORT std::string path_popped_back(std::string_view path, char separator);

/// The file part, which is the last element as `path_back` gives it.
[[nodiscard]] KXBASE_EXPORT std::string path_file(std::string_view path, char separator);

/// Whether the path begins with a drive letter and a colon, as in "C:\clips".
[[nodiscard]] KXBASE_EXPORT bool path_has_drive(std::string_view path) noexcept;

/// Whether the path begins with two separators of either kind and a server name, as in "\\server\share".
[[nodiscard]] KXBASE_EXPORT bool path_is_unc(std::string_view path) noexcept;

} // namespace kxbase
