#pragma once

/// @file
/// Where the jobs lie that the node has taken.

#include "job_board.h"

#include <kxcore/properties.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <set>
#include <string>

namespace devnode {

/// A folder of job files, named ID.job, where the id is what the client chose for its submission: so a job that was sent
/// twice is there once, whatever happened between. One node at a time uses a folder. Any thread may store.
class spool {
public:
    /// Takes the folder, makes it when it is missing (for its owner alone), removes what a crash left half written, and
    /// puts the jobs that it holds on the board. A file that is no job is told of and left alone.
    ///
    /// @throws es::call when the folder cannot be used, or another node uses it
    spool(std::string const& folder, job_board& board);
    ~spool();
    spool(spool const&) = delete;
    spool& operator=(spool const&) = delete;

    /// Stores a finalized job, unless one of this id is stored. When this returns it is on the disk, whatever happens then,
    /// and on the board. One that holds credentials is encrypted with the installation's key.
    ///
    /// @param id    1 to 64 characters of "A-Z a-z 0-9 -"
    /// @param user  who submits it
    /// @return whether it was not stored before
    /// @throws es::arg for what is no finalized job or no such id, es::call when it cannot be written; nothing is stored then
    bool store(std::string const& id, kxcore::properties const& job, std::string const& user);

private:
    void lock_folder();
    void load();
    void load_job(std::filesystem::path const& file);
    [[nodiscard]] bool begin_to_store(std::string const& id);
    void end_storing(std::string const& id, bool is_stored) noexcept;

    std::filesystem::path folder_;
    job_board& board_;
    int descriptor_ = -1;

    // Whoever sends a job again while it is being stored waits for how that ends.
    std::mutex guard_;
    std::condition_variable changed_;
    std::set<std::string> stored_;
    std::set<std::string> being_stored_;
};

} // namespace devnode
