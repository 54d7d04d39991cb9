#include "support/cutting_proxy.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

namespace kx_test {

namespace {

using e_direction = line_cut::e_direction;

sockaddr_in loopback(unsigned int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void close_with_reset(int socket, bool is_reset) {
    linger const at_once = {1, 0};
    if (is_reset) ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    ::close(socket);
}

} // namespace

cutting_proxy::cutting_proxy(std::string const& server_port)
    : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      server_port_(static_cast<unsigned int>(std::stoul(server_port))) {
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(socket_, 8) != 0 ||
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no server on this machine");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

cutting_proxy::~cutting_proxy() {
    ::shutdown(socket_, SHUT_RDWR);
    thread_.join();
    ::close(socket_);
}

void cutting_proxy::cut(line_cut const& where) {
    std::lock_guard const lock(guard_);
    where_ = where;
    has_cut_ = false;
    to_client_ = to_server_ = 0;
}

void cutting_proxy::run() {
    for (;;) {
        int const client = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) return;
        serve(client);
    }
}

void cutting_proxy::serve(int client) {
    line_cut where;
    {
        std::lock_guard const lock(guard_);
        where = where_;
    }
    int const server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in const address = loopback(server_port_);
    bool is_going = ::connect(server, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    std::size_t const most_to_client = where.direction == e_direction::to_client ? where.after : all;
    std::size_t const most_to_server = where.direction == e_direction::to_server ? where.after : all;
    bool is_whole = most_to_client != 0 && most_to_server != 0;
    while (is_going && is_whole) {
        pollfd waited[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (::poll(waited, 2, -1) < 0) break;
        if (waited[0].revents != 0) is_going = pass_on(client, server, to_server_, most_to_server);
        if (is_going && waited[1].revents != 0) is_going = pass_on(server, client, to_client_, most_to_client);
        is_whole = to_server_ < most_to_server && to_client_ < most_to_client;
    }
    if (!is_whole) has_cut_ = true;
    close_with_reset(client, !is_whole && where.is_reset);
    close_with_reset(server, !is_whole && where.is_reset);
}

/// False when one side has gone.
bool cutting_proxy::pass_on(int from, int to, std::atomic<std::size_t>& passed, std::size_t most) const {
    std::array<char, 16384> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the next line
    ssize_t const size = ::recv(from, bytes.data(), std::min(bytes.size(), most - passed), 0);
    if (size <= 0) return false;
    passed += static_cast<std::size_t>(size);
    return ::send(to, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL) == size;
}

} // namespace kx_test
