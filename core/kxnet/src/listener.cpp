#include <kxnet/listener.h>

#include "packet_stream_parts.h"

#include <kxbase/errors.h>
#include <kxbase/report.h>

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

namespace kxnet {

namespace {

tcp_socket listen_on(std::string const& address, std::string const& port);
int open_listening(addrinfo const& on);
void wait_for_descriptors(int error, stop_signal const& closed);

} // namespace

struct listener::state {
    state(tcp_socket listening, std::shared_ptr<tls_context const> context)
        : socket(std::move(listening)), tls(std::move(context)) {}

    tcp_socket socket;
    std::shared_ptr<tls_context const> tls;
    unsigned int port = 0;
    stop_signal closed;
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
    for (;;) {
        try {
            if (!wait_on(state_->socket.descriptor(), POLLIN, deadline, &state_->closed)) return {};
        } catch (connection_lost const&) {
            return {};
        }
        endpoint from = {};
        from.size = sizeof from.address;
        tcp_socket client(::accept4(state_->socket.descriptor(), reinterpret_cast<sockaddr*>(&from.address), &from.size,
                                    SOCK_CLOEXEC));
        if (client.descriptor() < 0) {
            wait_for_descriptors(errno, state_->closed);
            continue;
        }
        client.prepare();
        auto parts = std::make_unique<packet_stream_parts>(std::move(client), endpoint_text(from), state_->tls,
                                                           std::optional<std::string>());
        return std::unique_ptr<packet_stream>(new packet_stream(std::move(parts)));
    }
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

/// Clients that have gone again are passed over; a process or system that is full is given a moment.
void wait_for_descriptors(int error, stop_signal const& closed) {
    constexpr unsigned int moment_ms = 50;
    bool const is_full = error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
    if (!is_full) return;
    kxbase::report(__FILE__, __LINE__, "ClientProxy", 3, 4, "no client can be taken: " + system_error_text(error));
    try {
        static_cast<void>(wait_on(-1, 0, deadline_after(moment_ms), &closed));
    } catch (connection_lost const&) { // NOLINT(bugprone-empty-catch): the caller sees it as well
    }
}

} // namespace

} // namespace kxnet
