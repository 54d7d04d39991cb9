#include "tls.h"

#include "tcp_socket.h"

#include <kxbase/errors.h>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <mutex>
#include <new>

namespace kxnet {

namespace {

/// What may wait to be sent to a peer that asks for new keys while this side sends nothing.
constexpr std::size_t most_answers = std::size_t{16} << 10;

std::string pending_reason();
std::string handshake_reason(SSL* ssl, bool is_client, std::string const& host);
void take_output(BIO* from, kxbase::buffer& out);
bool is_address(std::string const& host);
int password_of_nobody(char* out, int size, int is_writing, void* data);

} // namespace

struct tls_context::state {
    explicit state(SSL_METHOD const* method) : context(SSL_CTX_new(method)) {
        if (!context) throw std::bad_alloc();
        SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
        SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
        SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS);
    }

    struct free_context {
        void operator()(SSL_CTX* freed) const { SSL_CTX_free(freed); }
    };
    std::unique_ptr<SSL_CTX, free_context> context;
};

tls_context::tls_context(transport_options const& options) : state_(std::make_unique<state>(TLS_client_method())) {
    SSL_CTX* const context = state_->context.get();
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    ERR_clear_error();
    bool const is_loaded = options.ca_file.empty()
                               ? SSL_CTX_set_default_verify_paths(context) == 1
                               : SSL_CTX_load_verify_locations(context, options.ca_file.c_str(), nullptr) == 1;
    if (!is_loaded) kxbase::es::arg::raise("CA file '" + options.ca_file + "': " + pending_reason());
}

tls_context::tls_context(server_options const& options) : state_(std::make_unique<state>(TLS_server_method())) {
    SSL_CTX* const context = state_->context.get();
    SSL_CTX_set_default_passwd_cb(context, &password_of_nobody);
    // Sessions are kept by nobody; a connection lasts for long.
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context, 0); // of TLS 1.3 alone
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    ERR_clear_error();
    if (SSL_CTX_use_certificate_chain_file(context, options.certificate_file.c_str()) != 1)
        kxbase::es::arg::raise("certificate '" + options.certificate_file + "': " + pending_reason());
    X509* const certificate = SSL_CTX_get0_certificate(context);
    // A key of another kind than the certificate's would be taken, and fail with every client.
    if (SSL_CTX_use_PrivateKey_file(context, options.key_file.c_str(), SSL_FILETYPE_PEM) != 1 ||
        X509_check_private_key(certificate, SSL_CTX_get0_privatekey(context)) != 1)
        kxbase::es::arg::raise("key '" + options.key_file + "': " + pending_reason());
}

tls_context::~tls_context() = default;

struct tls_session::state {
    state(std::shared_ptr<tls_context const> of, SSL_CTX* made_from)
        : context(std::move(of)), ssl(SSL_new(made_from)), in(BIO_new(BIO_s_mem())), out(BIO_new(BIO_s_mem())) {
        if (!ssl || in == nullptr || out == nullptr) {
            BIO_free(in);
            BIO_free(out);
            throw std::bad_alloc();
        }
        BIO_set_mem_eof_return(in, -1);
        SSL_set_bio(ssl.get(), in, out);
    }

    struct free_ssl {
        void operator()(SSL* freed) const { SSL_free(freed); }
    };
    std::shared_ptr<tls_context const> context;
    std::string host{};
    std::mutex guard{};
    std::unique_ptr<SSL, free_ssl> ssl;
    BIO* in;
    BIO* out;
    std::atomic<bool> has_ended = false;
};

tls_session::tls_session(std::shared_ptr<tls_context const> const& context, std::string const& host)
    : state_(std::make_unique<state>(context, context->state_->context.get())) {
    SSL* const ssl = state_->ssl.get();
    // DNS and DNS-SD write a whole name with a dot at its end, certificates without.
    bool const has_dot = host.size() > 1 && host.ends_with('.');
    std::string const name = has_dot ? host.substr(0, host.size() - 1) : host;
    state_->host = name;
    SSL_set_connect_state(ssl);
    SSL_set_hostflags(ssl, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    // Certificates know of no scope: it says which of this host's networks the address is on.
    std::string const address = name.substr(0, name.find('%'));
    if (is_address(address)) {
        if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), address.c_str()) != 1) throw std::bad_alloc();
    } else if (name.starts_with('.')) {
        // For OpenSSL it would stand for every name that ends so.
        throw not_secure(__FILE__, __LINE__, "'" + name + "' cannot be the name in a certificate");
    } else {
        // As the macro for it does, which casts in a way of its own.
        void* const server_name = const_cast<char*>(name.c_str());
        if (SSL_set1_host(ssl, name.c_str()) != 1 ||
            SSL_ctrl(ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, server_name) != 1)
            throw not_secure(__FILE__, __LINE__, "'" + name + "' cannot be the name in a certificate");
    }
}

tls_session::tls_session(std::shared_ptr<tls_context const> const& context)
    : state_(std::make_unique<state>(context, context->state_->context.get())) {
    SSL_set_accept_state(state_->ssl.get());
}

tls_session::~tls_session() = default;

void tls_session::feed(std::span<std::byte const> bytes) {
    std::lock_guard const lock(state_->guard);
    if (BIO_write(state_->in, bytes.data(), static_cast<int>(bytes.size())) != static_cast<int>(bytes.size()))
        throw std::bad_alloc();
}

bool tls_session::handshake(kxbase::buffer& out) {
    std::lock_guard const lock(state_->guard);
    SSL* const ssl = state_->ssl.get();
    ERR_clear_error();
    int const result = SSL_do_handshake(ssl);
    take_output(state_->out, out);
    if (result == 1) return true;
    if (SSL_get_error(ssl, result) == SSL_ERROR_WANT_READ) return false;
    throw not_secure(__FILE__, __LINE__, handshake_reason(ssl, SSL_is_server(ssl) == 0, state_->host));
}

void tls_session::encrypt(std::span<std::byte const> plain, kxbase::buffer& out) {
    std::lock_guard const lock(state_->guard);
    ERR_clear_error();
    // Memory takes all of it at once.
    if (SSL_write(state_->ssl.get(), plain.data(), static_cast<int>(plain.size())) != static_cast<int>(plain.size()))
        throw connection_lost(__FILE__, __LINE__, "TLS: " + pending_reason());
    take_output(state_->out, out);
}

void tls_session::end(kxbase::buffer& out) {
    std::lock_guard const lock(state_->guard);
    ERR_clear_error();
    SSL_shutdown(state_->ssl.get());
    take_output(state_->out, out);
}

std::size_t tls_session::decrypt(std::span<std::byte> out) {
    std::lock_guard const lock(state_->guard);
    SSL* const ssl = state_->ssl.get();
    ERR_clear_error();
    auto const room = static_cast<int>(std::min<std::size_t>(out.size(), INT_MAX));
    int const size = SSL_read(ssl, out.data(), room);
    // Requests for new keys are answered with what is sent next.
    if (BIO_ctrl_pending(state_->out) > most_answers)
        throw connection_lost(__FILE__, __LINE__, "TLS: the peer asks for new keys over and over");
    if (size > 0) return static_cast<std::size_t>(size);
    switch (SSL_get_error(ssl, size)) {
    case SSL_ERROR_WANT_READ: return 0;
    case SSL_ERROR_ZERO_RETURN: state_->has_ended = true; return 0;
    default: throw connection_lost(__FILE__, __LINE__, "TLS: " + pending_reason());
    }
}

bool tls_session::has_ended() const noexcept {
    return state_->has_ended;
}

namespace {

std::string pending_reason() {
    unsigned long const error = ERR_get_error();
    ERR_clear_error();
    if (error == 0) return "no reason is given";
    if (ERR_SYSTEM_ERROR(error)) return system_error_text(ERR_GET_REASON(error));
    char const* const reason = ERR_reason_error_string(error);
    return reason != nullptr ? reason : "error " + std::to_string(error);
}

std::string handshake_reason(SSL* ssl, bool is_client, std::string const& host) {
    long const verified = SSL_get_verify_result(ssl);
    if (is_client && verified != X509_V_OK) {
        ERR_clear_error();
        return "the certificate of '" + host + "' is not to be trusted: " + X509_verify_cert_error_string(verified);
    }
    unsigned long const error = ERR_peek_error();
    // What OpenSSL says when the first bytes are no TLS at all.
    if (ERR_GET_REASON(error) == SSL_R_WRONG_VERSION_NUMBER || ERR_GET_REASON(error) == SSL_R_HTTP_REQUEST) {
        ERR_clear_error();
        return "the peer does not speak TLS";
    }
    return "TLS: " + pending_reason();
}

void take_output(BIO* from, kxbase::buffer& out) {
    std::size_t const size = BIO_ctrl_pending(from);
    if (size == 0) return;
    BIO_read(from, out.append_unset(size), static_cast<int>(size));
}

bool is_address(std::string const& host) {
    in6_addr unused = {};
    return ::inet_pton(AF_INET, host.c_str(), &unused) == 1 || ::inet_pton(AF_INET6, host.c_str(), &unused) == 1;
}

/// A server has nobody to ask: an encrypted key is refused.
int password_of_nobody(char* /*out*/, int /*size*/, int /*is_writing*/, void* /*data*/) {
    return -1;
}

} // namespace

} // namespace kxnet
