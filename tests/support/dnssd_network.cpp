#include "support/dnssd_network.h"

#include "support/waiting.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>

namespace kx_test {

namespace {

namespace fs = std::filesystem;

constexpr char const* ip_program = "/usr/sbin/ip";
constexpr char const* bus_program = "/usr/bin/dbus-daemon";
constexpr char const* daemon_program = "/usr/sbin/avahi-daemon";
constexpr char const* bus_socket = "dbus/system_bus_socket";
constexpr char const* daemon_pid_file = "avahi-daemon/pid";
constexpr char const* daemon_log = "avahi-daemon.log";

constexpr std::array bridges = {"kxa", "kxb"};

[[noreturn]] void fail(std::string const& what) {
    throw network_unavailable(what + ": " + std::strerror(errno));
}

void write_file(fs::path const& path, std::string const& content) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path);
    out << content;
    if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
}

std::string read_file(fs::path const& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

/// Something of this process alone in the place of /run, where D-Bus and Avahi keep their sockets. Safe after a fork.
bool make_run_folder() {
    return ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0;
}

void leave_for_own_namespaces() {
    // In a namespace of users everything else would work, but avahi-daemon wants to be two users.
    if (::geteuid() != 0) throw network_unavailable("only root can start an avahi-daemon on a host of its own");
    if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) fail("this process may not make network namespaces of its own");
    if (!make_run_folder()) fail("this process may not mount a folder of its own over /run");
}

/// The child's part; only calls that are allowed after a fork of a process with threads.
[[noreturn]] void become(char* const* argv, pid_t parent, std::array<int, 2> const& namespaces, int input, int log) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(126);
    // Sanitizers have a thread of their own after a fork, too: the folders it sees are not to change.
    if (::unshare(CLONE_FS) != 0) ::_exit(126);
    for (int const each : namespaces)
        if (each >= 0 && ::setns(each, 0) != 0) ::_exit(126);
    ::dup2(input, STDIN_FILENO);
    if (log >= 0) {
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
    }
    ::close_range(3, ~0U, 0);
    ::execv(argv[0], argv);
    ::_exit(127);
}

/// A process that does nothing but keep a host's namespaces.
[[noreturn]] void hold(pid_t parent, int ready) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent || ::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 || !make_run_folder()) ::_exit(126);
    if (::write(ready, "", 1) != 1) ::_exit(126);
    for (;;)
        ::pause();
}

/// Whether somebody takes connections at a socket. It has its name before.
bool is_listening(std::string const& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long for a socket: " + path);
    path.copy(address.sun_path, path.size());
    int const socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool const taken = ::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return taken;
}

std::string bus_configuration(unsigned int connections) {
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/run/dbus/system_bus_socket</listen>
  <auth>EXTERNAL</auth>
  <limit name="max_connections_per_user">)" +
           std::to_string(connections) + R"(</limit>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";
}

std::string daemon_configuration(unsigned int host) {
    return "[server]\nhost-name=kx" + std::to_string(host) +
           "\nallow-interfaces=" + (host == 0 ? "kxa,kxb" : "eth0,eth1") +
           "\nuse-ipv4=yes\nuse-ipv6=yes\nenable-dbus=yes\nratelimit-interval-usec=1000000\nratelimit-burst=10000\n"
           "[wide-area]\nenable-wide-area=no\n[publish]\npublish-workstation=no\n";
}

} // namespace

host_process::~host_process() {
    kill();
}

void host_process::write_line(std::string const& line) const {
    auto const text = line + "\n";
    if (::write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("a program on a host of the network reads no more");
}

int host_process::finish() {
    if (input_ >= 0) ::close(input_);
    input_ = -1;
    if (!soon([this] { return !is_running(); })) throw std::runtime_error("a program on a host does not end");
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
}

void host_process::kill() {
    if (input_ >= 0) ::close(input_);
    input_ = -1;
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

bool host_process::is_running() {
    if (pid_ <= 0) return false;
    if (::waitpid(pid_, &status_, WNOHANG) == 0) return true;
    pid_ = -1;
    return false;
}

dnssd_network::dnssd_network(unsigned int others, unsigned int bus_connections) {
    leave_for_own_namespaces();
    // No reason to skip a test: these can be installed.
    for (char const* const program : {ip_program, bus_program, daemon_program})
        if (::access(program, X_OK) != 0)
            throw std::runtime_error(std::string("no ") + program + ", which scripts/setup installs");
    // A program that ended does not end the test that writes to it.
    std::signal(SIGPIPE, SIG_IGN);
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/dbus/system_bus_socket", 1);
    hosts_.emplace_back();
    for (unsigned int each = 0; each != others; ++each)
        add_host();
    for (unsigned int each = 0; each != hosts_.size(); ++each)
        connect(each);
    for (unsigned int each = 0; each != hosts_.size(); ++each)
        start_bus(each, each == 0 ? bus_connections : 256);
    // A daemon takes a second to make sure of its name: all of them at the same time.
    for (unsigned int each = 0; each != hosts_.size(); ++each)
        launch_daemon(each);
    for (unsigned int each = 0; each != hosts_.size(); ++each)
        wait_for_daemon(each);
}

dnssd_network::~dnssd_network() = default;

std::string dnssd_network::run_folder(unsigned int host) const {
    auto const& holder = hosts_.at(host).holder;
    return holder ? "/proc/" + std::to_string(holder->pid_) + "/root/run/" : "/run/";
}

void dnssd_network::add_host() {
    std::array<int, 2> ready = {-1, -1};
    if (::pipe2(ready.data(), O_CLOEXEC) != 0) fail("no pipe");
    pid_t const parent = ::getpid();
    pid_t const pid = ::fork();
    if (pid == 0) hold(parent, ready[1]);
    ::close(ready[1]);
    char token = 0;
    bool const is_ready = ::read(ready[0], &token, 1) == 1;
    ::close(ready[0]);
    hosts_.push_back({std::unique_ptr<host_process>(new host_process(pid, -1)), nullptr, nullptr});
    if (!is_ready) throw network_unavailable("a process may not make network namespaces of its own");
}

std::unique_ptr<host_process> dnssd_network::start(unsigned int host, std::vector<std::string> const& command) const {
    std::array<int, 2> namespaces = {-1, -1};
    if (auto const& holder = hosts_.at(host).holder) {
        auto const folder = "/proc/" + std::to_string(holder->pid_) + "/ns/";
        namespaces = {::open((folder + "net").c_str(), O_RDONLY | O_CLOEXEC),
                      ::open((folder + "mnt").c_str(), O_RDONLY | O_CLOEXEC)};
    }
    std::vector<char*> argv;
    for (auto const& argument : command)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    argv.push_back(nullptr);
    std::array<int, 2> input = {-1, -1};
    if (::pipe2(input.data(), O_CLOEXEC) != 0) fail("no pipe");
    auto const log_file = run_folder(host) + fs::path(command.front()).filename().string() + ".log";
    int const log = ::open(log_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (log < 0) throw std::runtime_error("cannot write " + log_file);
    pid_t const parent = ::getpid();
    pid_t const pid = ::fork();
    if (pid == 0) become(argv.data(), parent, namespaces, input[0], log);
    for (int const each : {namespaces[0], namespaces[1], input[0], log})
        if (each >= 0) ::close(each);
    if (pid < 0) {
        ::close(input[1]);
        fail("no process");
    }
    return std::unique_ptr<host_process>(new host_process(pid, input[1]));
}

void dnssd_network::run_ip(unsigned int host, std::string const& arguments) const {
    std::vector<std::string> command = {ip_program};
    std::istringstream words(arguments);
    for (std::string word; words >> word;)
        command.push_back(word);
    if (start(host, command)->finish() != 0)
        throw std::runtime_error("\"ip " + arguments + "\" fails: " + read_file(run_folder(host) + "ip.log"));
}

void dnssd_network::connect(unsigned int host) const {
    auto const run = [&](unsigned int where, std::string const& arguments) { run_ip(where, arguments); };
    auto const own_address = std::to_string(host + 1);
    run(host, "link set lo up");
    for (std::size_t link = 0; link != bridges.size(); ++link) {
        std::string const bridge = bridges[link];
        auto const interface = host == 0 ? bridge : "eth" + std::to_string(link);
        auto const port = bridge + std::to_string(host);
        if (host == 0) {
            try {
                run(0, "link add " + bridge + " type bridge mcast_snooping 0");
            } catch (std::runtime_error const& error) {
                throw network_unavailable(std::string("this process may not make network bridges: ") + error.what());
            }
            // A port that stays, so that the network of the others is one also without them.
            run(0, "link add " + port + " type veth peer name " + port + "end");
            run(0, "link set " + port + "end up");
        } else {
            run(0, "link add " + port + " type veth peer name " + interface + " netns " +
                       std::to_string(hosts_.at(host).holder->pid_));
        }
        run(0, "link set " + port + " master " + bridge + " up");
        run(host, "addr add 10.7" + std::to_string(7 + link) + ".0." + own_address + "/24 brd + dev " + interface);
        run(host, "link set " + interface + " up");
    }
}

void dnssd_network::start_bus(unsigned int host, unsigned int connections) {
    auto const folder = run_folder(host);
    write_file(folder + "bus.conf", bus_configuration(connections));
    write_file(folder + "avahi.conf", daemon_configuration(host));
    fs::create_directories(folder + "dbus");
    fs::create_directories(folder + "avahi-daemon");
    hosts_.at(host).bus = start(host, {bus_program, "--config-file=/run/bus.conf", "--nofork", "--nopidfile"});
    if (!soon([&] { return is_listening(folder + bus_socket); }))
        throw std::runtime_error("a dbus-daemon of the test's own does not start:\n" +
                                 read_file(folder + "dbus-daemon.log"));
}

void dnssd_network::stop_daemon(unsigned int host) {
    hosts_.at(host).daemon.reset();
    fs::remove(run_folder(host) + daemon_pid_file);
}

void dnssd_network::start_daemon(unsigned int host) {
    launch_daemon(host);
    wait_for_daemon(host);
}

void dnssd_network::freeze_daemon(unsigned int host) const {
    pid_t const pid = hosts_.at(host).daemon->pid_;
    int status = 0;
    if (::kill(pid, SIGSTOP) != 0 || ::waitpid(pid, &status, WUNTRACED) != pid || !WIFSTOPPED(status))
        throw std::runtime_error("an avahi-daemon of the test's own cannot be stopped");
}

void dnssd_network::thaw_daemon(unsigned int host) const {
    if (::kill(hosts_.at(host).daemon->pid_, SIGCONT) != 0)
        throw std::runtime_error("an avahi-daemon of the test's own has gone");
}

void dnssd_network::launch_daemon(unsigned int host) {
    hosts_.at(host).told_before = read_file(run_folder(host) + daemon_log).size();
    hosts_.at(host).daemon = start(host, {daemon_program, "-f", "/run/avahi.conf", "--no-drop-root", "--no-chroot",
                                          "--no-rlimits", "--no-proc-title"});
}

/// Its process, and its file that says so, are there before it is on D-Bus.
void dnssd_network::wait_for_daemon(unsigned int host) const {
    auto const log = run_folder(host) + daemon_log;
    auto const before = hosts_.at(host).told_before;
    if (!soon([&] { return read_file(log).find("Server startup complete", before) != std::string::npos; }))
        throw std::runtime_error("an avahi-daemon of the test's own does not start:\n" + read_file(log));
}

void dnssd_network::set_link(unsigned int host, e_link link, bool is_up) const {
    auto const index = static_cast<std::size_t>(link);
    auto const interface = host == 0 ? std::string(bridges.at(index)) : "eth" + std::to_string(index);
    run_ip(host, "link set " + interface + (is_up ? " up" : " down"));
}

unsigned int dnssd_network::interface_index(e_link link) {
    return ::if_nametoindex(bridges.at(static_cast<std::size_t>(link)));
}

} // namespace kx_test
