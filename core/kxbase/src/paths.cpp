#include <kxbase/paths.h>

#include "path_simplified.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kxbase {

namespace {

constexpr bool is_file_separator(char c) {
    return c == '/' || c == '\\';
}

bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// What a path begins with and ".." never takes away.
struct path_root {
    std::string text;      ///< as it is written out, without the separator behind it
    bool absolute = false; ///< whether a separator follows
    std::string_view rest; ///< what is behind that separator
};

path_root split_root(std::string_view path, char separator);
bool names_server(std::string_view path, char separator);
std::vector<std::string_view> kept_elements(std::string_view rest, char separator, bool absolute);

} // namespace

std::string path_normalized(std::string_view path, char separator) {
    std::string turned(path);
    if (is_file_separator(separator)) std::replace_if(turned.begin(), turned.end(), is_file_separator, separator);
    if (is_simple_path(turned, separator)) return turned;
    return path_simplified(turned, separator);
}

std::string path_appended(std::string_view path, std::string_view element, char separator) {
    if (path.empty() || element.empty()) return std::string(path.empty() ? element : path);
    if (path.ends_with(separator)) path.remove_suffix(1);
    if (element.starts_with(separator)) element.remove_prefix(1);
    std::string appended(path);
    appended += separator;
    appended += element;
    return appended;
}

std::string path_new_file(std::string_view path, std::string_view file, char separator) {
    std::string changed(path.substr(0, path.rfind(separator) + 1));
    changed += file;
    return changed;
}

std::string path_front(std::string_view path, char separator) {
    return std::string(path.substr(0, path.find(separator)));
}

std::string path_popped_front(std::string_view path, char separator) {
    std::size_t const first = path.find(separator);
    return first == std::string_view::npos ? std::string() : std::string(path.substr(first + 1));
}

std::string path_back(std::string_view path, char separator) {
    return std::string(path.substr(path.rfind(separator) + 1));
}

std::string path_popped_back(std::string_view path, char separator) {
    std::size_t const last = path.rfind(separator);
    return last == std::string_view::npos ? std::string() : std::string(path.substr(0, last));
}

std::string path_file(std::string_view path, char separator) {
    return path_back(path, separator);
}

bool path_has_drive(std::string_view path) noexcept {
    return path.size() >= 2 && is_letter(path[0]) && path[1] == ':';
}

bool path_is_unc(std::string_view path) noexcept {
    return path.size() >= 3 && is_file_separator(path[0]) && is_file_separator(path[1]) && !is_file_separator(path[2]);
}

bool is_simple_path(std::string_view path, char separator) noexcept {
    char before = ':';
    for (char const c : path) {
        if (c == separator && before == separator) return false;
        if (c == '.' && (before == separator || before == ':')) return false;
        before = c;
    }
    return true;
}

std::string path_simplified(std::string_view path, char separator) {
    if (is_simple_path(path, separator)) return std::string(path);
    path_root const root = split_root(path, separator);
    auto const elements = kept_elements(root.rest, separator, root.absolute);

    std::string simple = root.text;
    if (root.absolute) simple += separator;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (i != 0) simple += separator;
        simple += elements[i];
    }
    if (!elements.empty() && root.rest.ends_with(separator)) simple += separator;
    return simple;
}

namespace {

path_root split_root(std::string_view path, char separator) {
    path_root root;
    if (names_server(path, separator)) {
        std::size_t const end = std::min(path.find(separator, 2), path.size());
        root.text = path.substr(0, end);
        path.remove_prefix(end);
    } else {
        std::size_t const separators = std::min(path.find_first_not_of(separator), path.size());
        bool const drive = is_file_separator(separator) && path_has_drive(path.substr(separators));
        // Behind a separator only a whole element is a drive; before everything else it needs none.
        bool const whole =
            path.size() == separators + 2 || (path.size() > separators + 2 && path[separators + 2] == separator);
        if (drive && (separators == 0 || whole)) {
            if (separators != 0) root.text = separator;
            root.text += path.substr(separators, 2);
            path.remove_prefix(separators + 2);
        }
    }
    root.absolute = path.starts_with(separator);
    path.remove_prefix(std::min(path.find_first_not_of(separator), path.size()));
    root.rest = path;
    return root;
}

/// "." and ".." are no servers but elements, as everywhere else.
bool names_server(std::string_view path, char separator) {
    if (!path_is_unc(path) || path[0] != separator || path[1] != separator) return false;
    std::string_view const server = path.substr(2, path.find(separator, 2) - 2);
    return server != "." && server != "..";
}

std::vector<std::string_view> kept_elements(std::string_view rest, char separator, bool absolute) {
    std::vector<std::string_view> kept;
    for (std::size_t begin = 0; begin < rest.size();) {
        std::size_t const end = std::min(rest.find(separator, begin), rest.size());
        std::string_view const element = rest.substr(begin, end - begin);
        begin = end + 1;
        if (element.empty() || element == ".") continue;
        bool const climbs = element == "..";
        if (climbs && !kept.empty() && kept.back() != "..")
            kept.pop_back();
        else if (!climbs || !absolute)
            kept.push_back(element);
    }
    return kept;
}

} // namespace

} // namespace kxbase
