#include "watched_folder.h"

#include "shown.h"

#include <kxbase/errors.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>

namespace kx {
namespace {

namespace fs = std::filesystem;
using kxclientutil::watched_file;

/// What a walk has found and where it still has to look.
struct walk {
    application& app;
    fs::path root;
    std::vector<fs::path> folders = {fs::path()};
    std::vector<watched_file> files = {};

    void look_into(fs::path const& folder);
    void take(fs::path const& path);
    void tell(fs::path const& path, std::error_code error) const;
};

void walk::tell(fs::path const& path, std::error_code error) const {
    app.tell_error((root / path).string(), error.message());
}

void walk::look_into(fs::path const& folder) {
    std::error_code error;
    fs::directory_iterator entry(root / folder, error);
    if (error && folder.empty())
        kxbase::es::call::raise("cannot look into the folder " + shown(root.string()) + ": " + error.message());
    if (error) return tell(folder, error);
    while (entry != fs::directory_iterator()) {
        take(folder / entry->path().filename());
        entry.increment(error);
        if (error) return tell(folder, error);
    }
}

void walk::take(fs::path const& path) {
    struct stat status = {};
    std::string const file = (root / path).string();
    if (::lstat(file.c_str(), &status) != 0) return tell(path, {errno, std::generic_category()});
    if (S_ISDIR(status.st_mode)) return folders.push_back(path);
    bool const is_link = S_ISLNK(status.st_mode);
    if (is_link && ::stat(file.c_str(), &status) != 0) return tell(path, {errno, std::generic_category()});
    if (is_link && S_ISDIR(status.st_mode)) return app.tell_warning(file, "a link to a folder, which is not followed");
    if (!S_ISREG(status.st_mode)) return;
    files.push_back({path.generic_string(), static_cast<std::uint64_t>(status.st_size), status.st_mtime, is_link});
}

} // namespace

// A list instead of recursion, so that folders may be nested as deep as they like.
std::vector<watched_file> files_below(application& app, fs::path const& folder) {
    walk all{app, folder};
    while (!all.folders.empty()) {
        fs::path const next = std::move(all.folders.back());
        all.folders.pop_back();
        all.look_into(next);
    }
    std::ranges::sort(all.files, {}, &watched_file::path);
    return std::move(all.files);
}

} // namespace kx
