#include "staged_folder.h"

#include <kxbase/errors.h>
#include <kxbase/uuid.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <set>
#include <system_error>

namespace kx {
namespace {

namespace fs = std::filesystem;

// Within the staging folder; no document's place, since what is staged lies below "new".
constexpr char const* new_files = "new";
constexpr char const* old_files = "old";

[[noreturn]] void raise(std::string_view what, fs::path const& path, std::error_code const& error) {
    kxbase::es::call::raise(std::string(what) + " '" + path.string() + "': " + error.message());
}

std::error_code last_error() {
    return {errno, std::generic_category()};
}

fs::path parent_of(fs::path const& path) {
    return path.parent_path().empty() ? fs::path(".") : path.parent_path();
}

void make_folders(fs::path const& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error) raise("cannot make the folder", path, error);
}

// What was made or renamed in a folder lasts when the folder is on the disk.
void sync_folder(fs::path const& path) {
    int const fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) raise("cannot open", path, last_error());
    bool const done = ::fsync(fd) == 0;
    std::error_code const error = last_error();
    ::close(fd);
    if (!done) raise("cannot bring to the disk", path, error);
}

// The folders that hold the files, from the inside out.
void sync_folders(fs::path const& root, std::vector<fs::path> const& files) {
    std::set<fs::path> folders;
    for (fs::path const& each : files)
        for (fs::path folder = each.parent_path(); !folder.empty(); folder = folder.parent_path())
            folders.insert(folder);
    for (auto each = folders.rbegin(); each != folders.rend(); ++each)
        sync_folder(root / *each);
    sync_folder(root);
}

void take_over_access(fs::path const& from, fs::path const& to) {
    struct stat old = {};
    struct stat made = {};
    if (::stat(from.c_str(), &old) != 0) raise("cannot read", from, last_error());
    if (::stat(to.c_str(), &made) != 0) raise("cannot read", to, last_error());
    mode_t mode = old.st_mode & 0777U;
    // Whoever may not give the file away keeps it, and then the rights of its group are nobody's business.
    bool const same_owner = old.st_uid == made.st_uid && old.st_gid == made.st_gid;
    if (!same_owner && ::chown(to.c_str(), old.st_uid, old.st_gid) != 0) mode &= 0700U;
    if (::chmod(to.c_str(), mode) != 0) raise("cannot set the mode of", to, last_error());
}

} // namespace

staged_folder::staged_folder(fs::path target) : target_(std::move(target)) {
    std::error_code error;
    is_new_ = !fs::exists(fs::symlink_status(target_, error));
    staging_ = (is_new_ ? parent_of(target_) : target_) / (std::string(name_prefix) + kxbase::string_uuid(true));
    if (!fs::create_directory(staging_, error)) raise("cannot make a folder in", staging_.parent_path(), error);
}

staged_folder::~staged_folder() {
    std::error_code ignored;
    if (!staging_.empty()) fs::remove_all(staging_, ignored);
}

fs::path staged_folder::place_for(fs::path const& relative) const {
    fs::path const place = staging_ / new_files / relative;
    make_folders(place.parent_path());
    return place;
}

void staged_folder::move_all(std::vector<fs::path> const& files) {
    if (is_new_) {
        make_folders(staging_ / new_files);
        sync_folders(staging_ / new_files, files);
        if (::rename((staging_ / new_files).c_str(), target_.c_str()) != 0) raise("cannot make", target_, last_error());
        sync_folder(parent_of(target_));
        return;
    }
    try {
        for (fs::path const& each : files)
            move_one(each);
    } catch (...) {
        take_back();
        throw;
    }
    sync_folders(target_, files);
}

void staged_folder::move_one(fs::path const& relative) {
    fs::path const to = target_ / relative;
    std::vector<fs::path> missing;
    for (fs::path folder = to.parent_path(); folder != target_ && !fs::exists(fs::symlink_status(folder));
         folder = folder.parent_path())
        missing.push_back(folder);
    for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
        make_folders(*folder);
        made_folders_.push_back(*folder);
    }
    bool const replaces = fs::exists(fs::symlink_status(to));
    fs::path const from = staging_ / new_files / relative;
    if (replaces) {
        take_over_access(to, from);
        keep_old(relative);
    }
    if (::rename(from.c_str(), to.c_str()) != 0) raise("cannot replace", to, last_error());
    moved_.push_back({relative, replaces});
}

// A second name where the file system has such, so that the file itself comes back; else a copy.
void staged_folder::keep_old(fs::path const& relative) {
    fs::path const from = target_ / relative;
    fs::path const kept = staging_ / old_files / relative;
    make_folders(kept.parent_path());
    std::error_code error;
    fs::create_hard_link(from, kept, error);
    if (error) fs::copy_file(from, kept, error);
    if (error) raise("cannot keep the old", from, error);
}

void staged_folder::take_back() noexcept {
    std::error_code ignored;
    for (auto each = moved_.rbegin(); each != moved_.rend(); ++each) {
        if (each->replaced)
            fs::rename(staging_ / old_files / each->relative, target_ / each->relative, ignored);
        else
            fs::remove(target_ / each->relative, ignored);
    }
    for (auto each = made_folders_.rbegin(); each != made_folders_.rend(); ++each)
        fs::remove(*each, ignored);
}

std::vector<fs::path> staged_folder::leftovers(fs::path const& target) {
    std::vector<fs::path> found;
    std::error_code error;
    fs::path const folder = fs::is_directory(target, error) ? target : parent_of(target);
    for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator(); at.increment(error))
        if (at->path().filename().string().starts_with(name_prefix)) found.push_back(at->path());
    std::ranges::sort(found);
    return found;
}

std::string staged_folder::obstacle(fs::path const& target, fs::path const& relative) {
    fs::path at = target;
    fs::path deepest_folder = parent_of(target);
    auto part = relative.begin();
    std::error_code error;
    for (bool is_file = false;; ++part) {
        fs::file_status const found = fs::symlink_status(at, error);
        if (found.type() == fs::file_type::not_found) break;
        // The target itself may be reached by a link; what is below must lie below.
        if (at != target && fs::is_symlink(found))
            return "'" + at.string() + "' is a symbolic link, which is not followed";
        if (is_file) {
            if (!fs::is_regular_file(found)) return "'" + at.string() + "' is there and is no file";
            if (::access(at.c_str(), W_OK) != 0)
                return "'" + at.string() + "' cannot be written: " + last_error().message();
            break;
        }
        if (!fs::is_directory(at, error)) return "'" + at.string() + "' is there and is no folder";
        deepest_folder = at;
        at /= *part;
        is_file = std::next(part) == relative.end();
    }
    if (::access(deepest_folder.c_str(), W_OK | X_OK) != 0)
        return "the folder '" + deepest_folder.string() + "' cannot be written to: " + last_error().message();
    return {};
}

} // namespace kx
