#pragma once

// Stands between a client and a node, and loses what a test wants to be lost.

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace kx_test {

/// What happens to a connection.
enum class e_fault {
    none,
    refused,         ///< it is closed at once
    in_request,      ///< it is reset after 10,000 bytes of the client
    stalled,         ///< after 10,000 bytes of the client nothing more is read of it, also no end
    before_answer,   ///< it is reset in place of the answer to a submission
    in_answer,       ///< the same in the middle of that answer
    silent,          ///< the answer to a submission never comes
    without_greeting ///< nothing comes at all
};

/// Passes on what a client and the node say to each other, without TLS where an answer is to be lost.
class lossy_line {
public:
    /// @param faults  of the first connections, in their order; the later ones have none
    lossy_line(std::string const& node_port, std::vector<e_fault> faults);
    ~lossy_line();
    lossy_line(lossy_line const&) = delete;
    lossy_line& operator=(lossy_line const&) = delete;

    [[nodiscard]] std::string address() const { return "localhost:" + std::to_string(port_); }
    /// Ends all connections.
    void end();

    /// How many connections there have been.
    [[nodiscard]] std::size_t connections() const { return connections_; }
    /// Whether a fault has happened to one.
    [[nodiscard]] bool has_struck() const { return has_struck_; }

private:
    struct connection;
    void accept();
    void serve(int client, e_fault fault);
    [[nodiscard]] bool pass_request(connection& on);
    [[nodiscard]] bool pass_answer(connection& on);

    std::string node_port_;
    std::vector<e_fault> faults_;
    int listening_ = -1;
    unsigned int port_ = 0;
    std::atomic<std::size_t> connections_ = 0;
    std::atomic<bool> has_struck_ = false;
    std::atomic<bool> is_closing_ = false;
    std::vector<std::thread> serving_;
    std::thread accepting_;
};

} // namespace kx_test
