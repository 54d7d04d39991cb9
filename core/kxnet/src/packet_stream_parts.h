// What a packet stream is made of: a socket, TLS or none, a reader of frames, and a turn for those who send.
#pragma once

#include "pace.h"
#include "tcp_socket.h"
#include "tls.h"

#include <kxnet/frame.h>
#include <kxnet/hello.h>

#include <kxbase/buffer.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace kxnet {

/// Lets one thread send at a time, the others wait no longer than they have time.
class send_turn {
public:
    /// False at the deadline.
    [[nodiscard]] bool take(time_point deadline);
    [[nodiscard]] bool try_take();
    void give_back();

private:
    std::mutex guard_;
    std::condition_variable changed_;
    bool is_taken_ = false;
    unsigned int waiting_ = 0;
};

/// Tells how much of a frame is on its way.
class progress_teller {
public:
    progress_teller(progress_function const& told, std::uint64_t total) noexcept : told_(told), total_(total) {}

    void add(std::uint64_t bytes) {
        done_ += bytes;
        if (told_) told_(done_, total_);
    }

private:
    progress_function const& told_;
    std::uint64_t done_ = 0;
    std::uint64_t total_;
};

class packet_stream_parts {
public:
    /// @param host  what the server has to be, for the side of a client
    packet_stream_parts(tcp_socket made, std::string peer_text, std::shared_ptr<tls_context const> const& tls_from,
                        std::optional<std::string> const& host);

    /// Agrees on TLS, if there is to be any, and exchanges hellos.
    void greet(time_point deadline);

    void send(frame const& sent, unsigned int timeout_ms, progress_function const& progress);

    /// As `packet_stream::receive`.
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet> receive(time_point deadline, unsigned int timeout_ms);
    void set_frame_limit(std::size_t bytes) noexcept { reader_.set_limit(bytes); }
    [[nodiscard]] std::size_t reply_under_way(std::uint32_t number) const noexcept;

    /// @param why  what whoever sends or receives is told from now on; empty for words of its own. The first one stays.
    void close(std::string const& why = {}) noexcept;
    [[nodiscard]] bool is_open() const noexcept { return !is_closed_; }

    tcp_socket socket;
    std::string peer;
    std::size_t received_size = 0;

private:
    void agree_on_tls(time_point deadline);
    void receive_hello(time_point deadline);
    void send_pieces(frame const& sent, unsigned int timeout_ms, progress_function const& progress);
    void send_whole(std::span<std::byte const> bytes, bool more, pace& going, unsigned int timeout_ms,
                    progress_teller* teller) const;
    void send_all(std::span<std::byte const> bytes, time_point deadline) const;
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet> take_packet();
    void note_progress() noexcept;
    [[nodiscard]] bool take_bytes(time_point deadline, unsigned int timeout_ms);
    [[nodiscard]] std::optional<std::size_t> receive_bytes(std::span<std::byte> out, time_point deadline);
    void require_open() const;
    [[noreturn]] void raise_ended(char const* when) const;
    [[noreturn]] void raise_closed_here() const;

    std::unique_ptr<tls_session> tls_;
    std::atomic<bool> is_closed_ = false;
    std::mutex mutable why_guard_;
    std::string why_closed_;
    std::atomic<bool> is_greeted_ = false;

    // For whoever sends.
    send_turn turn_;
    kxbase::buffer encrypted_out_;

    // For whoever receives.
    frame_reader reader_;
    pace coming_;
    kxbase::buffer encrypted_in_;
    /// Written by whoever receives, read by all: the number of the reply under way, and how much of it has come.
    std::atomic<std::uint32_t> coming_number_ = 0;
    std::atomic<std::size_t> coming_size_ = 0;
};

} // namespace kxnet
