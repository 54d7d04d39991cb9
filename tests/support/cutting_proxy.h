// A line between a client and a server that breaks where a test wants it to.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace kx_test {

/// Where a line breaks, and how.
struct line_cut {
    enum class e_direction { never, to_client, to_server };

    e_direction direction = e_direction::never;
    /// How many bytes go through in that direction.
    std::size_t after = 0;
    /// Both sides are told by a reset, and not by an end in good order.
    bool is_reset = false;
};

/// Passes bytes on between clients on a free port of the loopback address and a server on another one, one client after
/// the other.
class cutting_proxy {
public:
    explicit cutting_proxy(std::string const& server_port);
    ~cutting_proxy();
    cutting_proxy(cutting_proxy const&) = delete;
    cutting_proxy& operator=(cutting_proxy const&) = delete;

    [[nodiscard]] std::string port() const { return std::to_string(port_); }

    /// Where the lines of clients break that come from now on. What has passed counts anew.
    void cut(line_cut const& where);

    /// Whether a line has broken since.
    [[nodiscard]] bool has_cut() const { return has_cut_; }
    [[nodiscard]] std::size_t passed_to_client() const { return to_client_; }
    [[nodiscard]] std::size_t passed_to_server() const { return to_server_; }

private:
    void run();
    void serve(int client);
    bool pass_on(int from, int to, std::atomic<std::size_t>& passed, std::size_t most) const;

    int socket_;
    unsigned int port_ = 0;
    unsigned int server_port_;
    std::mutex guard_;
    line_cut where_;
    std::atomic<bool> has_cut_ = false;
    std::atomic<std::size_t> to_client_ = 0;
    std::atomic<std::size_t> to_server_ = 0;
    std::thread thread_;
};

} // namespace kx_test
