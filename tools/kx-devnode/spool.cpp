#include "spool.h"

#include "log.h"

#include <kxbase/errors.h>
#include <kxclientutil/submission.h>
#include <kxcore/process_context.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

namespace devnode {
namespace {

namespace fs = std::filesystem;

/// How many jobs are written at a time: each takes a few descriptors, and the memory for its original.
constexpr std::size_t most_at_once = 8;
constexpr char const* job_extension = ".job";
constexpr char const* note_extension = ".note";

// As they are made beside the file that they become.
bool is_half_written(fs::path const& file) {
    return file.extension() == ".tmp" && file.filename().string().starts_with(".kx-");
}

bool is_there(fs::path const& file) {
    return fs::exists(fs::symlink_status(file));
}

// It becomes the name of a file.
bool is_id(std::string const& id) {
    constexpr std::size_t most = 64;
    constexpr char const* allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    return !id.empty() && id.size() <= most && id.find_first_not_of(allowed) == std::string::npos;
}

std::int64_t now_in_ms() {
    auto const since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count();
}

/// What names files of this machine is not for those who connect to it.
bool is_for_client(kxbase::es::base const& error) {
    std::string const key_file = kxcore::process_context::instance().get_key_file();
    bool const is_about_key =
        !key_file.empty() && std::string_view(error.message()).find(key_file) != std::string::npos;
    return dynamic_cast<kxbase::es::call const*>(&error) == nullptr && !is_about_key;
}

/// A note of ours, and nothing else that is called so.
bool is_note(fs::path const& file, std::string const& id) {
    if (file.extension() != note_extension || !is_id(id) || !fs::is_regular_file(fs::symlink_status(file)))
        return false;
    try {
        static_cast<void>(read_note(file));
        return true;
    } catch (kxbase::es::base const&) {
        return false;
    }
}

/// The note of a job; what can be said without one when it is missing.
job_note note_of(fs::path const& job_file) {
    fs::path note = job_file;
    note.replace_extension(note_extension);
    try {
        return read_note(note);
    } catch (kxbase::es::base const& error) {
        tell("", "nobody knows who submitted " + job_file.string() + ": " + error.message());
    }
    struct stat status = {};
    ::stat(job_file.c_str(), &status);
    auto const& time = status.st_mtim;
    return {"", time.tv_sec * 1000 + time.tv_nsec / 1'000'000};
}

} // namespace

spool::spool(std::string const& folder, job_board& board, std::size_t most_jobs)
    : folder_(folder), board_(board), most_jobs_(std::min(most_jobs, job_board::most_jobs)) {
    try {
        load();
    } catch (fs::filesystem_error const& error) {
        kxbase::es::call::raise("the spool " + folder_.path().string() + " cannot be used: " + error.code().message());
    }
}

void spool::load() {
    std::vector<fs::path> files;
    for (auto const& entry : fs::directory_iterator(folder_.path()))
        files.push_back(entry.path());
    for (fs::path const& file : files) {
        fs::path const job = fs::path(file).replace_extension(job_extension);
        bool const is_lonely_note = !is_there(job) && is_note(file, file.stem().string());
        if (is_half_written(file) || is_lonely_note) {
            fs::remove(file);
        } else if (file.extension() == job_extension) {
            load_job(file);
        }
    }
    announce_loaded();
}

void spool::load_job(fs::path const& file) {
    std::string const id = file.stem().string();
    try {
        if (!is_id(id)) kxbase::es::arg::raise("its name is no id");
        if (!fs::is_regular_file(fs::symlink_status(file))) kxbase::es::arg::raise("it is no file of its own");
        auto const job = kxclientutil::read_job_file(file.string());
        // As short as it is announced: all of them are in memory at once.
        loaded_.push_back(
            {id, shown_beginning(job->get_string_value("name", ""), job_board::longest_name), note_of(file)});
    } catch (kxbase::es::base const& error) {
        tell(file.string() + " is left alone", error.message());
    }
}

/// In the order in which they came.
void spool::announce_loaded() {
    std::sort(loaded_.begin(), loaded_.end(), [](loaded_job const& left, loaded_job const& right) {
        return std::tie(left.note.submitted_ms, left.id) < std::tie(right.note.submitted_ms, right.id);
    });
    for (auto const& [id, name, note] : loaded_) {
        if (user_of_stored_.size() == most_jobs_) {
            tell("", std::to_string(loaded_.size() - most_jobs_) + " jobs are not announced: there are too many");
            break;
        }
        board_.add(id, name, note);
        user_of_stored_.emplace(id, note.user);
    }
    loaded_ = {};
}

bool spool::store(std::string const& id, kxcore::properties const& job, std::string const& user) {
    if (!is_id(id)) kxbase::es::arg::raise("\"submission\" has 1 to 64 characters of A-Z, a-z, 0-9 and -");
    if (!kxclientutil::submission_is_finalized(job)) kxbase::es::arg::raise("Not a finalized submission");
    if (!begin_to_store(id)) {
        require_same(id, job, user);
        return false;
    }
    try {
        write(id, job, user);
    } catch (kxbase::es::base const& error) {
        end_storing(id, nullptr);
        if (is_for_client(error)) throw;
        tell("job " + id + " cannot be stored", error.message());
        kxbase::es::call::raise("the job cannot be stored");
    } catch (std::exception const& error) {
        end_storing(id, nullptr);
        tell("job " + id + " cannot be stored", error.what());
        kxbase::es::call::raise("the job cannot be stored");
    }
    end_storing(id, &user);
    return true;
}

bool spool::begin_to_store(std::string const& id) {
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return being_stored_.size() < most_at_once && !being_stored_.contains(id); });
    if (user_of_stored_.contains(id)) return false;
    if (user_of_stored_.size() + being_stored_.size() >= most_jobs_)
        kxbase::es::arg::raise("the node is full: it has " + std::to_string(most_jobs_) + " jobs");
    being_stored_.insert(id);
    return true;
}

void spool::end_storing(std::string const& id, std::string const* user) noexcept {
    std::lock_guard const lock(guard_);
    being_stored_.erase(id);
    if (user != nullptr) user_of_stored_.emplace(id, *user);
    changed_.notify_all();
}

/// The note comes first: a note without its job is nothing, a job without its note would be nobody's.
void spool::write(std::string const& id, kxcore::properties const& job, std::string const& user) {
    fs::path const file = file_of(id, job_extension);
    fs::path const note = file_of(id, note_extension);
    if (is_there(file)) kxbase::es::arg::raise("\"" + id + "\" is the name of a file that the node cannot read");
    try {
        job_note const written = {user, now_in_ms()};
        write_note(note, written);
        kxclientutil::write_job_file(file.string(), job);
        board_.add(id, job.get_string_value("name", ""), written);
    } catch (...) {
        std::error_code ignored;
        fs::remove(file, ignored);
        fs::remove(note, ignored);
        throw;
    }
}

/// Whoever sends a job again has lost the reply. Another job under its id would be lost if it were taken for that one.
void spool::require_same(std::string const& id, kxcore::properties const& job, std::string const& user) {
    std::unique_lock lock(guard_);
    std::string const owner = user_of_stored_.at(id);
    lock.unlock();
    bool is_same = owner.empty() || owner == user;
    try {
        is_same = is_same && *kxclientutil::read_job_file(file_of(id, job_extension).string()) == job;
    } catch (kxbase::es::base const& error) {
        tell("job " + id + " cannot be read", error.message());
        kxbase::es::call::raise("job \"" + id + "\" was stored, and cannot be read any more");
    }
    if (!is_same) kxbase::es::arg::raise("\"" + id + "\" is the id of another job");
}

fs::path spool::file_of(std::string const& id, char const* extension) const {
    return folder_.path() / (id + extension);
}

} // namespace devnode
