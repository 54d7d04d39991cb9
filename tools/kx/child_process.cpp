#include "child_process.h"

#include <kxbase/errors.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

extern "C" char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere

namespace kx {
namespace {

using clock = std::chrono::steady_clock;

constexpr std::size_t most_of_errors = 64UL << 10U;

[[noreturn]] void raise_system_error(std::string const& what, int error) {
    kxbase::es::call::raise(what + ": " + std::strerror(error));
}

/// An open file that is closed at the end.
class file_descriptor {
public:
    explicit file_descriptor(int number = -1) : number_(number) {}
    file_descriptor(file_descriptor const&) = delete;
    file_descriptor& operator=(file_descriptor const&) = delete;
    ~file_descriptor() { close(); }

    void set(int number) {
        close();
        number_ = number;
    }
    void close() {
        if (number_ >= 0) ::close(std::exchange(number_, -1));
    }
    [[nodiscard]] int get() const { return number_; }
    [[nodiscard]] bool is_open() const { return number_ >= 0; }

private:
    int number_;
};

/// Our end of a stream to or from the program, and its own. A pair of sockets and no pipe: writing to one that nobody
/// reads any more can be told not to raise a signal.
struct stream {
    stream() {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            raise_system_error("cannot start a program", errno);
        ours.set(ends[0]);
        theirs.set(ends[1]);
        // Who was started without standard streams gets their numbers here, which the program's own are put over.
        if (ends[1] <= STDERR_FILENO) theirs.set(::fcntl(ends[1], F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    file_descriptor ours;
    file_descriptor theirs;
};

/// The program while it runs. One that is still there at the end is killed.
class child {
public:
    child(std::vector<std::string> const& command, std::array<stream, 3> const& streams);
    child(child const&) = delete;
    child& operator=(child const&) = delete;
    ~child() {
        if (id_ <= 0) return;
        ::kill(id_, SIGKILL);
        while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }

    /// Whether it has ended; its exit code is then set.
    [[nodiscard]] bool has_ended(int& exit_code) {
        int status = 0;
        if (::waitpid(id_, &status, WNOHANG) != id_) return false;
        id_ = 0;
        exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return true;
    }

private:
    pid_t id_ = 0;
};

child::child(std::vector<std::string> const& command, std::array<stream, 3> const& streams) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (auto const& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (int i = 0; i < 3; ++i)
        ::posix_spawn_file_actions_adddup2(&actions, streams[static_cast<std::size_t>(i)].theirs.get(), i);
    int const error = ::posix_spawnp(&id_, command.front().c_str(), &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return;
    id_ = 0;
    if (error == ENOENT) kxbase::es::unsupp::raise("there is no program \"" + command.front() + "\" on the PATH");
    raise_system_error("cannot start \"" + command.front() + "\"", error);
}

void send_some(stream& to, std::string_view& input) {
    auto const sent = ::send(to.ours.get(), input.data(), input.size(), MSG_NOSIGNAL);
    if (sent >= 0) input.remove_prefix(static_cast<std::size_t>(sent));
    // A program that does not want the rest says itself what is wrong.
    bool const is_over = sent < 0 && errno != EAGAIN && errno != EINTR;
    if (input.empty() || is_over) to.ours.close();
}

void receive_some(stream& from, std::string& out, std::size_t most) {
    std::array<char, 1UL << 16U> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): filled below
    auto const received = ::recv(from.ours.get(), bytes.data(), bytes.size(), 0);
    if (received > 0) {
        out.append(bytes.data(), std::min(static_cast<std::size_t>(received), most - out.size()));
    } else if (received == 0 || (errno != EAGAIN && errno != EINTR)) {
        from.ours.close();
    }
}

/// Waits until one of the streams can go on.
/// @return for each whether it can
std::array<bool, 3> wait_for_streams(std::array<stream, 3> const& streams, clock::time_point end) {
    std::array<pollfd, 3> polled{};
    for (std::size_t i = 0; i < polled.size(); ++i)
        polled[i] = {streams[i].ours.get(), static_cast<short>(i == 0 ? POLLOUT : POLLIN), 0};
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now());
    ::poll(polled.data(), polled.size(), static_cast<int>(std::max(left, std::chrono::milliseconds(1)).count()));
    return {polled[0].revents != 0, polled[1].revents != 0, polled[2].revents != 0};
}

} // namespace

filter_result run_filter(std::vector<std::string> const& command, std::string_view input, std::chrono::seconds limit,
                         std::size_t most) {
    auto const end = clock::now() + limit;
    auto const check_time = [&] {
        if (clock::now() < end) return;
        kxbase::es::call::raise("\"" + command.front() + "\" has not ended after " + std::to_string(limit.count()) +
                                " s and was killed");
    };
    std::array<stream, 3> streams;
    auto& [in, out, err] = streams;
    child program(command, streams);
    for (auto& each : streams)
        each.theirs.close();
    if (input.empty()) in.ours.close();
    filter_result result;
    while (out.ours.is_open() || err.ours.is_open()) {
        auto const ready = wait_for_streams(streams, end);
        if (ready[0]) send_some(in, input);
        if (ready[1]) receive_some(out, result.out, most + 1);
        if (ready[2]) receive_some(err, result.err, most_of_errors);
        if (result.out.size() > most)
            kxbase::es::call::raise("\"" + command.front() + "\" writes more than " + std::to_string(most) + " bytes");
        check_time();
    }
    in.ours.close();
    // It may have closed its outputs and go on.
    while (!program.has_ended(result.exit_code)) {
        ::poll(nullptr, 0, 1);
        check_time();
    }
    return result;
}

} // namespace kx
