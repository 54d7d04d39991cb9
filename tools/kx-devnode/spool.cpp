#include "spool.h"

#include "log.h"

#include <kxbase/errors.h>
#include <kxclientutil/submission.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

namespace devnode {
namespace {

namespace fs = std::filesystem;

constexpr char const* job_extension = ".job";

[[noreturn]] void refuse(fs::path const& folder, std::string const& why) {
    kxbase::es::call::raise("the spool " + folder.string() + " cannot be used: " + why);
}

// As they are made beside the file that they become.
bool is_half_written(fs::path const& file) {
    return file.extension() == ".tmp" && file.filename().string().starts_with(".kx-");
}

// It becomes the name of a file.
void require_id(std::string const& id) {
    constexpr std::size_t most = 64;
    constexpr char const* allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    if (id.empty() || id.size() > most || id.find_first_not_of(allowed) != std::string::npos)
        kxbase::es::arg::raise("\"submission\" has 1 to 64 characters of A-Z, a-z, 0-9 and -");
}

std::int64_t now_in_ms() {
    auto const since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count();
}

} // namespace

spool::spool(std::string const& folder, job_board& board)
    : folder_(fs::absolute(folder).lexically_normal()), board_(board) {
    if (::mkdir(folder_.c_str(), S_IRWXU) != 0 && errno != EEXIST) refuse(folder_, std::strerror(errno));
    lock_folder();
    try {
        load();
    } catch (fs::filesystem_error const& error) {
        ::close(descriptor_);
        refuse(folder_, error.code().message());
    }
}

spool::~spool() {
    ::close(descriptor_);
}

// The system lets go of it when the process ends, however it ends.
void spool::lock_folder() {
    descriptor_ = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor_ < 0) refuse(folder_, std::strerror(errno));
    int const error = ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
    bool const is_writable = ::access(folder_.c_str(), W_OK | X_OK) == 0;
    if (error == 0 && is_writable) return;
    ::close(descriptor_);
    if (error == 0) refuse(folder_, "it cannot be written to");
    refuse(folder_, error == EWOULDBLOCK ? "another node uses it" : std::strerror(error));
}

void spool::load() {
    std::vector<fs::path> files;
    for (auto const& entry : fs::directory_iterator(folder_))
        files.push_back(entry.path());
    for (fs::path const& file : files) {
        if (is_half_written(file)) {
            fs::remove(file);
        } else if (file.extension() == job_extension) {
            load_job(file);
        }
    }
}

void spool::load_job(fs::path const& file) {
    std::string const id = file.stem().string();
    try {
        auto const job = kxclientutil::read_job_file(file.string());
        struct stat status = {};
        ::stat(file.c_str(), &status);
        auto const& time = status.st_mtim;
        board_.add(id, job->get_string_value("name", ""), "", time.tv_sec * 1000 + time.tv_nsec / 1'000'000);
        stored_.insert(id);
    } catch (kxbase::es::base const& error) {
        tell(file.string() + " is left alone: " + error.what());
    }
}

bool spool::store(std::string const& id, kxcore::properties const& job, std::string const& user) {
    require_id(id);
    if (!begin_to_store(id)) return false;
    try {
        kxclientutil::write_job_file((folder_ / (id + job_extension)).string(), job);
        board_.add(id, job.get_string_value("name", ""), user, now_in_ms());
    } catch (...) {
        end_storing(id, false);
        throw;
    }
    end_storing(id, true);
    return true;
}

bool spool::begin_to_store(std::string const& id) {
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return !being_stored_.contains(id); });
    if (stored_.contains(id)) return false;
    being_stored_.insert(id);
    return true;
}

void spool::end_storing(std::string const& id, bool is_stored) noexcept {
    std::lock_guard const lock(guard_);
    auto mine = being_stored_.extract(id);
    if (is_stored) stored_.insert(std::move(mine));
    changed_.notify_all();
}

} // namespace devnode
