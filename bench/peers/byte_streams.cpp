#include "byte_streams.h"

#include "support/certificates.h"

#include <openssl/ssl.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kxbench {

namespace {

int checked(int result, char const* call) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), call);
    return result;
}

sockaddr_in loopback(unsigned int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

sockaddr* generic(sockaddr_in& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

class socket_stream final : public byte_stream {
public:
    explicit socket_stream(int descriptor) : descriptor_(descriptor) {
        int const on = 1;
        checked(::setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on), "setsockopt");
    }
    ~socket_stream() override { ::close(descriptor_); }

    void send(bytes_view bytes) override {
        while (!bytes.empty()) {
            ssize_t const size = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (size < 0 && errno == EINTR) continue;
            if (size < 0) throw std::system_error(errno, std::generic_category(), "send");
            bytes = bytes.subspan(static_cast<std::size_t>(size));
        }
    }

    bool receive(std::span<std::byte> room) override {
        while (!room.empty()) {
            ssize_t const size = ::recv(descriptor_, room.data(), room.size(), 0);
            if (size < 0 && errno == EINTR) continue;
            if (size <= 0) return false;
            room = room.subspan(static_cast<std::size_t>(size));
        }
        return true;
    }

    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

struct free_openssl {
    void operator()(SSL_CTX* freed) const { SSL_CTX_free(freed); }
    void operator()(SSL* freed) const { SSL_free(freed); }
};
using context_handle = std::unique_ptr<SSL_CTX, free_openssl>;

context_handle make_context(bool is_server) {
    context_handle made(SSL_CTX_new(is_server ? TLS_server_method() : TLS_client_method()));
    auto const& files = kx_test::certificates::get();
    bool is_sound = bool(made);
    if (is_sound && is_server) {
        is_sound = SSL_CTX_use_certificate_chain_file(made.get(), files.good().c_str()) == 1 &&
                   SSL_CTX_use_PrivateKey_file(made.get(), files.key().c_str(), SSL_FILETYPE_PEM) == 1;
    } else if (is_sound) {
        SSL_CTX_set_verify(made.get(), SSL_VERIFY_PEER, nullptr);
        is_sound = SSL_CTX_load_verify_locations(made.get(), files.ca().c_str(), nullptr) == 1;
    }
    if (!is_sound) throw std::runtime_error("OpenSSL refuses the certificates");
    return made;
}

class openssl_stream final : public byte_stream {
public:
    openssl_stream(int descriptor, bool is_server)
        : socket_(descriptor), context_(make_context(is_server)), ssl_(SSL_new(context_.get())) {
        if (!ssl_ || SSL_set_fd(ssl_.get(), socket_.descriptor()) != 1) throw std::bad_alloc();
        int const result = is_server ? SSL_accept(ssl_.get()) : SSL_connect(ssl_.get());
        if (result != 1) throw std::runtime_error("TLS was not agreed on");
    }

    void send(bytes_view bytes) override {
        std::size_t size = 0;
        while (!bytes.empty()) {
            if (SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &size) != 1) throw std::runtime_error("SSL_write");
            bytes = bytes.subspan(size);
        }
    }

    bool receive(std::span<std::byte> room) override {
        std::size_t size = 0;
        while (!room.empty()) {
            if (SSL_read_ex(ssl_.get(), room.data(), room.size(), &size) != 1) return false;
            room = room.subspan(size);
        }
        return true;
    }

private:
    socket_stream socket_;
    context_handle context_;
    std::unique_ptr<SSL, free_openssl> ssl_;
};

std::unique_ptr<byte_stream> stream_of(int descriptor, e_security security, bool is_server) {
    if (security == e_security::tls) return std::make_unique<openssl_stream>(descriptor, is_server);
    return std::make_unique<socket_stream>(descriptor);
}

} // namespace

byte_listener::byte_listener() : descriptor_(checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    checked(::bind(descriptor_, generic(address), size), "bind");
    checked(::listen(descriptor_, 1), "listen");
    checked(::getsockname(descriptor_, generic(address), &size), "getsockname");
    port_ = ntohs(address.sin_port);
}

byte_listener::~byte_listener() {
    ::close(descriptor_);
}

std::unique_ptr<byte_stream> byte_listener::accept(e_security security) const {
    return stream_of(checked(::accept(descriptor_, nullptr, nullptr), "accept"), security, true);
}

std::unique_ptr<byte_stream> connect_bytes(unsigned int port, e_security security) {
    int const descriptor = checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address = loopback(port);
    checked(::connect(descriptor, generic(address), sizeof address), "connect");
    return stream_of(descriptor, security, false);
}

} // namespace kxbench
