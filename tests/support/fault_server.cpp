#include "support/fault_server.h"

#include "support/server_process.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace kx_test {

namespace {

/// A socket that listens on a free port of the loopback address.
std::pair<int, unsigned int> listening() {
    int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(socket, 8) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error("no server on this machine");
    return {socket, ntohs(address.sin_port)};
}

/// The connection for a file; -1 when the client doesn't come.
int accepted_soon(int socket) {
    pollfd poll = {socket, POLLIN, 0};
    return ::poll(&poll, 1, 5000) == 1 ? ::accept4(socket, nullptr, nullptr, SOCK_CLOEXEC) : -1;
}

void send_ending(fault_connection& connection, std::string const& text, e_ending ending) {
    bool there = connection.send(text);
    switch (ending) {
    case e_ending::closed: break;
    case e_ending::stalled: connection.stall(); break;
    case e_ending::cut: connection.cut(); break;
    case e_ending::endless: {
        std::string const piece(std::size_t{1} << 16, text.empty() ? 'x' : text.back());
        while (there)
            there = connection.send(piece);
    } break;
    }
}

void send_file(int listener, ftp_session const& session) {
    std::string asked;
    std::mutex guard;
    std::atomic<std::size_t> sent = 0;
    int const client = accepted_soon(listener);
    if (client < 0) return;
    fault_connection data(client, asked, guard, sent);
    send_ending(data, session.content, session.ending);
}

void serve_ftp(fault_connection& control, ftp_session const& session) {
    if (session.silent_at == "greeting") return control.stall();
    auto const [listener, port] = listening();
    control.send("220 ready\r\n");
    for (std::string line; !(line = control.read_line()).empty();) {
        std::string const command = line.substr(0, line.find(' '));
        if (command == session.silent_at) {
            control.stall();
            break;
        }
        if (command == "USER") {
            control.send("331 password?\r\n");
        } else if (command == "PASS") {
            control.send("230 welcome\r\n");
        } else if (command == "PWD") {
            control.send("257 \"/\"\r\n");
        } else if (command == "EPSV") {
            control.send("229 entering (|||" + std::to_string(port) + "|)\r\n");
        } else if (command == "SIZE" && session.size >= 0) {
            control.send("213 " + std::to_string(session.size) + "\r\n");
        } else if (command == "RETR") {
            control.send("150 here it comes\r\n");
            send_file(listener, session);
            control.send(session.closing + "\r\n");
        } else {
            control.send(command == "TYPE" || command == "CWD" ? "200 done\r\n" : "502 unknown\r\n");
        }
    }
    ::close(listener);
}

} // namespace

fault_connection::fault_connection(int socket, std::string& asked, std::mutex& guard, std::atomic<std::size_t>& sent)
    : socket_(socket), asked_(asked), guard_(guard), sent_(sent) {}

fault_connection::~fault_connection() {
    ::close(socket_);
}

bool fault_connection::receive_more() {
    char piece[4096];
    ssize_t const size = ::recv(socket_, piece, sizeof piece, 0);
    if (size <= 0) return false;
    unread_.append(piece, static_cast<std::size_t>(size));
    std::lock_guard const lock(guard_);
    asked_.append(piece, static_cast<std::size_t>(size));
    return true;
}

std::string fault_connection::read_line() {
    std::size_t end = 0;
    while ((end = unread_.find("\r\n")) == std::string::npos)
        if (!receive_more()) return {};
    std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 2);
    return line;
}

std::string fault_connection::read(std::size_t size) {
    while (unread_.size() < size && receive_more()) {
    }
    std::string taken = unread_.substr(0, size);
    unread_.erase(0, size);
    return taken;
}

void fault_connection::read_request() {
    constexpr std::string_view length_key = "Content-Length: ";
    std::size_t size = 0;
    for (std::string line; !(line = read_line()).empty();)
        if (line.starts_with(length_key)) size = std::stoul(line.substr(length_key.size()));
    while (unread_.size() < size && receive_more()) {
    }
    unread_.erase(0, size);
}

bool fault_connection::send(std::string_view text) {
    while (!text.empty()) {
        ssize_t const size = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
        if (size <= 0) return false;
        sent_ += static_cast<std::size_t>(size);
        text.remove_prefix(static_cast<std::size_t>(size));
    }
    return true;
}

void fault_connection::stall() {
    while (receive_more()) {
    }
}

void fault_connection::cut() {
    // Without waiting for what was sent to arrive, the client is told of a reset, not of an end.
    linger const at_once = {1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

fault_server::fault_server(behaviour act) {
    pass_by_proxies();
    std::tie(socket_, port_) = listening();
    thread_ = std::thread([this, act = std::move(act)] { serve(act); });
}

fault_server::fault_server(std::string answer) : fault_server(http_answer(std::move(answer), e_ending::closed)) {}

fault_server::~fault_server() {
    ::shutdown(socket_, SHUT_RDWR);
    thread_.join();
    ::close(socket_);
}

void fault_server::serve(behaviour const& act) {
    for (int client = 0; (client = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        {
            std::lock_guard const lock(guard_);
            asked_.clear();
        }
        fault_connection connection(client, asked_, guard_, sent_);
        act(connection);
    }
}

std::string fault_server::url(std::string_view path, std::string_view user_info, std::string_view scheme) const {
    return std::string(scheme) + "://" + std::string(user_info) + "127.0.0.1:" + std::to_string(port_) +
           std::string(path);
}

std::string fault_server::asked() const {
    std::lock_guard const lock(guard_);
    return asked_;
}

fault_server::behaviour silent() {
    return [](fault_connection& connection) { connection.stall(); };
}

fault_server::behaviour http_answer(std::string text, e_ending ending) {
    return [text = std::move(text), ending](fault_connection& connection) {
        connection.read_request();
        send_ending(connection, text, ending);
    };
}

fault_server::behaviour ftp_answer(ftp_session session) {
    return [session = std::move(session)](fault_connection& connection) { serve_ftp(connection, session); };
}

} // namespace kx_test
