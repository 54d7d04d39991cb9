// A server of a test's own: a program that runs without privileges, and ends with the test whatever happens.
#pragma once

#include "support/scratch_folder.h"

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kx_test {

/// A port of this machine's loopback address that was free a moment ago.
[[nodiscard]] unsigned int free_port();

/// What a client receives from a port of the loopback address within twenty seconds, after sending `text`: the first `size`
/// bytes at most, empty when there is nobody.
[[nodiscard]] std::string received_from(unsigned int port, std::size_t size, std::string_view text = "");

/// From now on clients in this process, and in those that it starts, use no proxy for servers of the loopback address: one
/// that this machine may be set to use knows nothing of them.
void pass_by_proxies();

/// A folder that programs without privileges may use: everybody may read it, and "nobody" owns it when the tests run as
/// root.
class server_folder {
public:
    server_folder();

    [[nodiscard]] scratch_folder const& scratch() const { return scratch_; }
    [[nodiscard]] std::string file(std::string_view name) const { return scratch_.file(name); }
    /// Writes a file that the server may read, missing folders included, and gives its path.
    std::string write(std::string_view name, std::string_view content) const;
    /// Makes a folder that the server may write to, and gives its path.
    std::string make_folder(std::string_view name) const;

private:
    scratch_folder scratch_;
};

/// A running program. As "nobody" when the tests run as root, else as whoever runs them. It is killed with this object, with
/// all processes that it started, and also when the test itself is killed.
class server_process {
public:
    /// @param program an absolute path; std::runtime_error when there is none, which says what to install
    /// @param log where its standard output and standard error go
    server_process(std::string const& program, std::vector<std::string> const& arguments, std::string const& log);
    ~server_process();
    server_process(server_process const&) = delete;
    server_process& operator=(server_process const&) = delete;

    /// Waits until the condition holds, thirty seconds at most.
    /// @return false as soon as the program has ended, or when the time is over
    [[nodiscard]] bool wait_until(std::function<bool()> const& ready);

private:
    pid_t pid_;
};

} // namespace kx_test
