// A server of a test's own that does what real ones don't do on demand: stalls, cuts connections, sends without end.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace kx_test {

/// A connection, from the side of the server. What is read is kept for the test.
class fault_connection {
public:
    fault_connection(int socket, std::string& asked, std::mutex& guard, std::atomic<std::size_t>& sent);
    ~fault_connection();
    fault_connection(fault_connection const&) = delete;
    fault_connection& operator=(fault_connection const&) = delete;

    /// A line without its end; empty when the client has gone.
    std::string read_line();
    /// So many bytes, or fewer when the client goes before.
    std::string read(std::size_t size);
    /// The head and the content of a request of a web client.
    void read_request();
    /// False when the client has gone.
    bool send(std::string_view text);
    /// Says nothing more until the client has gone.
    void stall();
    /// Ends the connection at once, as a broken line does.
    void cut();

private:
    bool receive_more();

    int socket_;
    std::string unread_;
    std::string& asked_;
    std::mutex& guard_;
    std::atomic<std::size_t>& sent_;
};

/// Serves one connection after the other on a free port of the loopback address.
class fault_server {
public:
    /// What it does with each connection, which is closed afterwards.
    using behaviour = std::function<void(fault_connection&)>;

    explicit fault_server(behaviour act);
    /// Answers each request of a web client with this text.
    explicit fault_server(std::string answer);
    ~fault_server();
    fault_server(fault_server const&) = delete;
    fault_server& operator=(fault_server const&) = delete;

    /// @param user_info as it stands in a URL, with the '@' that ends it
    [[nodiscard]] std::string url(std::string_view path, std::string_view user_info = "",
                                  std::string_view scheme = "http") const;
    [[nodiscard]] std::string port() const { return std::to_string(port_); }
    /// What the last client sent.
    [[nodiscard]] std::string asked() const;
    /// How much has been sent to all clients.
    [[nodiscard]] std::size_t sent() const { return sent_; }

private:
    void serve(behaviour const& act);

    int socket_;
    unsigned int port_ = 0;
    std::mutex mutable guard_;
    std::string asked_;
    std::atomic<std::size_t> sent_ = 0;
    std::thread thread_;
};

/// How an answer ends.
enum class e_ending { closed, stalled, cut, endless };

/// Says nothing at all.
[[nodiscard]] fault_server::behaviour silent();

/// Answers requests of a web client with this text, whose last part is repeated when it is endless.
[[nodiscard]] fault_server::behaviour http_answer(std::string text, e_ending ending);

/// A session of an FTP client that asks for one file.
struct ftp_session {
    /// What of the file is sent; its last part is repeated when it is endless.
    std::string content{};
    /// How large the file is said to be; nothing is said when negative.
    long long size = -1;
    /// How the transfer of the file ends.
    e_ending ending = e_ending::closed;
    /// The command that is never answered ("USER", "PASS", "EPSV", "RETR"); "greeting" for not even a greeting.
    std::string silent_at{};
    /// The reply after the file.
    std::string closing = "226 sent";
};
[[nodiscard]] fault_server::behaviour ftp_answer(ftp_session session);

} // namespace kx_test
