#pragma once

/// @file
/// Where this machine keeps things. All functions look at the environment anew at each call and give the empty text
/// where there is no answer; nothing is raised. Paths are absolute, without a trailing separator.

#include <kxbase/export.h>

#include <string>

namespace kxbase::env {

/// A variable of the environment; empty where it is not set, as where it is set to nothing.
[[nodiscard]] KXBASE_EXPORT std::string get_environment_variable(char const* name);

/// The folder that holds the running program, links resolved.
[[nodiscard]] KXBASE_EXPORT std::string get_executable_path();

/// The user's home folder: HOME, else what the user database says.
[[nodiscard]] KXBASE_EXPORT std::string get_user_home_path();

/// The folder for temporary files: TMPDIR, else "/tmp".
[[nodiscard]] KXBASE_EXPORT std::string get_default_tmp_path();

/// Well-known folders by the numbers that the desktop system gives them.
inline constexpr int folder_documents = 5;    ///< the user's documents
inline constexpr int folder_common_data = 35; ///< application data shared by all users

/// A well-known folder. Documents: what "user-dirs.dirs" in the user's configuration folder names, else "Documents" in
/// the home folder. Shared application data: the first folder of XDG_DATA_DIRS, "/usr/local/share" where it is not set.
/// Empty for a folder that doesn't exist and for other numbers.
[[nodiscard]] KXBASE_EXPORT std::string get_folder_path(int folder_id);

} // namespace kxbase::env
