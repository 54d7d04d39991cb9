// A server of TLS that does what well-behaved ones don't: old versions alone, records without data, keys anew.
#pragma once

#include <openssl/ssl.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace kx_test {

/// Serves one client after the other on a free port of the loopback address.
class tls_server {
public:
    /// What it does with a client once TLS is agreed on; it ends when writing to the client fails.
    using behaviour = std::function<void(SSL* client)>;
    /// What is special about it.
    using preparation = std::function<void(SSL_CTX* context)>;

    tls_server(
        std::string const& certificate, std::string const& key, behaviour act,
        preparation const& prepare = [](SSL_CTX* /*context*/) {})
        : context_(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free), act_(std::move(act)),
          socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        if (SSL_CTX_use_certificate_chain_file(context_.get(), certificate.c_str()) != 1 ||
            SSL_CTX_use_PrivateKey_file(context_.get(), key.c_str(), SSL_FILETYPE_PEM) != 1)
            throw std::runtime_error("no certificate " + certificate);
        prepare(context_.get());
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 || ::listen(socket_, 8) != 0 ||
            ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no server on this machine");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }

    /// Clients must have gone.
    ~tls_server() {
        ::shutdown(socket_, SHUT_RDWR);
        thread_.join();
        ::close(socket_);
    }
    tls_server(tls_server const&) = delete;
    tls_server& operator=(tls_server const&) = delete;

    [[nodiscard]] std::string port() const { return std::to_string(port_); }

private:
    void serve() {
        // What is written to a client that has gone is to fail, and not to end the process.
        sigset_t broken_pipe;
        ::sigemptyset(&broken_pipe);
        ::sigaddset(&broken_pipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
        for (;;) {
            int const client = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) return;
            std::unique_ptr<SSL, decltype(&SSL_free)> const session(SSL_new(context_.get()), &SSL_free);
            SSL_set_fd(session.get(), client);
            if (SSL_accept(session.get()) == 1) act_(session.get());
            ::close(client);
        }
    }

    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    behaviour act_;
    int socket_;
    unsigned int port_ = 0;
    std::thread thread_;
};

/// Reads so many bytes of a client, or fewer when it goes before.
inline std::string read_from(SSL* client, std::size_t size) {
    std::string text(size, '\0');
    std::size_t at = 0;
    while (at != size) {
        int const some = SSL_read(client, text.data() + at, static_cast<int>(size - at));
        if (some <= 0) break;
        at += static_cast<std::size_t>(some);
    }
    text.resize(at);
    return text;
}

/// Whether the client has ended the connection, though what it has sent may not have been read.
inline bool has_gone(SSL* client) {
    pollfd polled = {SSL_get_fd(client), POLLRDHUP, 0};
    return ::poll(&polled, 1, 0) == 1;
}

inline bool send_to(SSL* client, std::string const& text) {
    return SSL_write(client, text.data(), static_cast<int>(text.size())) == static_cast<int>(text.size());
}

} // namespace kx_test
