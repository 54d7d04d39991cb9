// A network of hosts on this machine, of a test's own, for trying DNS-SD for real: each host is a network namespace with a
// D-Bus and an avahi-daemon of its own. Nothing of it has a name outside, and all of it goes with the test's process,
// however that ends: any number of tests may run side by side.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx_test {

/// Such networks can't be made here; says why.
class network_unavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A program that runs on a host. It is killed with this object, and when the test itself is killed.
class host_process {
public:
    host_process(host_process const&) = delete;
    host_process& operator=(host_process const&) = delete;
    ~host_process();

    /// Gives it a line to read.
    void write_line(std::string const& line) const;
    /// Nothing more to read: waits until it has ended by itself, which programs for tests do then.
    /// @return its exit code; 128 and the number of a signal
    int finish();
    /// Ends it at once.
    void kill();
    /// Whether it still runs.
    [[nodiscard]] bool is_running();

private:
    friend class dnssd_network;
    host_process(pid_t pid, int input) : pid_(pid), input_(input) {}

    pid_t pid_;
    int input_;
    int status_ = 0;
};

/// This process is host 0. Its namespaces last until it ends: make one network in a test, before the first thread.
class dnssd_network {
public:
    /// The networks that all hosts are on: interfaces "kxa" and "kxb" of host 0, "eth0" and "eth1" of the others, at which
    /// host N has the addresses 10.77.0.(N+1) and 10.78.0.(N+1).
    enum class e_link { first = 0, second = 1 };

    /// Makes the hosts, with their daemons serving.
    ///
    /// @param others           how many hosts there are beside this one
    /// @param bus_connections  how many connections host 0's D-Bus takes
    /// @throws network_unavailable where a process may not make networks; std::runtime_error for whatever else is missing
    explicit dnssd_network(unsigned int others, unsigned int bus_connections = 256);
    ~dnssd_network();
    dnssd_network(dnssd_network const&) = delete;
    dnssd_network& operator=(dnssd_network const&) = delete;

    /// Starts a program.
    [[nodiscard]] std::unique_ptr<host_process> start(unsigned int host, std::vector<std::string> const& command) const;

    /// Ends a host's daemon, or starts it again, until it serves. Killed, it doesn't say goodbye.
    void stop_daemon(unsigned int host);
    void start_daemon(unsigned int host);

    /// Lets a host's daemon stand still, as one that hangs, or go on.
    void freeze_daemon(unsigned int host) const;
    void thaw_daemon(unsigned int host) const;

    /// Takes an interface of a host down, or up.
    void set_link(unsigned int host, e_link link, bool is_up) const;

    /// The index of an interface of host 0.
    [[nodiscard]] static unsigned int interface_index(e_link link);

private:
    struct programs {
        std::unique_ptr<host_process> holder; // null for host 0
        std::unique_ptr<host_process> bus;
        std::unique_ptr<host_process> daemon;
        std::size_t told_before = 0; // the size of its log when it was started
    };

    [[nodiscard]] std::string run_folder(unsigned int host) const;
    void add_host();
    void run_ip(unsigned int host, std::string const& arguments) const;
    void connect(unsigned int host) const;
    void start_bus(unsigned int host, unsigned int connections);
    void launch_daemon(unsigned int host);
    void wait_for_daemon(unsigned int host) const;

    std::vector<programs> hosts_;
};

} // namespace kx_test
