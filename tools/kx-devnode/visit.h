#pragma once

/// @file
/// One client of the node, from its coming to its going.

#include "job_board.h"
#include "spool.h"
#include "users.h"

#include <kxnet/packet_stream.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace devnode {

/// What every client is served from.
struct service {
    users const& accounts;
    job_board const& board;
    spool& jobs;
    unsigned int patience_ms = 0; ///< the time-out of each attempt to send a reply, for tests; 0 for 30 seconds
};

/// Serves a client: greets it, checks its login, takes its jobs, and announces the jobs of the node to it. Announcing has a
/// thread of its own, so that a client which does not read holds up nobody, not even itself. Until it has logged in, the
/// client is a stranger: it has ten seconds, and may send small frames only.
class visit {
public:
    visit(std::unique_ptr<kxnet::packet_stream> stream, service const& from);
    ~visit();
    visit(visit const&) = delete;
    visit& operator=(visit const&) = delete;

    /// Serves until the client goes, or breaks the rules. Call it once, on a thread of its own.
    void run() noexcept;

    /// Ends it, from any thread.
    ///
    /// @param why  what is told of it: a literal; nothing when it is empty
    void end(char const* why = "") noexcept;

    /// Ends it when the client is a stranger still, and its time is over. Any thread.
    void end_if_late() noexcept;

    /// Whether it is to end, or has ended. Any thread.
    [[nodiscard]] bool is_ending() const noexcept { return is_ending_; }

    /// Whether `run` is over. Any thread.
    [[nodiscard]] bool is_over() const noexcept { return is_over_; }

    /// Whether the visit may be forgotten, and the descriptor with it. What a client sends to a descriptor that is no more
    /// is answered by a reset, which makes it lose what it was told last: so one that has been sent away has a second.
    [[nodiscard]] bool is_gone() const noexcept;

    /// Whether the client has not shown yet that it may be here. Any thread.
    [[nodiscard]] bool is_stranger() const noexcept { return role_ == e_role::stranger; }

private:
    enum class e_role : std::uint8_t { stranger, administrator, client };

    void serve();
    void note_end(std::string const& error) noexcept;
    [[nodiscard]] static e_role role_after(std::string_view command) noexcept;
    void answer(kxp::packet const& request);
    void send(kxp::packet const& reply);
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet> next_request();
    [[nodiscard]] kxp::packet answer_to(kxp::packet const& request);
    [[nodiscard]] kxp::packet log_in(kxp::packet const& request, e_role role);
    [[nodiscard]] kxp::packet submit(kxp::packet const& request);
    void begin_to_announce();
    void end_announcing();
    void announce() noexcept;
    void announce_jobs();
    [[nodiscard]] std::size_t announce_state();

    service from_;
    std::string peer_;
    kxnet::time_point login_deadline_;
    std::unique_ptr<kxnet::packet_stream> stream_;
    std::string user_;
    unsigned int refused_logins_ = 0;
    std::atomic<e_role> role_ = e_role::stranger;
    std::atomic<bool> is_over_ = false;
    kxnet::time_point gone_ = kxnet::no_deadline; // valid when it is over
    std::atomic<bool> is_ending_ = false;
    std::atomic<char const*> why_ = "";
    std::atomic<bool> is_announcing_ = false;
    std::thread announcing_;
};

} // namespace devnode
