#pragma once

// A client of the tests' own that sends any bytes.

#include <string>
#include <string_view>

namespace kx_test {

/// A TCP connection to a port of the loopback address.
class raw_client {
public:
    /// @param port  as a decimal number
    explicit raw_client(std::string const& port);
    ~raw_client();
    raw_client(raw_client const&) = delete;
    raw_client& operator=(raw_client const&) = delete;

    /// False when the node has gone.
    bool send(std::string_view bytes) const;
    /// So many bytes, fewer when the node goes before; an error after twenty seconds.
    [[nodiscard]] std::string read(std::size_t size) const;
    /// Reads until the node has gone, and gives what came; an error when it stays for twenty seconds.
    std::string read_to_end() const;
    /// Tells the node that nothing more comes.
    void finish() const;
    /// Ends it so that the node gets an error.
    void reset();

    [[nodiscard]] int descriptor() const { return socket_; }

private:
    int socket_;
};

} // namespace kx_test
