// The jobs that a node has announced, kept up with its events, and the handler that is told of changes.
#pragma once

#include <kxcapi/handler.h>
#include <kxcapi/job.h>

#include <kxcore/plugin_db.h>
#include <kxnet/packet.h>

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxcapi {

/// What is kept beyond the end of a connection.
struct job_cache {
    std::size_t finished_jobs;
    std::optional<kxcore::plugin_db> plugins{};
};

class job_table final : public handler {
public:
    /// @param told   may be null
    /// @param cache  none: every connection begins with an empty table
    job_table(state_handler* told, std::optional<job_cache> cache);

    void event(kxp::packet const& packet) override;
    void closed(std::string const& reason) override;

    /// A connection begins: what is left of an event of an earlier one, whose handler has connected again, counts no more.
    void start();
    /// From now on nobody is told of anything.
    void detach() noexcept { told_ = nullptr; }

    [[nodiscard]] std::vector<job> get_jobs() const;
    [[nodiscard]] std::optional<job> get_job(std::string_view id) const;

private:
    /// With what it takes: see `encoded_weight`.
    struct known_job {
        job value;
        std::size_t size;
    };
    using jobs = std::map<std::string, known_job, std::less<>>;

    void take_state(kxcore::properties const& announced);
    void take_job(kxcore::properties const& announced);
    void take_removal(kxcore::properties const& announced);

    [[nodiscard]] known_job read_job(kxbase::ptr_refcount<kxcore::properties const> const& tree) const;
    [[nodiscard]] bool put(known_job const& now, std::size_t most);
    [[nodiscard]] std::vector<job> forget(std::string const& id);
    [[nodiscard]] job take_out(std::string const& id);
    template <class Call>
    void tell(Call const& call);

    std::atomic<state_handler*> told_;
    std::optional<job_cache> const cache_;
    /// A connection has begun since the event came that is being worked on.
    std::atomic<bool> is_outdated_ = false;

    std::mutex mutable guard_;
    jobs jobs_;
    /// What the jobs take that the node knows, and the finished ones that it has forgotten.
    std::size_t announced_size_ = 0;
    std::size_t forgotten_size_ = 0;
    /// Finished jobs that the node has forgotten, oldest first.
    std::deque<std::string> forgotten_;
};

} // namespace kxcapi
