// Connections on loopback: a request of 256 bytes and its reply of as many, and a job of 50 MB that is sent. Both ends run
// in this program, pinned to one core, and the processor's time of all its threads counts, the kernel's part included.

#include "memory_peak.h"
#include "peers/byte_streams.h"
#include "peers/kxcore_peer.h"
#include "support/certificates.h"

#include <kxcapi/connection.h>
#include <kxnet/frame.h>
#include <kxnet/hello.h>
#include <kxnet/listener.h>
#include <kxnet/packet_stream.h>

#include <benchmark/benchmark.h>
#include <zmq.h>

#include <sched.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kxbench {
namespace {

using std::string;

void pin_to_one_core() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0) throw std::runtime_error("no core to pin to");
    int last = CPU_SETSIZE - 1;
    while (!CPU_ISSET(last, &allowed))
        --last;
    CPU_ZERO(&allowed);
    CPU_SET(last, &allowed);
    if (::sched_setaffinity(0, sizeof allowed, &allowed) != 0) throw std::runtime_error("cannot be pinned");
}

kxnet::server_options server_side(e_security security) {
    if (security == e_security::plain) return {};
    return {kx_test::certificates::get().good(), kx_test::certificates::get().key()};
}

kxnet::transport_options client_side(e_security security) {
    if (security == e_security::plain) return {};
    return {true, kx_test::certificates::get().ca()};
}

bytes_view view(string const& text) {
    return std::as_bytes(std::span(text));
}

string bytes_of(kxp::packet const& packet) {
    string text;
    kxnet::frame const made(packet);
    for (kxbase::buffer const& piece : made.pieces())
        text += piece.text();
    return text;
}

/// A request whose frame has as many bytes as are wanted.
kxp::packet echo_of_size(std::size_t wanted) {
    kxp::packet request(kxp::e_packet_type::request, "node.echo");
    request.set_request_number(1);
    request.set_property("data", string(wanted / 2 + 64, 'x'));
    std::size_t const more = wanted - bytes_of(request).size();
    request.set_property("data", string(wanted / 2 + 64 + more, 'x'));
    if (bytes_of(request).size() != wanted) throw std::logic_error("no request of this size");
    return request;
}

// --- a request and its reply -----------------------------------------------------------------------------------

/// This library at both ends: a client's connection, and a node that answers with what it was sent.
class echo_kxcapi {
public:
    explicit echo_kxcapi(e_security security)
        : listener_("127.0.0.1", 0, server_side(security)), serving_([this] { serve(); }),
          connection_(nullptr, client_side(security)) {
        if (connection_.connect("127.0.0.1", std::to_string(listener_.port()), 0) != kxcapi::result_code::success)
            throw std::runtime_error(connection_.failure());
    }
    ~echo_kxcapi() {
        connection_.close();
        serving_.join();
    }
    echo_kxcapi(echo_kxcapi const&) = delete;
    echo_kxcapi& operator=(echo_kxcapi const&) = delete;

    void exchange(kxp::packet const& request) { benchmark::DoNotOptimize(connection_.request(request, 0)); }

private:
    void serve() {
        try {
            auto const client = listener_.accept();
            client->greet(0);
            for (;;) {
                auto const request = client->receive(kxnet::no_deadline);
                kxp::packet reply(kxp::e_packet_type::reply, request->get_name(), request->get_properties());
                reply.set_request_number(request->get_request_number());
                client->send(reply, 0);
            }
        } catch (kxnet::connection_lost const&) {
            // The client has gone.
        }
    }

    kxnet::listener listener_;
    std::thread serving_;
    kxcapi::connection connection_;
};

/// The same bytes there and back, with nothing around them.
class echo_bytes {
public:
    explicit echo_bytes(e_security security) : serving_([this, security] { serve(security); }) {
        client_ = connect_bytes(listener_.port(), security);
    }
    ~echo_bytes() {
        client_.reset();
        serving_.join();
    }
    echo_bytes(echo_bytes const&) = delete;
    echo_bytes& operator=(echo_bytes const&) = delete;

    void exchange(kxp::packet const& request) {
        if (bytes_.empty()) bytes_ = bytes_of(request);
        client_->send(view(bytes_));
        if (!client_->receive(std::as_writable_bytes(std::span(bytes_)))) throw std::runtime_error("no reply");
    }

private:
    void serve(e_security security) const {
        auto const client = listener_.accept(security);
        std::array<std::byte, exchanged> room{};
        while (client->receive(room))
            client->send(room);
    }

public:
    static constexpr std::size_t exchanged = 256;

private:
    byte_listener listener_;
    std::thread serving_;
    std::unique_ptr<byte_stream> client_;
    string bytes_;
};

/// The same bytes as messages of ZeroMQ, with a context for each end, as in two programs.
class echo_zeromq {
public:
    explicit echo_zeromq(e_security /*security*/) {
        int const none = 0;
        zmq_setsockopt(server_.socket, ZMQ_LINGER, &none, sizeof none);
        zmq_setsockopt(client_.socket, ZMQ_LINGER, &none, sizeof none);
        std::array<char, 64> address{};
        std::size_t size = address.size();
        check(zmq_bind(server_.socket, "tcp://127.0.0.1:*"));
        check(zmq_getsockopt(server_.socket, ZMQ_LAST_ENDPOINT, address.data(), &size));
        serving_ = std::thread([this] { serve(); });
        check(zmq_connect(client_.socket, address.data()));
    }
    ~echo_zeromq() {
        zmq_send(client_.socket, "", 0, 0);
        serving_.join();
    }
    echo_zeromq(echo_zeromq const&) = delete;
    echo_zeromq& operator=(echo_zeromq const&) = delete;

    void exchange(kxp::packet const& request) {
        if (bytes_.empty()) bytes_ = bytes_of(request);
        check(zmq_send(client_.socket, bytes_.data(), bytes_.size(), 0));
        check(zmq_recv(client_.socket, bytes_.data(), bytes_.size(), 0));
    }

private:
    struct end {
        explicit end(int kind) : context(zmq_ctx_new()), socket(zmq_socket(context, kind)) {}
        ~end() {
            zmq_close(socket);
            zmq_ctx_term(context);
        }
        end(end const&) = delete;
        end& operator=(end const&) = delete;
        void* context;
        void* socket;
    };

    static void check(int result) {
        if (result < 0) throw std::runtime_error(zmq_strerror(zmq_errno()));
    }

    // An empty message is the last one.
    void serve() {
        std::array<std::byte, echo_bytes::exchanged> room{};
        while (zmq_recv(server_.socket, room.data(), room.size(), 0) > 0)
            zmq_send(server_.socket, room.data(), room.size(), 0);
    }

    end server_{ZMQ_REP};
    end client_{ZMQ_REQ};
    std::thread serving_;
    string bytes_;
};

template <class Peer>
void exchange(benchmark::State& state, e_security security) {
    pin_to_one_core();
    kxp::packet const request = echo_of_size(echo_bytes::exchanged);
    Peer peer(security);
    peer.exchange(request);
    for (auto _ : state)
        peer.exchange(request);
}

// --- a job that is sent ----------------------------------------------------------------------------------------

/// A submission of about 50 MB, as a request.
kxp::packet const& job_request() {
    static kxp::packet const made = [] {
        constexpr std::size_t tasks = 25'500;
        constexpr std::size_t files = 255'000;
        kxp::packet request(kxp::e_packet_type::request, "cluster.job.submit");
        request.set_property("submission", "0fd3c1f2-8a60-4c9e-8f0a-2f1c2f9d4a11");
        request.set_property(
            "job", kxbase::make_refcount<kxcore::properties>(kxcore_peer::build(make_submission(tasks, files))));
        request.set_request_number(1);
        return request;
    }();
    return made;
}

/// The other end of whoever sends: drops what comes, and answers each frame with an empty reply. The same for all.
class taker {
public:
    explicit taker(e_security security) : serving_([this, security] { serve(security); }) {}
    ~taker() { serving_.join(); }
    taker(taker const&) = delete;
    taker& operator=(taker const&) = delete;

    [[nodiscard]] unsigned int port() const noexcept { return listener_.port(); }

private:
    void serve(e_security security) const {
        auto const client = listener_.accept(security);
        std::vector<std::byte> room(std::size_t{64} << 10);
        auto const hello = kxnet::make_hello();
        client->send(hello);
        if (!client->receive(std::span(room).first(hello.size()))) return;
        auto const head = std::span(room).first(kxnet::frame_head_size + kxnet::packet_head_size);
        while (client->receive(head)) {
            std::uint32_t const number = big_endian(head.data() + kxnet::frame_head_size + 1);
            std::size_t left = big_endian(head.data()) - kxnet::packet_head_size;
            for (std::size_t size = 0; left != 0; left -= size) {
                size = std::min(left, room.size());
                if (!client->receive(std::span(room).first(size))) return;
            }
            kxp::packet reply(kxp::e_packet_type::reply, "cluster.job.submit");
            reply.set_request_number(number);
            client->send(view(bytes_of(reply)));
        }
    }

    static std::uint32_t big_endian(std::byte const* bytes) {
        std::uint32_t number = 0;
        for (int i = 0; i != 4; ++i)
            number = number << 8U | static_cast<std::uint32_t>(bytes[i]);
        return number;
    }

    byte_listener listener_;
    std::thread serving_;
};

/// The bytes of a job and of its reply, over a bare stream.
class send_bytes {
public:
    explicit send_bytes(e_security security) : taker_(security), client_(connect_bytes(taker_.port(), security)) {
        auto hello = kxnet::make_hello();
        client_->send(hello);
        if (!client_->receive(hello)) throw std::runtime_error("no hello");
    }
    void send() {
        static string const bytes = bytes_of(job_request());
        static string reply = bytes_of(job_request().make_reply());
        client_->send(view(bytes));
        if (!client_->receive(std::as_writable_bytes(std::span(reply)))) throw std::runtime_error("no reply");
    }

private:
    taker taker_;
    std::unique_ptr<byte_stream> client_;
};

/// The same bytes as a frame that is encoded already.
class send_frame {
public:
    explicit send_frame(e_security security)
        : taker_(security),
          client_(kxnet::packet_stream::connect("127.0.0.1", std::to_string(taker_.port()), client_side(security), 0)) {
    }
    void send() {
        static kxnet::frame const frame(job_request());
        client_->send(frame, 0);
        benchmark::DoNotOptimize(client_->receive(kxnet::no_deadline));
    }

private:
    taker taker_;
    std::unique_ptr<kxnet::packet_stream> client_;
};

/// All that a client does: encoding, sending, waiting for the reply.
class send_request {
public:
    explicit send_request(e_security security) : taker_(security), connection_(nullptr, client_side(security)) {
        if (connection_.connect("127.0.0.1", std::to_string(taker_.port()), 0) != kxcapi::result_code::success)
            throw std::runtime_error(connection_.failure());
    }
    void send() { benchmark::DoNotOptimize(connection_.request(job_request(), 0)); }

private:
    taker taker_;
    kxcapi::connection connection_;
};

template <class Peer>
void send(benchmark::State& state, e_security security) {
    pin_to_one_core();
    auto const size = kxnet::frame(job_request()).size();
    Peer peer(security);
    peer.send();
    for (auto _ : state)
        peer.send();
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

/// Encoding alone, which sending a request needs beside the network.
void encode(benchmark::State& state) {
    pin_to_one_core();
    for (auto _ : state)
        benchmark::DoNotOptimize(kxnet::frame(job_request()));
}

/// What sending takes beyond what the job takes already.
void send_memory(benchmark::State& state, e_security security) {
    auto const size = kxnet::frame(job_request()).size();
    std::size_t most = 0;
    send_request peer(security);
    for (auto _ : state) {
        memory_peak const memory;
        peer.send();
        most = std::max(most, memory.bytes());
    }
    state.counters["encoded"] = static_cast<double>(size);
    state.counters["memory"] = static_cast<double>(most);
    state.counters["memory_beyond_encoded"] = static_cast<double>(most) - static_cast<double>(size);
}

// --- which there are -------------------------------------------------------------------------------------------

void add(char const* name, benchmark::TimeUnit unit, void (*function)(benchmark::State&, e_security),
         e_security security = e_security::plain) {
    benchmark::RegisterBenchmark(name, function, security)->Unit(unit)->MeasureProcessCPUTime()->UseRealTime();
}

[[maybe_unused]] bool const added = [] {
    using benchmark::kMicrosecond;
    using benchmark::kMillisecond;
    add("exchange/kxcapi", kMicrosecond, exchange<echo_kxcapi>);
    add("exchange/bare socket", kMicrosecond, exchange<echo_bytes>);
    add("exchange/ZeroMQ", kMicrosecond, exchange<echo_zeromq>);
    add("exchange_tls/kxcapi", kMicrosecond, exchange<echo_kxcapi>, e_security::tls);
    add("exchange_tls/bare OpenSSL", kMicrosecond, exchange<echo_bytes>, e_security::tls);
    add("send_job/kxnet", kMillisecond, send<send_frame>);
    add("send_job/bare socket", kMillisecond, send<send_bytes>);
    add("send_job_tls/kxnet", kMillisecond, send<send_frame>, e_security::tls);
    add("send_job_tls/bare OpenSSL", kMillisecond, send<send_bytes>, e_security::tls);
    add("submit_job/kxcapi", kMillisecond, send<send_request>);
    add("submit_job/bare socket", kMillisecond, send<send_bytes>);
    add("submit_job/encoding alone", kMillisecond, [](benchmark::State& state, e_security) { encode(state); });
    add("send_memory/kxcapi", kMillisecond, send_memory);
    add("send_memory_tls/kxcapi", kMillisecond, send_memory, e_security::tls);
    return true;
}();

} // namespace
} // namespace kxbench
