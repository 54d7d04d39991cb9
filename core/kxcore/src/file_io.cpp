#include "file_io.h"

#include "unique_fd.h"

#include <kxbase/errors.h>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

namespace kxcore::file_io {

namespace {

/// A file that is being written beside its target, removed unless it took the target's place.
struct temporary {
    std::string path;
    unique_fd fd;

    temporary() = default;
    temporary(temporary const&) = delete;
    temporary& operator=(temporary const&) = delete;
    ~temporary() {
        if (!path.empty()) ::unlink(path.c_str());
    }
};

std::string checked_path(std::string_view path);
[[noreturn]] void raise_system(char const* what, std::string const& path, int error);
unique_fd open_regular(std::string const& path, std::size_t& size);
std::size_t read_some(int fd, char* out, std::size_t size, std::string const& path);
std::string resolved_target(std::string path);
std::optional<struct stat> existing_file(std::string const& target);
std::filesystem::path folder_of(std::string const& target);
void make_temporary(temporary& made, std::filesystem::path const& folder, mode_t mode);
void take_over_access(int fd, struct stat const& old);
void write_all(int fd, std::string_view content, std::string const& target);
void sync_folder(std::filesystem::path const& folder, int file_there, std::string const& target);

} // namespace

std::string read_file(std::string_view path_text, std::size_t limit) {
    std::string const path = checked_path(path_text);
    std::size_t size = 0;
    unique_fd const fd = open_regular(path, size);
    std::string content;
    // The size is a hint: a file may grow while it is read, and some say nothing of theirs.
    for (std::size_t want = size + 1;; want = content.size() * 2 + 4096) {
        std::size_t const had = content.size();
        content.resize(std::min(want, limit + 1));
        std::size_t const got = read_some(fd.get(), content.data() + had, content.size() - had, path);
        bool const full = had + got == content.size();
        content.resize(had + got);
        if (content.size() > limit)
            kxbase::es::arg::raise("'" + path + "' is larger than " + std::to_string(limit) +
                                   " bytes (limit document)");
        if (!full) return content;
    }
}

std::string read_prefix(std::string_view path_text, std::size_t size) {
    std::string const path = checked_path(path_text);
    std::size_t whole = 0;
    unique_fd const fd = open_regular(path, whole);
    std::string content(size, '\0');
    content.resize(read_some(fd.get(), content.data(), size, path));
    return content;
}

void write_file(std::string_view path, std::string_view content, e_access access) {
    std::string const target = resolved_target(checked_path(path));
    std::optional<struct stat> const old = existing_file(target);
    std::filesystem::path const folder = folder_of(target);

    // A temporary never allows more than its target will, not even while it is written.
    bool const as_new = !old && access == e_access::kept;
    temporary made;
    make_temporary(made, folder, as_new ? 0666 : 0600);
    write_all(made.fd.get(), content, target);
    if (old && access == e_access::kept) take_over_access(made.fd.get(), *old);
    if (access == e_access::owner_only && ::fchmod(made.fd.get(), 0600) != 0)
        raise_system("cannot set the mode of", target, errno);
    if (::fsync(made.fd.get()) != 0) raise_system("cannot bring to the disk", target, errno);
    if (::rename(made.path.c_str(), target.c_str()) != 0) raise_system("cannot replace", target, errno);
    made.path.clear();
    sync_folder(folder, made.fd.get(), target);
    if (made.fd.close() != 0) raise_system("cannot finish", target, errno);
}

bool create_file(std::string_view path, std::string_view content) {
    std::string const target = checked_path(path);
    std::filesystem::path const folder = folder_of(target);
    temporary made;
    make_temporary(made, folder, 0600);
    if (::fchmod(made.fd.get(), 0600) != 0) raise_system("cannot set the mode of", target, errno);
    write_all(made.fd.get(), content, target);
    if (::fsync(made.fd.get()) != 0) raise_system("cannot bring to the disk", target, errno);
    // Unlike a rename, a link never takes the place of what another process has made meanwhile.
    if (::link(made.path.c_str(), target.c_str()) != 0) {
        if (errno == EEXIST) return false;
        raise_system("cannot make", target, errno);
    }
    sync_folder(folder, made.fd.get(), target);
    return true;
}

namespace {

std::string checked_path(std::string_view path) {
    if (path.empty()) kxbase::es::arg::raise("an empty path names no file");
    if (path.find('\0') != std::string_view::npos) kxbase::es::arg::raise("a path cannot hold a NUL byte");
    return std::string(path);
}

void raise_system(char const* what, std::string const& path, int error) {
    kxbase::es::call::raise(std::string(what) + " '" + path + "': " + std::generic_category().message(error));
}

unique_fd open_regular(std::string const& path, std::size_t& size) {
    // Not blocking, so that a pipe without a writer is told at once instead of waited for.
    unique_fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) raise_system("cannot open", path, errno);
    struct stat found = {};
    if (::fstat(fd.get(), &found) != 0) raise_system("cannot read", path, errno);
    if (S_ISDIR(found.st_mode)) raise_system("cannot read", path, EISDIR);
    if (!S_ISREG(found.st_mode)) kxbase::es::call::raise("cannot read '" + path + "': not a regular file");
    size = static_cast<std::size_t>(found.st_size);
    return fd;
}

std::size_t read_some(int fd, char* out, std::size_t size, std::string const& path) {
    std::size_t got = 0;
    while (got < size) {
        ssize_t const n = ::read(fd, out + got, size - got);
        if (n == 0) break;
        if (n > 0)
            got += static_cast<std::size_t>(n);
        else if (errno != EINTR)
            raise_system("cannot read", path, errno);
    }
    return got;
}

/// Follows the symbolic links by which the file itself is named, also to a file that is not there
/// yet: renaming over a link would turn it into a file and leave what it named as it was.
std::string resolved_target(std::string path) {
    constexpr int most_links = 40;
    for (int i = 0; i != most_links; ++i) {
        std::error_code error;
        std::filesystem::path const link = std::filesystem::read_symlink(path, error);
        if (error) return path;
        path = (std::filesystem::path(path).parent_path() / link).string();
    }
    raise_system("cannot write", path, ELOOP);
}

std::optional<struct stat> existing_file(std::string const& target) {
    struct stat found = {};
    if (::lstat(target.c_str(), &found) != 0) {
        if (errno == ENOENT && target.back() != '/') return std::nullopt;
        raise_system("cannot write", target, errno == ENOENT ? EISDIR : errno);
    }
    if (S_ISDIR(found.st_mode)) raise_system("cannot write", target, EISDIR);
    if (!S_ISREG(found.st_mode)) kxbase::es::call::raise("cannot write '" + target + "': not a regular file");
    // Renaming asks for rights in the folder only; a file that its owner has locked is kept.
    if (::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0) raise_system("cannot write", target, errno);
    return found;
}

std::filesystem::path folder_of(std::string const& target) {
    std::filesystem::path const folder = std::filesystem::path(target).parent_path();
    return folder.empty() ? "." : folder;
}

void make_temporary(temporary& made, std::filesystem::path const& folder, mode_t mode) {
    constexpr int most_tries = 100;
    for (int i = 0; i != most_tries; ++i) {
        std::uint64_t number = 0;
        if (::getrandom(&number, sizeof number, 0) != sizeof number)
            raise_system("no random numbers for a temporary in", folder.string(), errno);
        // A name of its own, not one built on the target's: that may have the greatest length already.
        std::string path = (folder / (".kx-" + std::to_string(number) + ".tmp")).string();
        made.fd = unique_fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (made.fd) {
            made.path = std::move(path);
            return;
        }
        if (errno != EEXIST) break;
    }
    raise_system("cannot make a temporary in", folder.string(), errno);
}

/// Owner, group and mode of the old file. Where the group cannot be kept, it is not given what
/// was meant for another group.
void take_over_access(int fd, struct stat const& old) {
    struct stat made = {};
    bool const known = ::fstat(fd, &made) == 0;
    bool group_kept = known && made.st_gid == old.st_gid;
    bool const same = group_kept && made.st_uid == old.st_uid;
    if (!same && ::fchown(fd, old.st_uid, old.st_gid) == 0)
        group_kept = true;
    else if (!group_kept)
        group_kept = ::fchown(fd, static_cast<uid_t>(-1), old.st_gid) == 0;
    mode_t mode = old.st_mode & 0777;
    if (!group_kept) mode &= ~static_cast<mode_t>(0070);
    if (::fchmod(fd, mode) != 0)
        kxbase::es::call::raise("cannot keep the permissions of the file: " + std::generic_category().message(errno));
}

void write_all(int fd, std::string_view content, std::string const& target) {
    while (!content.empty()) {
        ssize_t const n = ::write(fd, content.data(), content.size());
        if (n >= 0)
            content.remove_prefix(static_cast<std::size_t>(n));
        else if (errno != EINTR)
            raise_system("cannot write", target, errno);
    }
}

/// The rename reaches the disk with its folder. A folder that may be written but not read cannot
/// be opened for that; then the whole file system is brought to the disk, through the file.
void sync_folder(std::filesystem::path const& folder, int file_there, std::string const& target) {
    unique_fd const fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    int const result = fd ? ::fsync(fd.get()) : ::syncfs(file_there);
    // Some network file systems keep no folder of their own to bring to the disk.
    if (result != 0 && errno != EINVAL && errno != ENOTSUP)
        raise_system("replaced, but perhaps not yet on the disk:", target, errno);
}

} // namespace

} // namespace kxcore::file_io
