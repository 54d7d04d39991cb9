#include "packet_stream_parts.h"

#include <kxbase/limits.h>

#include <poll.h>

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

namespace kxnet {

namespace {

using std::chrono::steady_clock;

/// A record of TLS at its largest, and what is encrypted at once.
constexpr std::size_t encrypted_room = std::size_t{17} << 10;
constexpr std::size_t encrypted_piece = std::size_t{64} << 10;

/// What a peer is told whose first bytes are no TLS: the fatal alert "protocol version", which it knows as TLS.
constexpr unsigned char tls_wanted[] = {0x15, 0x03, 0x01, 0x00, 0x02, 0x02, 0x46};

} // namespace

bool send_turn::take(time_point deadline) {
    std::unique_lock lock(guard_);
    ++waiting_;
    bool const is_mine = changed_.wait_until(lock, deadline, [this] { return !is_taken_; });
    --waiting_;
    is_taken_ = is_taken_ || is_mine;
    return is_mine;
}

bool send_turn::try_take() {
    std::lock_guard const lock(guard_);
    return !std::exchange(is_taken_, true);
}

void send_turn::give_back() {
    std::lock_guard const lock(guard_);
    is_taken_ = false;
    if (waiting_ != 0) changed_.notify_one();
}

packet_stream_parts::packet_stream_parts(tcp_socket made, std::string peer_text,
                                         std::shared_ptr<tls_context const> const& tls_from,
                                         std::optional<std::string> const& host)
    : socket(std::move(made)), peer(std::move(peer_text)) {
    socket.set_peer(peer);
    if (!tls_from) return;
    tls_ = host ? std::make_unique<tls_session>(tls_from, *host) : std::make_unique<tls_session>(tls_from);
    encrypted_in_.resize(encrypted_room);
}

void packet_stream_parts::greet(time_point deadline) {
    if (tls_) agree_on_tls(deadline);
    hello_bytes const hello = make_hello();
    kxbase::buffer out;
    if (tls_) tls_->encrypt(hello, out);
    send_all(tls_ ? std::span<std::byte const>(out.bytes()) : std::span<std::byte const>(hello), deadline);
    receive_hello(deadline);
    is_greeted_ = true;
}

void packet_stream_parts::agree_on_tls(time_point deadline) {
    kxbase::buffer out;
    for (;;) {
        bool is_done = false;
        try {
            is_done = tls_->handshake(out);
        } catch (not_secure const&) {
            // Tells the peer why. Whether it still arrives changes nothing: it may have closed before.
            if (out.empty()) out.append(std::as_bytes(std::span(tls_wanted)));
            try {
                static_cast<void>(socket.send_some(out.bytes(), false, deadline));
            } catch (connection_lost const&) { // NOLINT(bugprone-empty-catch): why TLS failed is what is told
            }
            throw;
        }
        send_all(out.bytes(), deadline);
        out.clear();
        if (is_done) return;
        std::optional<std::size_t> size;
        // Bytes that come all the time do not put the deadline off.
        if (steady_clock::now() < deadline) size = socket.receive_some(encrypted_in_.bytes(), deadline);
        if (!size) throw timed_out(__FILE__, __LINE__, peer + " does not answer in time");
        if (*size == 0) raise_ended(" before TLS was agreed on");
        tls_->feed(encrypted_in_.bytes().first(*size));
    }
}

void packet_stream_parts::receive_hello(time_point deadline) {
    hello_bytes hello;
    std::span<std::byte> const all(hello);
    std::size_t known = 0;
    e_hello judged = e_hello::incomplete;
    while (judged == e_hello::incomplete) {
        // Never beyond the hello: what follows it belongs to the reader of frames.
        auto const size = receive_bytes(all.subspan(known), deadline);
        if (!size) throw timed_out(__FILE__, __LINE__, peer + " does not greet in time");
        if (*size == 0) raise_ended(" before its hello was complete");
        known += *size;
        judged = judge_hello(all.first(known));
    }
    switch (judged) {
    case e_hello::other_version:
        throw version_mismatch(__FILE__, __LINE__,
                               peer + " speaks version " + std::to_string(hello_version(hello)) +
                                   " of the protocol, this side version " + std::to_string(protocol_version));
    case e_hello::encrypted: throw not_secure(__FILE__, __LINE__, peer + " wants TLS");
    case e_hello::foreign: throw connection_lost(__FILE__, __LINE__, peer + " does not speak this protocol");
    case e_hello::incomplete:
    case e_hello::fits: break;
    }
}

void packet_stream_parts::send(frame const& sent, unsigned int timeout_ms, progress_function const& progress) {
    if (!turn_.take(deadline_after(timeout_ms)))
        throw timed_out(__FILE__, __LINE__, "others take the time to send to " + peer);
    // A frame that was begun and not finished leaves nothing that another one could be sent behind.
    try {
        send_pieces(sent, timeout_ms, progress);
        turn_.give_back();
    } catch (connection_lost const& error) {
        turn_.give_back();
        if (is_closed_) raise_closed_here();
        close(error.what());
        throw;
    } catch (timed_out const& error) {
        turn_.give_back();
        close(error.what());
        throw;
    } catch (...) {
        turn_.give_back();
        close("a packet to " + peer + " was given up while it was sent");
        throw;
    }
}

void packet_stream_parts::send_pieces(frame const& sent, unsigned int timeout_ms, progress_function const& progress) {
    require_open();
    pace going;
    going.begin(steady_clock::now());
    progress_teller teller(progress, sent.size());
    for (kxbase::buffer const& piece : sent.pieces()) {
        bool const more = &piece != &sent.pieces().back();
        if (!tls_) {
            send_whole(piece.bytes(), more, going, timeout_ms, &teller);
            continue;
        }
        for (std::size_t at = 0; at < piece.size(); at += encrypted_piece) {
            std::size_t const size = std::min(encrypted_piece, piece.size() - at);
            encrypted_out_.clear();
            tls_->encrypt(piece.bytes().subspan(at, size), encrypted_out_);
            send_whole(encrypted_out_.bytes(), more || at + size < piece.size(), going, timeout_ms, nullptr);
            teller.add(size);
        }
    }
}

/// Sends all of the bytes, telling how many at a time.
void packet_stream_parts::send_whole(std::span<std::byte const> bytes, bool more, pace& going, unsigned int timeout_ms,
                                     progress_teller* teller) const {
    while (!bytes.empty()) {
        std::size_t const size = socket.send_some(bytes, more, going.deadline(timeout_ms));
        if (size == 0) throw timed_out(__FILE__, __LINE__, peer + " does not take what is sent in time");
        bytes = bytes.subspan(size);
        if (!bytes.empty() || more) going.advance(size, steady_clock::now());
        if (teller != nullptr) teller->add(size);
    }
}

void packet_stream_parts::send_all(std::span<std::byte const> bytes, time_point deadline) const {
    while (!bytes.empty()) {
        std::size_t const size = socket.send_some(bytes, false, deadline);
        if (size == 0) throw timed_out(__FILE__, __LINE__, peer + " does not take what is sent in time");
        bytes = bytes.subspan(size);
    }
}

kxbase::ptr_refcount<kxp::packet> packet_stream_parts::receive(time_point deadline, unsigned int timeout_ms) {
    require_open();
    if (coming_.is_running()) coming_.resume(steady_clock::now());
    for (bool may_read = true; may_read;) {
        if (auto packet = take_packet()) return packet;
        // Bytes that come all the time do not put the deadline off.
        may_read = take_bytes(deadline, timeout_ms) && (!coming_.is_running() || steady_clock::now() < deadline);
    }
    if (auto packet = take_packet()) return packet;
    // Nobody reads from the deadline until the next call, which is none of the peer's doing.
    if (coming_.is_running()) coming_.pause(std::min(deadline, steady_clock::now()));
    return {};
}

/// Whether some have come by the deadline.
bool packet_stream_parts::take_bytes(time_point deadline, unsigned int timeout_ms) {
    bool const is_under_way = reader_.under_way() != 0;
    if (is_under_way && !coming_.is_running()) {
        coming_.begin(steady_clock::now());
        // What came of it with the end of the frame before it counts like the rest.
        coming_.advance(reader_.under_way(), steady_clock::now());
    }
    time_point const frame_deadline = is_under_way ? coming_.deadline(timeout_ms) : no_deadline;
    auto const size = receive_bytes(reader_.space(), std::min(deadline, frame_deadline));
    if (size && *size == 0) raise_ended(is_under_way ? " in the middle of a frame" : "");
    if (size) {
        reader_.commit(*size);
        if (is_under_way) coming_.advance(*size, steady_clock::now());
        return true;
    }
    // The caller's time was over first. The frame's may be, too, by now, but nobody has looked since.
    if (deadline < frame_deadline) return false;
    std::string const why = peer + " does not go on with a frame in time";
    close(why);
    throw timed_out(__FILE__, __LINE__, why);
}

/// For those who wait for the reply that is under way.
void packet_stream_parts::note_progress() noexcept {
    coming_number_ = 0;
    coming_size_ = reader_.under_way();
    coming_number_ = reader_.reply_under_way();
}

std::size_t packet_stream_parts::reply_under_way(std::uint32_t number) const noexcept {
    return coming_number_ == number ? coming_size_.load() : 0;
}

/// The next packet, if all of it has come.
kxbase::ptr_refcount<kxp::packet> packet_stream_parts::take_packet() {
    try {
        auto const payload = reader_.next();
        if (!payload) {
            if (reader_.under_way() != 0) note_progress();
            return {};
        }
        if (coming_number_ != 0) coming_number_ = 0;
        coming_.end();
        std::size_t const most_values = kxbase::most_values(reader_.limit());
        std::size_t values_left = most_values;
        auto packet = decode_packet(*payload, values_left);
        received_size = kxbase::encoded_weight(payload->size(), most_values - values_left);
        return packet;
    } catch (kxbase::es::arg const& error) {
        std::string const why = peer + " sent what cannot be read: " + error.what();
        close(why);
        throw connection_lost(__FILE__, __LINE__, why);
    }
}

/// Some bytes without TLS around them; 0 at the peer's end, empty at the deadline.
std::optional<std::size_t> packet_stream_parts::receive_bytes(std::span<std::byte> out, time_point deadline) {
    if (!tls_) return socket.receive_some(out, deadline);
    for (bool is_first = true;; is_first = false) {
        std::size_t const size = tls_->decrypt(out);
        if (size != 0) return size;
        if (tls_->has_ended()) return 0;
        // Records without data do not put the deadline off, however many come.
        if (!is_first && steady_clock::now() >= deadline) return std::nullopt;
        auto const come = socket.receive_some(encrypted_in_.bytes(), deadline);
        if (!come || *come == 0) return come;
        tls_->feed(encrypted_in_.bytes().first(*come));
    }
}

void packet_stream_parts::close(std::string const& why) noexcept {
    {
        std::lock_guard const lock(why_guard_);
        if (is_closed_) return;
        try {
            why_closed_ = why;
        } catch (...) { // NOLINT(bugprone-empty-catch): closed for a reason that is lost
        }
        is_closed_ = true;
    }
    // A peer in the middle of whose frame we are learns of the end by the end alone.
    if (tls_ && is_greeted_ && turn_.try_take()) {
        try {
            encrypted_out_.clear();
            tls_->end(encrypted_out_);
            static_cast<void>(socket.send_some(encrypted_out_.bytes(), false, steady_clock::now()));
        } catch (...) { // NOLINT(bugprone-empty-catch): the connection is gone already
        }
        // Also then: whoever wants to send is to be told of the end, and not to wait for the turn.
        turn_.give_back();
    }
    socket.shut_down();
}

void packet_stream_parts::require_open() const {
    if (is_closed_) raise_closed_here();
    if (!is_greeted_) throw connection_lost(__FILE__, __LINE__, peer + " has not been greeted");
}

/// The peer has ended the stream, or this side has, which looks the same to whoever receives.
void packet_stream_parts::raise_ended(char const* when) const {
    if (is_closed_) raise_closed_here();
    throw connection_lost(__FILE__, __LINE__, peer + " has closed the connection" + when);
}

void packet_stream_parts::raise_closed_here() const {
    std::lock_guard const lock(why_guard_);
    throw connection_lost(__FILE__, __LINE__,
                          why_closed_.empty() ? "the connection to " + peer + " was closed by this side" : why_closed_);
}

} // namespace kxnet
