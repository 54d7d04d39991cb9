#pragma once

// A running kx-devnode with a spool of its own.

#include "support/scratch_folder.h"

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kx_test {

/// The user that every such node knows, with this password.
inline constexpr char const* node_user = "alice";
inline constexpr char const* node_password = "open sesame";

/// It listens when the constructor returns, and is killed at the end at the latest; one that has ended by itself shows its
/// log then.
class devnode_process {
public:
    /// @param arguments         beside the port (a free one), the user and the spool
    /// @param most_descriptors  how many it may have; 0 for as many as the tests
    explicit devnode_process(std::vector<std::string> const& arguments = {}, unsigned int most_descriptors = 0);
    ~devnode_process();
    devnode_process(devnode_process const&) = delete;
    devnode_process& operator=(devnode_process const&) = delete;

    [[nodiscard]] std::string const& port() const { return port_; }
    [[nodiscard]] std::string address() const { return "localhost:" + port_; }
    [[nodiscard]] std::string spool() const { return folder_.file("spool"); }
    /// The jobs in the spool, the whole paths of their files.
    [[nodiscard]] std::vector<std::string> spooled() const;
    /// What it has told so far.
    [[nodiscard]] std::string log() const { return folder_.read("log"); }
    /// A file with the password.
    [[nodiscard]] std::string password_file() const { return folder_.file("password"); }

    /// How many descriptors and threads it has now.
    [[nodiscard]] std::size_t descriptors() const;
    [[nodiscard]] std::size_t threads() const;

    /// Ends it with a signal and gives its exit code, 128 and the signal when it died of it.
    int end(int signal);

    /// Starts it again, on the same spool and another port.
    void start();

private:
    scratch_folder folder_;
    std::vector<std::string> arguments_;
    unsigned int most_descriptors_;
    std::string port_;
    pid_t pid_ = -1;
};

} // namespace kx_test
