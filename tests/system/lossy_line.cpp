#include "lossy_line.h"

#include "raw_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace kx_test {
namespace {

constexpr int moment_in_ms = 20;
constexpr std::size_t bytes_of_request = 10'000;
constexpr std::size_t hello_size = 12;
constexpr std::size_t length_size = 4;

std::size_t length_at(std::string const& bytes, std::size_t at) {
    std::size_t length = 0;
    for (std::size_t i = 0; i != length_size; ++i)
        length = length << 8U | static_cast<unsigned char>(bytes[at + i]);
    return length;
}

bool is_answer(std::string_view frame) {
    constexpr char reply = 1;
    return frame[length_size] == reply && frame.find("cluster.job.submit") != std::string_view::npos;
}

/// What there is to read; empty at the end.
std::string read_some(int socket) {
    char piece[65536];
    ssize_t const size = ::recv(socket, piece, sizeof piece, 0);
    return {piece, size > 0 ? static_cast<std::size_t>(size) : 0};
}

bool send_all(int socket, std::string_view bytes) {
    return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

} // namespace

/// A connection through the line.
struct lossy_line::connection {
    int client;
    raw_client node;
    e_fault fault;
    std::size_t of_client = 0;
    std::string of_node{}; ///< what has not been passed on
    bool is_greeted = false;
};

lossy_line::lossy_line(std::string const& node_port, std::vector<e_fault> faults)
    : node_port_(node_port), faults_(std::move(faults)), listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof here;
    auto* const address = reinterpret_cast<sockaddr*>(&here);
    if (::bind(listening_, address, size) != 0 || ::listen(listening_, SOMAXCONN) != 0 ||
        ::getsockname(listening_, address, &size) != 0)
        throw std::runtime_error("the line cannot listen");
    port_ = ntohs(here.sin_port);
    accepting_ = std::thread([this] { accept(); });
}

lossy_line::~lossy_line() {
    end();
    ::close(listening_);
}

void lossy_line::end() {
    is_closing_ = true;
    if (accepting_.joinable()) accepting_.join();
    for (auto& each : serving_)
        if (each.joinable()) each.join();
}

void lossy_line::accept() {
    while (!is_closing_) {
        pollfd waiting = {listening_, POLLIN, 0};
        if (::poll(&waiting, 1, moment_in_ms) != 1) continue;
        int const client = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
        std::size_t const number = connections_++;
        e_fault const fault = number < faults_.size() ? faults_[number] : e_fault::none;
        serving_.emplace_back([this, client, fault] { serve(client, fault); });
    }
}

void lossy_line::serve(int client, e_fault fault) {
    if (fault != e_fault::refused) {
        connection on{client, raw_client(node_port_), fault};
        bool is_open = true;
        while (is_open && !is_closing_) {
            bool const is_deaf = fault == e_fault::stalled && on.of_client >= bytes_of_request;
            pollfd waiting[] = {{is_deaf ? -1 : client, POLLIN, 0}, {on.node.descriptor(), POLLIN, 0}};
            ::poll(waiting, 2, moment_in_ms);
            if (waiting[0].revents != 0) is_open = pass_request(on);
            if (is_open && waiting[1].revents != 0) is_open = pass_answer(on);
        }
    }
    // A reset, so that nothing which was lost on the way arrives after all.
    linger const at_once = {1, 0};
    if (fault != e_fault::none) ::setsockopt(client, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    ::close(client);
}

bool lossy_line::pass_request(connection& on) {
    std::string const bytes = read_some(on.client);
    on.of_client += bytes.size();
    bool const is_much = on.of_client >= bytes_of_request;
    if (is_much && (on.fault == e_fault::stalled || on.fault == e_fault::in_request)) has_struck_ = true;
    if (is_much && on.fault == e_fault::in_request) return false;
    return !bytes.empty() && send_all(on.node.descriptor(), bytes);
}

/// Frame by frame, when an answer is to be lost.
bool lossy_line::pass_answer(connection& on) {
    std::string const bytes = read_some(on.node.descriptor());
    if (bytes.empty()) return false;
    if (on.fault == e_fault::without_greeting) return true;
    bool const is_about_answer =
        on.fault == e_fault::before_answer || on.fault == e_fault::in_answer || on.fault == e_fault::silent;
    if (!is_about_answer) return send_all(on.client, bytes);
    on.of_node += bytes;
    for (;;) {
        std::size_t const head = on.is_greeted ? length_size : hello_size;
        if (on.of_node.size() < head) return true;
        std::size_t const size = on.is_greeted ? length_size + length_at(on.of_node, 0) : hello_size;
        if (on.of_node.size() < size) return true;
        std::string const whole = on.of_node.substr(0, size);
        on.of_node.erase(0, size);
        if (on.is_greeted && is_answer(whole)) {
            has_struck_ = true;
            if (on.fault == e_fault::silent) continue;
            if (on.fault == e_fault::in_answer) static_cast<void>(send_all(on.client, whole.substr(0, size / 2)));
            return false;
        }
        on.is_greeted = true;
        if (!send_all(on.client, whole)) return false;
    }
}

} // namespace kx_test
