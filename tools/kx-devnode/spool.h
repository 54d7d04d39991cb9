#pragma once

/// @file
/// Where the jobs lie that the node has taken.

#include "job_board.h"
#include "spool_folder.h"

#include <kxcore/properties.h>

#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace devnode {

/// A folder of job files, named ID.job, where the id is what the client chose for its submission: so a job that was sent
/// twice is there once, whatever happened between. Beside each lies ID.note: who submitted it, and when. One node at a time
/// uses a folder. Any thread may store.
class spool {
public:
    /// Takes the folder, removes what a crash left half written, and puts the jobs that it holds on the board. What cannot be
    /// read is told of and left alone.
    ///
    /// @param most_jobs  how many jobs it takes; the board's limit at most
    /// @throws es::call when the folder cannot be used
    spool(std::string const& folder, job_board& board, std::size_t most_jobs);

    /// Stores a finalized job, unless the same job of the same user is stored under this id. When this returns it is on the
    /// disk, whatever happens then, and on the board. One that holds credentials is encrypted with the installation's key.
    ///
    /// @param id    1 to 64 characters of "A-Z a-z 0-9 -"
    /// @param user  who submits it
    /// @return whether it was not stored before
    /// @throws es::arg for what is no finalized job or no such id, for an id under which something else lies, and when the
    ///         spool is full; es::call when it cannot be written. Nothing is stored then, and no text names a file.
    bool store(std::string const& id, kxcore::properties const& job, std::string const& user);

private:
    void load();
    void load_job(std::filesystem::path const& file);
    void announce_loaded();
    [[nodiscard]] bool begin_to_store(std::string const& id);
    void end_storing(std::string const& id, std::string const* user) noexcept;
    void write(std::string const& id, kxcore::properties const& job, std::string const& user);
    void require_same(std::string const& id, kxcore::properties const& job, std::string const& user);
    [[nodiscard]] std::filesystem::path file_of(std::string const& id, char const* extension) const;

    spool_folder folder_;
    job_board& board_;
    std::size_t most_jobs_;

    struct loaded_job {
        std::string id;
        std::string name;
        job_note note;
    };
    std::vector<loaded_job> loaded_; // while it begins

    // Whoever sends a job again while it is being stored waits for how that ends.
    std::mutex guard_;
    std::condition_variable changed_;
    std::map<std::string, std::string> user_of_stored_;
    std::set<std::string> being_stored_;
};

} // namespace devnode
