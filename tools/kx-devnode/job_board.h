#pragma once

/// @file
/// The jobs of the node as it announces them.

#include "job_note.h"

#include <kxbase/ptr_refcount.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string_view>
#include <vector>

namespace devnode {

/// A list that only grows: whoever announces it needs no queue of its own, only to know how far it has come, so that a
/// client that is slow to read costs nothing and holds up nobody. Any thread may use it.
class job_board {
public:
    using announcement = kxbase::ptr_refcount<kxcore::properties const>;

    /// How many jobs fit into the one frame in which they are announced, whatever they are called.
    static constexpr std::size_t most_jobs = 100'000;

    /// How much of a job's name is announced.
    static constexpr std::size_t longest_name = 256;

    /// Adds a job, which waits: nobody will run it. Its name and its user are shortened, to 256 and 64 bytes.
    void add(std::string_view id, std::string_view name, job_note const& note);

    /// All jobs so far, as they are announced.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::property_list> all() const;

    /// Waits for the job of this position.
    /// @param is_over  looked at whenever `wake` was called
    /// @return empty when it is over
    template <class Condition>
    [[nodiscard]] announcement wait_for(std::size_t position, Condition const& is_over) const {
        std::unique_lock lock(guard_);
        changed_.wait(lock, [&] { return is_over() || position < jobs_.size(); });
        return is_over() ? announcement() : jobs_[position];
    }

    /// Lets all who wait look whether it is over for them.
    void wake() const noexcept;

private:
    std::mutex mutable guard_;
    std::condition_variable mutable changed_;
    std::vector<announcement> jobs_;
};

} // namespace devnode
