#include "raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <stdexcept>

namespace kx_test {

raw_client::raw_client(std::string const& port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<in_port_t>(std::stoul(port)));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval const patience = {20, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (::connect(socket_, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0) return;
    ::close(socket_);
    throw std::runtime_error("cannot connect to port " + port);
}

raw_client::~raw_client() {
    if (socket_ >= 0) ::close(socket_);
}

bool raw_client::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        ssize_t const sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::string raw_client::read(std::size_t size) const {
    std::string all;
    char piece[4096];
    while (all.size() < size) {
        ssize_t const got = ::recv(socket_, piece, std::min(size - all.size(), sizeof piece), 0);
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) throw std::runtime_error("the node stays");
        if (got <= 0) break;
        all.append(piece, static_cast<std::size_t>(got));
    }
    return all;
}

std::string raw_client::read_to_end() const {
    return read(std::numeric_limits<std::size_t>::max());
}

void raw_client::finish() const {
    ::shutdown(socket_, SHUT_WR);
}

void raw_client::reset() {
    linger const at_once = {1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    ::close(socket_);
    socket_ = -1;
}

} // namespace kx_test
