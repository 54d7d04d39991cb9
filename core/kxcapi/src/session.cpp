#include "session.h"

#include "calling_handler.h"
#include "reporting.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxnet/frame.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

namespace kxcapi {

namespace {

using kxnet::time_point;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long nobody must have asked for anything before the network thread reads. Callers that ask again within it find the
/// stream theirs, and pay no hand-off.
constexpr milliseconds quiet_time(2);
/// How often somebody looks whether a reply that is late but under way has come further.
constexpr milliseconds look_time(20);

void report_dropped(kxp::packet const& packet, char const* why) {
    report(e_report_kind_packet, e_report_severity_debug, "packet \"" + packet.get_name() + "\" dropped: " + why);
}

} // namespace

/// Until when a caller waits: its time-out, and beyond it while its reply is coming at the pace of any frame.
class session::patience {
public:
    explicit patience(unsigned int timeout_ms)
        : timeout_(timeout_ms == 0 ? kxbase::default_timeout_ms : timeout_ms),
          deadline_(steady_clock::now() + timeout_) {}

    /// When to look again.
    [[nodiscard]] time_point until() const {
        return is_extended_ ? std::min(steady_clock::now() + look_time, deadline_) : deadline_;
    }

    /// Whether to go on waiting, with so many bytes of the reply come.
    [[nodiscard]] bool goes_on(std::size_t bytes) {
        time_point const now = steady_clock::now();
        if (is_extended_ && bytes > bytes_) {
            deadline_ =
                std::min(now + timeout_, began_ + timeout_ + milliseconds(bytes * 1000 / kxbase::least_frame_rate));
            bytes_ = bytes;
        } else if (now >= deadline_ && !is_extended_ && bytes != 0) {
            is_extended_ = true;
            began_ = now;
            bytes_ = bytes;
            deadline_ = now + timeout_;
        }
        return now < deadline_;
    }

private:
    milliseconds timeout_;
    time_point deadline_;
    time_point began_{};
    std::size_t bytes_ = 0;
    bool is_extended_ = false;
};

/// Makes a request known to whoever reads, as long as its caller waits.
class session::registration {
public:
    registration(session& of, pending& mine) : session_(of), mine_(mine) {
        guard_lock const lock(session_.guard_);
        if (session_.has_ended_) kxbase::es::call::raise(session_.end_reason_);
        session_.pending_.push_back(&mine_);
    }
    ~registration() {
        guard_lock const lock(session_.guard_);
        std::erase(session_.pending_, &mine_);
    }
    registration(registration const&) = delete;
    registration& operator=(registration const&) = delete;

private:
    session& session_;
    pending& mine_;
};

bool handler_turn::take(std::atomic<bool> const& is_given_up) {
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return !is_taken_ || is_given_up; });
    if (is_given_up) return false;
    is_taken_ = true;
    return true;
}

void handler_turn::give_back() {
    std::lock_guard const lock(guard_);
    is_taken_ = false;
    changed_.notify_one();
}

void handler_turn::look_again() {
    std::lock_guard const lock(guard_);
    changed_.notify_all();
}

session::session(std::unique_ptr<kxnet::packet_stream> stream, std::shared_ptr<handler> sink,
                 std::shared_ptr<handler_turn> turn)
    : stream_(std::move(stream)), sink_(std::move(sink)), turn_(std::move(turn)) {}

session::~session() {
    // Only the network thread itself can still be there: it holds the session until it ends.
    if (thread_.joinable()) thread_.detach();
}

void session::start() {
    std::lock_guard const lock(thread_guard_);
    thread_ = std::thread([self = shared_from_this()] { self->run(); });
}

kxbase::ptr_refcount<kxp::packet const> session::request(kxp::packet const& request, unsigned int timeout_ms,
                                                         kxnet::progress_function const& progress) {
    if (!request.is(kxp::e_packet_type::request))
        kxbase::es::arg::raise("packet \"" + request.get_name() + "\" is no request: its type is " +
                               std::to_string(request.get_type()));
    pending mine{next_number()};
    registration const registered(*this, mine);
    send(request, mine.number, timeout_ms, progress);
    wait_for_reply(mine, timeout_ms, request.get_name());
    return mine.reply;
}

/// 0 is for events.
std::uint32_t session::next_number() noexcept {
    for (;;) {
        std::uint32_t const number = ++last_number_;
        if (number != 0) return number;
    }
}

void session::send(kxp::packet const& request, std::uint32_t number, unsigned int timeout_ms,
                   kxnet::progress_function const& progress) {
    kxnet::frame const frame(request, number);
    try {
        stream_->send(frame, timeout_ms, progress);
    } catch (kxnet::connection_lost const& error) {
        guard_lock const lock(guard_);
        end(lock, error.what());
        kxbase::es::call::raise(end_reason_);
    } catch (kxnet::timed_out const& error) {
        end_if_closed(error.what());
        throw;
    } catch (...) {
        end_if_closed("a packet to " + stream_->peer() + " was given up while it was sent");
        throw;
    }
}

/// A frame that was begun and not finished ends the connection; nobody may be reading who would notice.
void session::end_if_closed(std::string_view reason) {
    if (stream_->is_open()) return;
    guard_lock const lock(guard_);
    end(lock, reason);
}

void session::wait_for_reply(pending& mine, unsigned int timeout_ms, std::string const& name) {
    patience limit(timeout_ms);
    guard_lock lock(guard_);
    ++waiting_;
    bool is_in_time = true;
    std::exception_ptr shortage;
    while (!mine.reply && !has_ended_ && is_in_time) {
        if (is_reading_) {
            callers_.wait_until(lock, limit.until());
        } else {
            shortage = read_one(lock, limit.until());
        }
        if (!mine.reply) is_in_time = limit.goes_on(stream_->reply_under_way(mine.number));
    }
    --waiting_;
    ++requests_;
    if (waiting_ != 0) callers_.notify_all();
    if (waiting_ == 0 && is_network_asleep_) network_.notify_one();
    if (mine.reply) return;
    if (shortage) std::rethrow_exception(shortage);
    if (has_ended_) kxbase::es::call::raise(end_reason_);
    kxbase::es::call::raise("no reply to \"" + name + "\" from " + stream_->peer() + " within the time-out");
}

/// Reads a packet, or what comes of it by then, and passes it on; what cannot be read ends the connection. Nobody else may be
/// reading.
/// @return a lack of memory, for a caller to pass on; empty else
std::exception_ptr session::read_one(guard_lock& lock, time_point until) {
    is_reading_ = true;
    lock.unlock();
    kxbase::ptr_refcount<kxp::packet> packet;
    std::exception_ptr failure;
    try {
        packet = stream_->receive(until);
    } catch (std::exception const&) {
        failure = std::current_exception();
    }
    std::size_t const size = stream_->received_size();
    lock.lock();
    is_reading_ = false;
    try {
        if (failure) std::rethrow_exception(failure);
        if (packet) take(lock, packet, size);
    } catch (std::bad_alloc const& error) {
        // A packet is lost, and nobody knows whose.
        end(lock, error.what());
        return std::current_exception();
    } catch (std::exception const& error) {
        end(lock, error.what());
    }
    return {};
}

void session::take(guard_lock const& lock, kxbase::ptr_refcount<kxp::packet> const& packet, std::size_t size) {
    if (packet->is(kxp::e_packet_type::reply)) {
        take_reply(packet);
    } else if (packet->is(kxp::e_packet_type::event)) {
        take_event(lock, packet, size);
    } else {
        report_dropped(*packet, "a node has nothing to ask of a client");
    }
}

void session::take_reply(kxbase::ptr_refcount<kxp::packet> const& reply) {
    auto const found = std::find_if(pending_.begin(), pending_.end(), [&](pending const* waiting) {
        return waiting->number == reply->get_request_number() && !waiting->reply;
    });
    if (found == pending_.end()) return report_dropped(*reply, "nobody waits for this reply");
    (*found)->reply = reply;
    if (waiting_ > 1) callers_.notify_all();
}

void session::take_event(guard_lock const& lock, kxbase::ptr_refcount<kxp::packet> const& packet, std::size_t size) {
    if (!sink_) return;
    std::size_t const limit = kxbase::current_limits().frame;
    if (!events_.empty() && events_size_ + size > limit)
        return end(lock, "the handler does not keep up with the events of " + stream_->peer() + ": more than " +
                             std::to_string(limit) + " bytes of them wait (limit frame)");
    events_.push_back({packet, size});
    events_size_ += size;
    network_.notify_one();
}

/// The reason does not change from then on.
void session::end(guard_lock const& /*lock*/, std::string_view reason) noexcept {
    if (has_ended_) return;
    has_ended_ = true;
    try {
        end_reason_ = reason;
    } catch (std::bad_alloc const&) { // NOLINT(bugprone-empty-catch): it ends for a reason that is lost
    }
    stream_->close();
    callers_.notify_all();
    network_.notify_all();
}

void session::close() noexcept {
    {
        guard_lock const lock(guard_);
        is_closed_here_ = true;
        end(lock, "the connection was closed by this side");
    }
    turn_->look_again();
    // A handler that closes cannot wait for itself to return.
    if (is_own_thread()) return;
    std::lock_guard const lock(thread_guard_);
    if (thread_.joinable()) thread_.join();
}

bool session::is_own_thread() const {
    guard_lock const lock(guard_);
    return std::this_thread::get_id() == network_id_;
}

bool session::is_over() const {
    if (!is_closed_here_) return false;
    if (is_own_thread()) return true;
    std::lock_guard const lock(thread_guard_);
    return !thread_.joinable();
}

bool session::is_open() const {
    guard_lock const lock(guard_);
    return !has_ended_;
}

std::string session::end_reason() const {
    guard_lock const lock(guard_);
    return end_reason_;
}

void session::run() noexcept {
    guard_lock lock(guard_);
    network_id_ = std::this_thread::get_id();
    while (!is_closed_here_) {
        if (!events_.empty()) {
            deliver_first(lock);
        } else if (has_ended_) {
            if (sink_) call_sink(lock, [&] { sink_->closed(end_reason_); });
            return;
        } else if (is_reading_ || waiting_ != 0 || requests_ != requests_seen_) {
            stand_by(lock);
        } else {
            static_cast<void>(read_one(lock, kxnet::no_deadline));
            // Whoever has come to wait meanwhile reads from here on.
            if (waiting_ != 0) callers_.notify_all();
        }
    }
}

void session::deliver_first(guard_lock& lock) {
    event const first = std::move(events_.front());
    events_.pop_front();
    call_sink(lock, [&] { sink_->event(*first.packet); });
    // Until now: what a handler works on counts as waiting.
    events_size_ -= first.size;
}

template <class Call>
void session::call_sink(guard_lock& lock, Call const& call) {
    lock.unlock();
    if (turn_->take(is_closed_here_)) {
        call_handler(call);
        turn_->give_back();
    }
    lock.lock();
}

/// Leaves the reading to the callers: for a moment while they come and go, without end while one of them stays.
void session::stand_by(guard_lock& lock) {
    bool const is_same_as_before = requests_ == requests_seen_;
    requests_seen_ = requests_;
    if (!is_same_as_before || !is_reading_) {
        network_.wait_for(lock, quiet_time, [this] { return has_news(); });
        return;
    }
    is_network_asleep_ = true;
    network_.wait(lock, [this] { return has_news() || waiting_ == 0; });
    is_network_asleep_ = false;
}

} // namespace kxcapi
