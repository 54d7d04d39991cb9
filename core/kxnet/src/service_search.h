// A search at work: a thread that browses for a service, resolves what comes, watches its TXT records, looks from time to
// time whether it is still there, and tells a handler.
//
// Each instance is dealt with on each interface for itself. Its way: it is seen; it is resolved; its host's address is asked
// for; the handler is told; its TXT record is watched. After a while, or after a failure, it is resolved again. Only a few
// are on their way at a time, and only some are watched: client libraries take a connection, a thread and several
// descriptors for each question, in a process that is somebody else's. Changes of those that are not watched come with the
// next resolve.
//
// Whatever the network tells was written by strangers, and the daemon may be short of connections, hang or go: the search
// goes on, without a pause too short, and lets go when it is told to after at most one call to the client library.
#pragma once

#include "dnssd_operation.h"
#include "service_schedule.h"
#include "wake_pipe.h"

#include <kxnet/search_resolve_query.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kxnet {

/// How long a search waits for what.
struct search_timing {
    std::chrono::milliseconds resolve_patience{8'000}; ///< a resolve without an answer has failed
    std::chrono::milliseconds first_retry{1'000};      ///< after a failure; doubled with each that follows
    std::chrono::milliseconds recheck{60'000};         ///< until what was resolved is resolved again, or tried again
    std::chrono::milliseconds longest_retry{600'000};  ///< of what never was resolved
    std::chrono::milliseconds return_grace{10'000}; ///< for what was known to be seen again by a daemon that came back
    std::chrono::milliseconds least_pause{250};     ///< between attempts to reach a daemon, growing
    std::chrono::milliseconds most_pause{5'000};
};

class service_search {
public:
    service_search(std::string type, search_resolve_query_handler& handler, search_timing const& timing = {});
    service_search(service_search const&) = delete;
    service_search& operator=(service_search const&) = delete;
    ~service_search();

    /// How many instances a search looks at. Those that come when there are so many are looked at once a tenth of these have
    /// gone.
    static constexpr std::size_t most_instances = 10'000;

private:
    using clock = std::chrono::steady_clock;
    using service = searched_service;
    using service_key = std::pair<std::pair<std::string, std::string>, unsigned int>;
    using service_map = std::map<service_key, std::unique_ptr<service>>;

    void run();
    void recover(char const* reason) noexcept;

    void keep_browsing();
    void look_again_at_crowd();
    [[nodiscard]] clock::time_point next_look_at_crowd() const;
    void lose_daemon();
    void take_sightings();
    void add(browse_answer const& seen);
    void remove(browse_answer const& gone);
    void forget(service_map::iterator which);
    [[nodiscard]] bool ends_or_renews_grace();
    void forget_missing();

    void begin_due();
    void end_overdue();
    void resolve(service& each);
    void ask_address(service& each);
    void take_step(service& each);
    void fail(service& each);
    void conclude(service& each);
    void watch(service& each);
    void take_txt(service& each);
    void pause_for_shortage(service& each);
    void drop_some_watches();
    [[nodiscard]] clock::duration retry_after(unsigned int times, service const& each) const;

    [[nodiscard]] int next_wait() const;
    void wait_for_wake() const;
    void wait_and_take();

    void tell_seen(service& each, bool added, bool more_coming);
    void tell_resolved(service const& each);
    void tell_txt(service& each, record_answer const& record);

    std::string type_;
    search_resolve_query_handler& handler_;
    search_timing timing_;

    dnssd_operation browse_;
    std::vector<browse_answer> sightings_;
    clock::time_point browse_change_; ///< when browsing began, or is to be tried again
    clock::duration pause_;
    clock::time_point grace_end_ = clock::time_point::max();
    bool has_told_obstacle_ = false;

    service_map services_;
    bool is_crowded_ = false; ///< some came when there was no room for them
    service_schedule schedule_;
    clock::time_point begin_again_ = {}; ///< before, nothing new is asked: there was no room
    clock::duration shortage_pause_;
    std::set<service*> watched_;
    std::size_t most_questions_; ///< of all searches of this process together
    std::size_t most_watched_;

    wake_pipe wake_;
    std::atomic<bool> is_stopped_ = false;
    std::thread thread_; // last: it uses all of the above
};

} // namespace kxnet
