#include "support/server_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace kx_test {

namespace {

// "nobody" of every Linux system.
constexpr uid_t nobody = 65534;

bool is_root() {
    return ::geteuid() == 0;
}

sockaddr_in loopback(unsigned int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

void give_to_server(std::filesystem::path const& path) {
    namespace fs = std::filesystem;
    fs::permissions(path, fs::is_directory(path) ? fs::perms(0755) : fs::perms(0644));
    if (is_root() && ::chown(path.c_str(), nobody, nobody) != 0)
        throw std::runtime_error("cannot give " + path.string() + " to the server");
}

std::vector<pid_t> children_of(pid_t process) {
    std::string const id = std::to_string(process);
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    return {std::istream_iterator<pid_t>(list), {}};
}

/// The child's part; only calls that are allowed after a fork of a process with threads.
[[noreturn]] void become(char* const* argv, int log, pid_t parent) {
    ::setpgid(0, 0);
    if (is_root() && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0)) ::_exit(126);
    // After the change of the user, which forgets it. A parent that died before is found by its number.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(126);
    int const nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::close_range(3, ~0U, 0);
    ::execv(argv[0], argv);
    ::_exit(127);
}

} // namespace

unsigned int free_port() {
    int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    bool const found = ::bind(socket, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    ::close(socket);
    if (!found) throw std::runtime_error("no free port on this machine");
    return ntohs(address.sin_port);
}

std::string received_from(unsigned int port, std::size_t size, std::string_view sent) {
    int const socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    timeval const patience = {20, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address = loopback(port);
    std::string text(size, '\0');
    ssize_t received = -1;
    if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::send(socket, sent.data(), sent.size(), MSG_NOSIGNAL) >= 0)
        received = ::recv(socket, text.data(), size, 0);
    ::close(socket);
    text.resize(received < 0 ? 0 : static_cast<std::size_t>(received));
    return text;
}

void pass_by_proxies() {
    for (char const* name : {"no_proxy", "NO_PROXY"})
        ::setenv(name, "127.0.0.1,localhost", 1);
}

server_folder::server_folder() {
    give_to_server(scratch_.path());
    pass_by_proxies();
}

std::string server_folder::write(std::string_view name, std::string_view content) const {
    std::string path = scratch_.write(name, content);
    for (std::filesystem::path at = path; at != scratch_.path(); at = at.parent_path())
        give_to_server(at);
    return path;
}

std::string server_folder::make_folder(std::string_view name) const {
    std::string path = scratch_.file(name);
    std::filesystem::create_directories(path);
    give_to_server(path);
    return path;
}

server_process::server_process(std::string const& program, std::vector<std::string> const& arguments,
                               std::string const& log) {
    if (::access(program.c_str(), X_OK) != 0)
        throw std::runtime_error("there is no " + program + ", which scripts/setup installs");
    std::vector<char*> argv = {const_cast<char*>(program.c_str())}; // NOLINT(cppcoreguidelines-pro-type-const-cast)
    for (auto const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT
    argv.push_back(nullptr);
    int const log_file = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (log_file < 0) throw std::runtime_error("cannot write " + log);
    ::prctl(PR_SET_CHILD_SUBREAPER, 1L);
    pid_t const parent = ::getpid();
    pid_ = ::fork();
    if (pid_ == 0) become(argv.data(), log_file, parent);
    ::close(log_file);
    if (pid_ < 0) throw std::runtime_error("cannot start " + program);
    // Here too: whoever is first, the group is there before it is killed.
    ::setpgid(pid_, pid_);
}

server_process::~server_process() {
    // Sessions of their own are not in the group; once their parent has gone, they are this process's children.
    std::vector<pid_t> const started = children_of(pid_);
    ::kill(-pid_, SIGKILL);
    for (pid_t const child : started)
        ::kill(child, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    for (pid_t const child : started)
        ::waitpid(child, nullptr, 0);
}

bool server_process::wait_until(std::function<bool()> const& ready) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (auto pause = std::chrono::milliseconds(1); std::chrono::steady_clock::now() < end;
         pause = std::min(pause * 2, std::chrono::milliseconds(50))) {
        if (::waitpid(pid_, nullptr, WNOHANG) != 0) return false;
        if (ready()) return true;
        std::this_thread::sleep_for(pause);
    }
    return false;
}

} // namespace kx_test
