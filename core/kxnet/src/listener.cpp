#include <kxnet/listener.h>

#include "packet_stream_parts.h"

#include <kxbase/errors.h>
#include <kxbase/report.h>

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <optional>
#include <utility>

namespace kxnet {

namespace {

tcp_socket listen_on(std::string const& address, std::string const& port);
int open_listening(addrinfo const& on);
bool is_of_that_client(int error);
bool is_for_want_of_room(int error);

} // namespace

struct listener::state {
    state(tcp_socket listening, std::shared_ptr<tls_context const> context)
        : socket(std::move(listening)), tls(std::move(context)) {}

    tcp_socket socket;
    std::shared_ptr<tls_context const> tls;
    unsigned int port = 0;
    stop_signal closed;
    std::atomic<bool> is_full = false;

    void refuse(int error, time_point deadline);
};

listener::listener(std::string const& address, unsigned int port, server_options const& options) {
    std::shared_ptr<tls_context const> tls;
    if (!options.certificate_file.empty() || !options.key_file.empty())
        tls = std::make_shared<tls_context const>(options);
    state_ = std::make_unique<state>(listen_on(address, std::to_string(port)), std::move(tls));
    sockaddr_storage bound = {};
    socklen_t size = sizeof bound;
    ::getsockname(state_->socket.descriptor(), reinterpret_cast<sockaddr*>(&bound), &size);
    in_port_t const number = bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6 const&>(bound).sin6_port
                                                         : reinterpret_cast<sockaddr_in const&>(bound).sin_port;
    state_->port = ntohs(number);
}

listener::~listener() = default;

unsigned int listener::port() const noexcept {
    return state_->port;
}

std::unique_ptr<packet_stream> listener::accept(time_point deadline) {
    do {
        try {
            if (!wait_on(state_->socket.descriptor(), POLLIN, deadline, &state_->closed)) return {};
        } catch (connection_lost const&) {
            return {};
        }
        endpoint from = {};
        from.size = sizeof from.address;
        tcp_socket client(::accept4(state_->socket.descriptor(), reinterpret_cast<sockaddr*>(&from.address), &from.size,
                                    SOCK_CLOEXEC));
        if (client.descriptor() >= 0) {
            state_->is_full = false;
            client.prepare();
            auto parts = std::make_unique<packet_stream_parts>(std::move(client), endpoint_text(from), state_->tls,
                                                               std::optional<std::string>());
            return std::unique_ptr<packet_stream>(new packet_stream(std::move(parts)));
        }
        if (int const error = errno; !is_of_that_client(error)) {
            state_->refuse(error, deadline);
            return {};
        }
    } while (std::chrono::steady_clock::now() < deadline);
    return {};
}

bool listener::is_full() const noexcept {
    return state_->is_full;
}

void listener::close() noexcept {
    state_->closed.stop();
}

namespace {

tcp_socket listen_on(std::string const& address, std::string const& port) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    // A socket of the newer family takes clients of both.
    if (address.empty()) wanted.ai_family = AF_INET6;
    addrinfo* first = nullptr;
    int const error = ::getaddrinfo(address.empty() ? nullptr : address.c_str(), port.c_str(), &wanted, &first);
    std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> const found(first, &::freeaddrinfo);
    int last_error = EADDRNOTAVAIL;
    for (addrinfo const* each = first; error == 0 && each != nullptr; each = each->ai_next) {
        int const descriptor = open_listening(*each);
        if (descriptor >= 0) return tcp_socket(descriptor);
        last_error = errno;
    }
    // A host without that family has only the other one.
    if (address.empty() && last_error == EAFNOSUPPORT) return listen_on("0.0.0.0", port);
    kxbase::es::call::raise("cannot listen on '" + address + "' port " + port + ": " +
                            (error != 0 ? ::gai_strerror(error) : system_error_text(last_error)));
}

/// -1 and errno when it is not possible.
int open_listening(addrinfo const& on) {
    tcp_socket made(::socket(on.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.descriptor() < 0) return -1;
    int const yes = 1;
    int const no = 0;
    ::setsockopt(made.descriptor(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (on.ai_family == AF_INET6) ::setsockopt(made.descriptor(), IPPROTO_IPV6, IPV6_V6ONLY, &no, sizeof no);
    if (::bind(made.descriptor(), on.ai_addr, on.ai_addrlen) != 0 || ::listen(made.descriptor(), SOMAXCONN) != 0) {
        int const error = errno;
        made = tcp_socket(-1);
        errno = error;
        return -1;
    }
    return made.release();
}

/// Whether accept4 tells of a client that has gone again, and not of this side.
bool is_of_that_client(int error) {
    constexpr int errors[] = {EINTR,     ECONNABORTED, EAGAIN,       EPROTO,     ENOPROTOOPT, ENETDOWN,
                              EHOSTDOWN, ENONET,       EHOSTUNREACH, EOPNOTSUPP, ENETUNREACH};
    return std::find(std::begin(errors), std::end(errors), error) != std::end(errors);
}

bool is_for_want_of_room(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

} // namespace

/// Whatever it is, it is not over at once: a caller that tries again and again would do nothing else.
void listener::state::refuse(int error, time_point deadline) {
    constexpr unsigned int moment_ms = 50;
    constexpr unsigned int kind_connection = 3;
    constexpr unsigned int severity_warning = 4;
    bool const was_full = is_full.exchange(is_for_want_of_room(error));
    if (!was_full || !is_full)
        kxbase::report(__FILE__, __LINE__, "listener", kind_connection, severity_warning,
                       "no client can be taken: " + system_error_text(error));
    try {
        static_cast<void>(wait_on(-1, 0, std::min(deadline, deadline_after(moment_ms)), &closed));
    } catch (connection_lost const&) { // NOLINT(bugprone-empty-catch): the caller sees it as well
    }
}

} // namespace kxnet
