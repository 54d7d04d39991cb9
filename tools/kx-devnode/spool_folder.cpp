#include "spool_folder.h"

#include <kxbase/errors.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace devnode {
namespace {

namespace fs = std::filesystem;

constexpr char const* nothing = "";

int open_folder(fs::path const& folder) {
    return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Makes the folder, and brings its name in the folder above to the disk: without that a power cut would take it away with
/// all that lies in it.
/// @return what is wrong; empty when it is there
std::string make(fs::path const& folder) {
    if (::mkdir(folder.c_str(), S_IRWXU) != 0) return errno == EEXIST ? nothing : std::strerror(errno);
    int const above = open_folder(folder.parent_path());
    bool const is_on_disk = above >= 0 && ::fsync(above) == 0;
    std::string const why = is_on_disk ? nothing : std::strerror(errno);
    if (above >= 0) ::close(above);
    return why;
}

/// What speaks against the folder; empty when nothing does. The lock goes with the descriptor.
std::string complaint(fs::path const& folder, int descriptor) {
    struct stat found = {};
    if (descriptor < 0 || ::fstat(descriptor, &found) != 0) return std::strerror(errno);
    if (found.st_uid != ::geteuid()) return "it belongs to another user";
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "others can write to it (chmod go-w)";
    if (::access(folder.c_str(), W_OK | X_OK) != 0) return "it cannot be written to";
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return nothing;
    return errno == EWOULDBLOCK ? "another node uses it" : std::strerror(errno);
}

} // namespace

spool_folder::spool_folder(std::string const& folder) : path_(fs::absolute(folder).lexically_normal()) {
    // "spool/" is the folder "spool", with the one above it as its parent.
    if (!path_.has_filename()) path_ = path_.parent_path();
    std::string why = make(path_);
    if (why.empty()) {
        descriptor_ = open_folder(path_);
        why = complaint(path_, descriptor_);
    }
    if (why.empty()) return;
    if (descriptor_ >= 0) ::close(descriptor_);
    kxbase::es::call::raise("the spool " + path_.string() + " cannot be used: " + why);
}

spool_folder::~spool_folder() {
    ::close(descriptor_);
}

} // namespace devnode
