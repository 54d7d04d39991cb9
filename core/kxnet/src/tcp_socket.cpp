#include "tcp_socket.h"

#include <kxbase/source_position.h>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>

namespace kxnet {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long a receive call may block on its own, without a poll before it. Enough for most replies, and short beside what
/// anybody waits for.
constexpr milliseconds blocking_slice(100);

int poll_timeout(time_point deadline);
[[noreturn]] void raise_lost(std::string const& what,
                             kxbase::source_position where = kxbase::source_position::current());

} // namespace

std::string endpoint_text(endpoint const& of) {
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (::getnameinfo(of.get(), of.size, host, sizeof host, port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) != 0)
        return "an unknown address";
    std::string const text(host);
    return (of.address.ss_family == AF_INET6 ? '[' + text + ']' : text) + ':' + port;
}

std::string system_error_text(int error) {
    return std::generic_category().message(error);
}

bool wait_on(int descriptor, short events, time_point deadline, stop_signal const* stop) {
    pollfd waited[] = {{descriptor, events, 0}, {stop == nullptr ? -1 : stop->descriptor(), POLLIN, 0}};
    for (;;) {
        int const count = ::poll(waited, 2, poll_timeout(deadline));
        if (count > 0 && waited[1].revents != 0) raise_lost("closed by this side");
        if (count > 0) return true;
        if (count < 0 && errno != EINTR) raise_lost(system_error_text(errno));
        if (count == 0 && steady_clock::now() >= deadline) return false;
    }
}

tcp_socket::tcp_socket(tcp_socket&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), ends_waits_(other.ends_waits_), stop_(other.stop_),
      peer_(std::move(other.peer_)) {}

tcp_socket& tcp_socket::operator=(tcp_socket&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(ends_waits_, other.ends_waits_);
    std::swap(stop_, other.stop_);
    std::swap(peer_, other.peer_);
    return *this;
}

tcp_socket::~tcp_socket() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

tcp_socket tcp_socket::connect(endpoint const& to, time_point deadline, stop_signal const* stop) {
    tcp_socket made(::socket(to.address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.descriptor_ < 0) raise_lost("cannot make a socket: " + system_error_text(errno));
    made.set_stop(stop);
    int error = ::connect(made.descriptor_, to.get(), to.size) == 0 ? 0 : errno;
    if (error == EINPROGRESS || error == EINTR) {
        if (!made.wait(POLLOUT, deadline))
            throw timed_out(__FILE__, __LINE__, endpoint_text(to) + " does not answer in time");
        socklen_t size = sizeof error;
        if (::getsockopt(made.descriptor_, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    }
    if (error != 0) raise_lost(endpoint_text(to) + ": " + system_error_text(error));
    made.prepare();
    made.expect_deadlines();
    return made;
}

void tcp_socket::prepare() const noexcept {
    struct option {
        int level;
        int name;
        int value;
    };
    constexpr option options[] = {
        {IPPROTO_TCP, TCP_NODELAY, 1},    {SOL_SOCKET, SO_KEEPALIVE, 1}, {IPPROTO_TCP, TCP_KEEPIDLE, 60},
        {IPPROTO_TCP, TCP_KEEPINTVL, 15}, {IPPROTO_TCP, TCP_KEEPCNT, 4},
    };
    // A system that refuses one of them still has a connection.
    for (option const& each : options)
        ::setsockopt(descriptor_, each.level, each.name, &each.value, sizeof each.value);
    int off = 0;
    ::ioctl(descriptor_, FIONBIO, &off);
}

void tcp_socket::expect_deadlines() noexcept {
    timeval const slice = {0, std::chrono::microseconds(blocking_slice).count()};
    ends_waits_ = ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &slice, sizeof slice) == 0;
}

/// Whether a receive call may wait on its own: it ends with the connection, and soon enough for the deadline.
bool tcp_socket::may_block(time_point deadline) const noexcept {
    if (stop_ != nullptr) return false;
    return deadline == no_deadline || (ends_waits_ && deadline - steady_clock::now() >= blocking_slice);
}

std::optional<std::size_t> tcp_socket::receive_some(std::span<std::byte> out, time_point deadline) const {
    // Waiting in the call itself saves two calls for each reply.
    int flags = may_block(deadline) ? 0 : MSG_DONTWAIT;
    for (;; flags = MSG_DONTWAIT) {
        ssize_t const size = ::recv(descriptor_, out.data(), out.size(), flags);
        if (size >= 0) return static_cast<std::size_t>(size);
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) raise_lost(peer_ + ": " + system_error_text(errno));
        if (!wait(POLLIN, deadline)) return std::nullopt;
    }
}

std::size_t tcp_socket::send_some(std::span<std::byte const> bytes, bool more, time_point deadline) const {
    int const flags = MSG_DONTWAIT | MSG_NOSIGNAL | (more ? MSG_MORE : 0);
    for (;;) {
        ssize_t const size = ::send(descriptor_, bytes.data(), bytes.size(), flags);
        if (size > 0) return static_cast<std::size_t>(size);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0 && errno != EAGAIN && errno != EWOULDBLOCK) raise_lost(peer_ + ": " + system_error_text(errno));
        if (!wait(POLLOUT, deadline)) return 0;
    }
}

void tcp_socket::shut_down() const noexcept {
    ::shutdown(descriptor_, SHUT_RDWR);
}

namespace {

/// Rounded up: waiting again for less than a millisecond would be a loop.
int poll_timeout(time_point deadline) {
    if (deadline == no_deadline) return -1;
    auto const left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

void raise_lost(std::string const& what, kxbase::source_position where) {
    throw connection_lost(where.file_name(), where.line(), what);
}

} // namespace

} // namespace kxnet
