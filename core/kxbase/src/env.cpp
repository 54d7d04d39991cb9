#include <kxbase/env.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace kxbase::env {

namespace {

std::string without_trailing_separators(std::string path);
std::string home_in_user_database();
std::string documents_folder();
std::string common_data_folder();
std::string documents_in_user_dirs(std::string const& file, std::string const& home);
std::string user_dirs_value(std::string_view line, std::string_view name, std::string const& home);

bool is_absolute(std::string_view path) {
    return path.starts_with('/');
}

struct well_known_folder {
    int id;
    std::string (*path)();
};

constexpr std::array<well_known_folder, 2> well_known_folders = {{
    {folder_documents, documents_folder},
    {folder_common_data, common_data_folder},
}};

} // namespace

std::string get_environment_variable(char const* name) {
    char const* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string get_executable_path() {
    std::error_code failed;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", failed);
    return failed ? std::string() : program.parent_path().string();
}

std::string get_user_home_path() {
    std::string const home = get_environment_variable("HOME");
    return without_trailing_separators(is_absolute(home) ? home : home_in_user_database());
}

std::string get_default_tmp_path() {
    std::string const folder = get_environment_variable("TMPDIR");
    return is_absolute(folder) ? without_trailing_separators(folder) : "/tmp";
}

std::string get_folder_path(int folder_id) {
    auto const* const known = std::find_if(well_known_folders.begin(), well_known_folders.end(),
                                           [folder_id](well_known_folder const& f) { return f.id == folder_id; });
    if (known == well_known_folders.end()) return {};
    std::string const path = without_trailing_separators(known->path());
    std::error_code failed;
    return std::filesystem::is_directory(path, failed) ? path : std::string();
}

namespace {

std::string without_trailing_separators(std::string path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

std::string home_in_user_database() {
    std::vector<char> room(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, room.data(), room.size(), &found) != 0 || found == nullptr) return {};
    return is_absolute(entry.pw_dir) ? entry.pw_dir : std::string();
}

std::string documents_folder() {
    std::string const home = get_user_home_path();
    std::string const set = get_environment_variable("XDG_CONFIG_HOME");
    std::string const configuration = is_absolute(set) ? set : home + "/.config";
    std::string const named = documents_in_user_dirs(configuration + "/user-dirs.dirs", home);
    if (!named.empty()) return named;
    return home.empty() ? std::string() : home + "/Documents";
}

std::string common_data_folder() {
    std::string const folders = get_environment_variable("XDG_DATA_DIRS");
    if (folders.empty()) return "/usr/local/share";
    std::string_view left = folders;
    while (!left.empty()) { // the first one that is a folder at all: relative ones do not count
        std::string_view const folder = left.substr(0, left.find(':'));
        if (is_absolute(folder)) return std::string(folder);
        left.remove_prefix(std::min(folder.size() + 1, left.size()));
    }
    return {};
}

/// What the file assigns last, as a shell that reads it would have it. Empty where there is no file or nothing in it.
std::string documents_in_user_dirs(std::string const& file, std::string const& home) {
    std::ifstream in(file);
    std::string found;
    for (std::string line; std::getline(in, line);)
        if (std::string value = user_dirs_value(line, "XDG_DOCUMENTS_DIR", home); !value.empty()) found = value;
    return found;
}

/// The value of a line `NAME="$HOME/folder"` or `NAME="/folder"`, a backslash taking the next character as it is; empty
/// for any other line, these two being the only forms that the file may have.
std::string user_dirs_value(std::string_view line, std::string_view name, std::string const& home) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(name)) return {};
    line.remove_prefix(name.size());
    if (!line.starts_with("=\"")) return {};
    line.remove_prefix(2);

    std::string value;
    constexpr std::string_view home_variable = "$HOME";
    if (line.starts_with(home_variable)) {
        line.remove_prefix(home_variable.size());
        if (home.empty() || (!line.starts_with('/') && !line.starts_with('"'))) return {};
        value = home;
    } else if (!is_absolute(line)) {
        return {};
    }
    for (; !line.empty() && line.front() != '"'; line.remove_prefix(1)) {
        if (line.front() == '\\' && line.size() > 1) line.remove_prefix(1);
        value += line.front();
    }
    return line.empty() ? std::string() : value; // without the closing quote it is cut off
}

} // namespace

} // namespace kxbase::env
