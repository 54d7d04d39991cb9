#include "resolving.h"

#include "wake_pipe.h"

#include <kxbase/urls.h>

#include <netdb.h>
#include <poll.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace kxnet {

namespace {

/// What the look-up has found. Shared by those who wait and the thread that looks, of which any may go first.
struct look_up {
    look_up(std::string asked_host, std::string asked_port)
        : host(std::move(asked_host)), port(std::move(asked_port)) {}

    std::string host;
    std::string port;
    wake_pipe done;
    std::mutex guard;
    int error = EAI_AGAIN;
    std::vector<endpoint> found;
};

/// Look-ups that the system has not finished. Whoever asks for the same again waits with the others: a host that tries
/// again and again while its name server is dead has one thread for that, however often it has given up.
class look_ups_under_way {
public:
    [[nodiscard]] static look_ups_under_way& get();

    /// @throws std::system_error when there is no thread for it
    [[nodiscard]] std::shared_ptr<look_up> ask(std::string const& host, std::string const& port);

private:
    void finish(std::shared_ptr<look_up> const& asked) noexcept;

    std::mutex guard_;
    std::vector<std::shared_ptr<look_up>> all_;
};

void check_names(std::string const& host, std::string const& port);
void check_number(std::string const& host, std::string const& port);
int find_endpoints(std::string const& host, std::string const& port, int flags, std::vector<endpoint>& found);
void wait_for(look_up const& asked, time_point deadline, stop_signal const* stop);
[[noreturn]] void refuse(std::string const& host, std::string const& port, std::string const& why);

} // namespace

std::vector<endpoint> resolve(std::string const& host, std::string const& port, time_point deadline,
                              stop_signal const* stop) {
    check_names(host, port);
    // Numbers need no look-up, and so no thread.
    std::vector<endpoint> found;
    if (find_endpoints(host, port, AI_NUMERICHOST | AI_NUMERICSERV, found) == 0) return found;

    std::shared_ptr<look_up> asked;
    try {
        asked = look_ups_under_way::get().ask(host, port);
    } catch (std::system_error const& error) {
        refuse(host, port, error.what());
    }
    wait_for(*asked, deadline, stop);
    std::lock_guard const lock(asked->guard);
    if (asked->error != 0) refuse(host, port, ::gai_strerror(asked->error));
    return asked->found;
}

namespace {

/// Never destroyed: threads that look may go on until the process ends.
look_ups_under_way& look_ups_under_way::get() {
    static auto* const only = new look_ups_under_way; // NOLINT(cppcoreguidelines-owning-memory)
    return *only;
}

std::shared_ptr<look_up> look_ups_under_way::ask(std::string const& host, std::string const& port) {
    std::lock_guard const lock(guard_);
    for (auto const& each : all_)
        if (each->host == host && each->port == port) return each;
    auto const asked = all_.emplace_back(std::make_shared<look_up>(host, port));
    try {
        std::thread([this, asked] { finish(asked); }).detach();
    } catch (...) {
        all_.pop_back();
        throw;
    }
    return asked;
}

void look_ups_under_way::finish(std::shared_ptr<look_up> const& asked) noexcept {
    std::vector<endpoint> addresses;
    int error = EAI_MEMORY;
    try {
        error = find_endpoints(asked->host, asked->port, 0, addresses);
    } catch (std::bad_alloc const&) { // NOLINT(bugprone-empty-catch): as the system would say it
    }
    {
        std::lock_guard const lock(guard_);
        std::erase(all_, asked);
    }
    {
        std::lock_guard const lock(asked->guard);
        asked->error = error;
        asked->found = std::move(addresses);
    }
    asked->done.wake();
}

void check_names(std::string const& host, std::string const& port) {
    constexpr std::size_t longest_host = 255;
    if (host.empty()) refuse(host, port, "there is no host name");
    if (host.size() > longest_host)
        refuse(kxbase::without_url_secrets(host).substr(0, longest_host) + "...", port, "the host name is too long");
    if (port.empty()) refuse(host, port, "there is no port");
    // A name ends at a NUL for the system, and would mean another one than was given.
    if ((host + port).find('\0') != std::string::npos)
        throw connection_lost(__FILE__, __LINE__, "the name of a host or port holds a NUL");
    check_number(host, port);
}

/// The system takes numbers that are no ports, modulo 65,536, and with a blank or a sign before them.
void check_number(std::string const& host, std::string const& port) {
    if (port.find_first_not_of("0123456789") != std::string::npos) {
        bool const is_name = (port[0] >= 'a' && port[0] <= 'z') || (port[0] >= 'A' && port[0] <= 'Z');
        if (!is_name) refuse(host, port, "the port is neither a number nor the name of a service");
        return;
    }
    unsigned int number = 0;
    auto const end = port.data() + port.size();
    auto const result = std::from_chars(port.data(), end, number);
    if (result.ec != std::errc() || number < 1 || number > 65535)
        refuse(host, port, "ports are numbers from 1 to 65535");
}

int find_endpoints(std::string const& host, std::string const& port, int flags, std::vector<endpoint>& found) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = flags;
    addrinfo* first = nullptr;
    int const error = ::getaddrinfo(host.c_str(), port.c_str(), &wanted, &first);
    if (error != 0) return error;
    std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> const owned(first, &::freeaddrinfo);
    for (addrinfo const* each = first; each != nullptr; each = each->ai_next) {
        endpoint& to = found.emplace_back();
        to.size = each->ai_addrlen;
        std::memcpy(&to.address, each->ai_addr, each->ai_addrlen);
    }
    return found.empty() ? EAI_NONAME : 0;
}

void wait_for(look_up const& asked, time_point deadline, stop_signal const* stop) {
    bool const is_done = wait_on(asked.done.descriptor(), POLLIN, deadline, stop);
    if (!is_done) throw timed_out(__FILE__, __LINE__, "the look-up of '" + asked.host + "' takes too long");
}

void refuse(std::string const& host, std::string const& port, std::string const& why) {
    throw connection_lost(__FILE__, __LINE__, "'" + host + "' port '" + port + "': " + why);
}

} // namespace

} // namespace kxnet
