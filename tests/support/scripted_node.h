// Nodes for tests: one that does with its bytes whatever a test wants, and one that answers as nodes do.
#pragma once

#include "support/fault_server.h"
#include "support/waiting.h"

#include <kxbase/errors.h>
#include <kxcore/property_values.h>
#include <kxnet/frame.h>
#include <kxnet/hello.h>
#include <kxnet/listener.h>
#include <kxnet/packet_stream.h>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace kx_test {

/// Bytes as text.
inline std::string text_of(std::span<std::byte const> bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

inline std::string text_of(kxnet::frame const& frame) {
    std::string text;
    for (kxbase::buffer const& piece : frame.pieces())
        text += piece.text();
    return text;
}

inline std::string hello_text(std::uint32_t version = kxnet::protocol_version) {
    return text_of(kxnet::make_hello(version));
}

/// The bytes of an event without properties.
inline std::string event_text(std::string_view name) {
    return text_of(kxnet::frame(kxp::packet(kxp::e_packet_type::event, name)));
}

/// Both hellos; false when the client has gone.
inline bool greet(fault_connection& client) {
    return client.send(hello_text()) && client.read(kxnet::hello_size).size() == kxnet::hello_size;
}

/// The client's next packet; empty when it has gone.
inline kxbase::ptr_refcount<kxp::packet> read_packet(fault_connection& client) {
    auto const bytes_of = [](std::string const& text) { return std::as_bytes(std::span(text)); };
    std::string const head = client.read(kxnet::frame_head_size);
    if (head.size() != kxnet::frame_head_size) return {};
    std::size_t length = 0;
    for (char const byte : head)
        length = length << 8U | static_cast<unsigned char>(byte);
    std::string const payload = client.read(length);
    if (payload.size() != length) return {};
    return kxnet::decode_packet(bytes_of(payload));
}

/// A binary of so many bytes.
inline kxcore::property_handle blob_of(std::size_t size) {
    auto blob = kxbase::make_refcount<kxcore::property_binary>();
    blob->value().append(std::string(size, 'x'));
    return blob;
}

/// The bytes of a reply without properties.
inline std::string reply_text(kxp::packet const& request) {
    return text_of(kxnet::frame(request.make_reply()));
}

/// A node that serves each client on a thread of its own.
class test_node {
public:
    /// What it does with a client that it has greeted, until it returns or raises.
    using behaviour = std::function<void(kxnet::packet_stream&)>;

    explicit test_node(behaviour act, kxnet::server_options const& options = {}, std::string const& address = "")
        : act_(std::move(act)), listener_(address, 0, options), thread_([this] { accept(); }) {}

    ~test_node() {
        listener_.close();
        thread_.join();
        for (guest& each : guests_)
            each.stream->close();
        for (guest& each : guests_)
            each.thread.join();
    }
    test_node(test_node const&) = delete;
    test_node& operator=(test_node const&) = delete;

    [[nodiscard]] std::string port() const { return std::to_string(listener_.port()); }

    /// How serving the clients ended so far, in words.
    [[nodiscard]] std::vector<std::string> endings() const {
        std::lock_guard const lock(guard_);
        return endings_;
    }

private:
    void accept() {
        while (auto client = listener_.accept()) {
            guests_.remove_if([](guest& each) {
                if (!each.is_over) return false;
                each.thread.join();
                return true;
            });
            guest& come = guests_.emplace_back(std::move(client));
            come.thread = std::thread([this, &come] {
                serve(*come.stream);
                come.is_over = true;
            });
        }
    }

    void serve(kxnet::packet_stream& client) {
        std::string ending = "done";
        try {
            client.greet(20'000);
            act_(client);
        } catch (kxbase::es::base const& error) {
            ending = error.what();
        }
        client.close();
        std::lock_guard const lock(guard_);
        endings_.push_back(ending);
    }

    struct guest {
        explicit guest(std::unique_ptr<kxnet::packet_stream> of) : stream(std::move(of)) {}

        std::unique_ptr<kxnet::packet_stream> stream;
        std::atomic<bool> is_over = false;
        std::thread thread{};
    };

    behaviour act_;
    kxnet::listener listener_;
    std::list<guest> guests_;
    std::mutex mutable guard_;
    std::vector<std::string> endings_;
    std::thread thread_;
};

/// Answers each request with its own properties; a request "say NAME" is answered after an event NAME with them.
inline void echo(kxnet::packet_stream& client) {
    constexpr std::string_view say = "say ";
    for (;;) {
        auto const request = client.receive(kxnet::no_deadline);
        std::string_view const name = request->get_name();
        if (name.starts_with(say))
            client.send(kxp::packet(kxp::e_packet_type::event, name.substr(say.size()), request->get_properties()), 0);
        kxp::packet reply(kxp::e_packet_type::reply, name, request->get_properties());
        reply.set_request_number(request->get_request_number());
        client.send(reply, 0);
    }
}

/// A port of this host at which nobody listens, and which nobody else is given meanwhile.
class deaf_port {
public:
    deaf_port() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        socklen_t size = sizeof address;
        if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
            ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no free port on this machine");
        port_ = std::to_string(ntohs(address.sin_port));
    }
    ~deaf_port() { ::close(socket_); }
    deaf_port(deaf_port const&) = delete;
    deaf_port& operator=(deaf_port const&) = delete;

    [[nodiscard]] std::string const& port() const { return port_; }

private:
    int socket_;
    std::string port_;
};

/// A port of a loopback address that answers nobody, as a host does that is not there: more have come to it than it has
/// room for, and none of them is taken.
class full_port {
public:
    /// @param port  0 for one that is free
    explicit full_port(in_addr_t host = INADDR_LOOPBACK, unsigned int port = 0)
        : listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(host);
        socklen_t size = sizeof address;
        auto* const at = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listening_, at, size) != 0 || ::listen(listening_, 0) != 0 ||
            ::getsockname(listening_, at, &size) != 0)
            throw std::runtime_error("no free port on this machine");
        port_ = std::to_string(ntohs(address.sin_port));
        for (bool is_full = false; !is_full;) {
            if (come_.size() == 20) throw std::runtime_error("a port cannot be filled on this machine");
            come_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            is_full = ::connect(come_.back(), at, size) != 0 && !is_answered(come_.back());
        }
    }
    ~full_port() {
        for (int const each : come_)
            ::close(each);
        ::close(listening_);
    }
    full_port(full_port const&) = delete;
    full_port& operator=(full_port const&) = delete;

    [[nodiscard]] std::string const& port() const { return port_; }

private:
    /// On this host an answer comes at once or never.
    static bool is_answered(int socket) {
        pollfd polled = {socket, POLLOUT, 0};
        return ::poll(&polled, 1, 300) == 1;
    }

    int listening_;
    std::vector<int> come_;
    std::string port_;
};

/// The text of the error of a class that a call raises; tells what came else.
template <class Error, class Call>
[[nodiscard]] std::string error_of(Call const& call) {
    try {
        call();
    } catch (Error const& error) {
        return error.what();
    } catch (std::exception const& error) {
        return std::string("another error: ") + error.what();
    }
    return "no error";
}

/// The same; the call is made again, as often as twenty times, while its error holds a text by which a node of the test's own
/// was late, as it may be on a busy machine.
/// @param late  null where there is no such text
template <class Error, class Call>
[[nodiscard]] std::string error_unless_late(char const* late, Call const& call) {
    std::string error = error_of<Error>(call);
    for (int again = 1; again != 20 && late != nullptr && error.find(late) != std::string::npos; ++again)
        error = error_of<Error>(call);
    return error;
}

} // namespace kx_test
