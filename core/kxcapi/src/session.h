// A connection from its hello to its end. The calling thread of a request does the work of the network itself while it
// waits; see README.md.
#pragma once

#include <kxcapi/handler.h>

#include <kxbase/ptr_refcount.h>
#include <kxnet/packet.h>
#include <kxnet/packet_stream.h>
#include <kxnet/transport.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace kxcapi {

/// Lets one session at a time call the handler of a connection: one that ended may still be in it when the next one has
/// come, which the handler itself may have made.
class handler_turn {
public:
    /// Waits for the turn; false when that is given up before.
    [[nodiscard]] bool take(std::atomic<bool> const& is_given_up);
    void give_back();
    /// Whoever waits looks whether it has been given up.
    void look_again();

private:
    std::mutex guard_;
    std::condition_variable changed_;
    bool is_taken_ = false;
};

class session : public std::enable_shared_from_this<session> {
public:
    /// @param sink  told of events and of the end; may be empty
    /// @param turn  shared by the sessions of a connection
    session(std::unique_ptr<kxnet::packet_stream> stream, std::shared_ptr<handler> sink,
            std::shared_ptr<handler_turn> turn);
    ~session();
    session(session const&) = delete;
    session& operator=(session const&) = delete;

    /// Starts the network thread.
    /// @throws std::system_error
    void start();

    /// As `connection::request`.
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet const> request(kxp::packet const& request, unsigned int timeout_ms,
                                                                  kxnet::progress_function const& progress);

    /// Ends it. When it returns its network thread has ended, unless that is the one that calls.
    void close() noexcept;
    /// Whether the calling thread is its network thread.
    [[nodiscard]] bool is_own_thread() const;
    /// Whether there is nothing that `close` would still do for the calling thread.
    [[nodiscard]] bool is_over() const;

    [[nodiscard]] bool is_open() const;
    /// Why it has ended; empty while it has not.
    [[nodiscard]] std::string end_reason() const;

    std::atomic<bool> is_logged_in = false;

private:
    /// A request that waits for its reply, on the stack of its caller.
    struct pending {
        std::uint32_t number;
        kxbase::ptr_refcount<kxp::packet const> reply{};
    };
    class patience;
    class registration;
    struct event {
        kxbase::ptr_refcount<kxp::packet> packet;
        std::size_t size;
    };
    using guard_lock = std::unique_lock<std::mutex>;

    [[nodiscard]] std::uint32_t next_number() noexcept;
    void send(kxp::packet const& request, std::uint32_t number, unsigned int timeout_ms,
              kxnet::progress_function const& progress);
    void wait_for_reply(pending& mine, unsigned int timeout_ms, std::string const& name);
    [[nodiscard]] std::exception_ptr read_one(guard_lock& lock, kxnet::time_point until);
    void take(guard_lock const& lock, kxbase::ptr_refcount<kxp::packet> const& packet, std::size_t size);
    void take_reply(kxbase::ptr_refcount<kxp::packet> const& reply);
    void take_event(guard_lock const& lock, kxbase::ptr_refcount<kxp::packet> const& packet, std::size_t size);
    void end(guard_lock const& lock, std::string_view reason) noexcept;
    void end_if_closed(std::string_view reason);

    void run() noexcept;
    void deliver_first(guard_lock& lock);
    template <class Call>
    void call_sink(guard_lock& lock, Call const& call);
    void stand_by(guard_lock& lock);
    [[nodiscard]] bool has_news() const noexcept { return !events_.empty() || has_ended_; }

    std::unique_ptr<kxnet::packet_stream> const stream_;
    std::shared_ptr<handler> const sink_;
    std::shared_ptr<handler_turn> const turn_;
    std::atomic<std::uint32_t> last_number_ = 0;

    std::mutex mutable guard_;
    std::condition_variable callers_;
    std::condition_variable network_;
    std::vector<pending*> pending_;
    std::deque<event> events_;
    std::size_t events_size_ = 0;
    std::string end_reason_;
    std::thread::id network_id_;
    /// Requests so far that have waited for a reply, and how many of those the network thread has seen.
    std::uint64_t requests_ = 0;
    std::uint64_t requests_seen_ = 0;
    unsigned int waiting_ = 0;
    bool is_reading_ = false;
    bool is_network_asleep_ = false;
    bool has_ended_ = false;
    std::atomic<bool> is_closed_here_ = false;

    std::mutex mutable thread_guard_;
    std::thread thread_;
};

} // namespace kxcapi
