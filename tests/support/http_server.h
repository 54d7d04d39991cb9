// A web server of a test's own: nginx on loopback, with a folder to read from and one to write to.
#pragma once

#include "support/server_process.h"

#include <memory>
#include <string>
#include <string_view>

namespace kx_test {

/// Whether a web server is reached by http or https.
enum class e_http { open, encrypted };

/// A running nginx. What it serves:
///
/// - `/`: the files that write() makes
/// - `/locked/`: the same, for user "anna" with the password "g3heim"
/// - `/chunked/`: the same, without telling the length
/// - `/moved/SCHEME/HOST:PORT/PATH`: a redirection to SCHEME://HOST:PORT/PATH
/// - `/upload/`: takes files by PUT
///
/// With https the certificate is its own, for "localhost" and no other name: certificate() is what makes it trusted.
class http_server {
public:
    explicit http_server(e_http kind = e_http::open);
    ~http_server();

    /// Makes a file that the server gives out, missing folders included.
    void write(std::string_view name, std::string_view content) const;
    /// What was uploaded under a name; std::runtime_error when nothing was.
    [[nodiscard]] std::string uploaded(std::string_view name) const;

    /// The URL of a path, which begins with '/' and is taken as it is.
    /// @param user_info as it stands in a URL, with the '@' that ends it
    [[nodiscard]] std::string url(std::string_view path, std::string_view user_info = "") const;
    /// "127.0.0.1:PORT"; "localhost:PORT" with https.
    [[nodiscard]] std::string host() const;
    /// A redirection to `url`, which has to have a path.
    [[nodiscard]] std::string url_redirected_to(std::string_view url) const;

    /// Every request so far, one a line: the user that it told, and how many bytes of content were sent. The last is one
    /// of this function's own.
    [[nodiscard]] std::string requests() const;

    /// The file with the certificate, of https.
    [[nodiscard]] std::string certificate() const { return folder_.file("certificate.pem"); }

private:
    void make_certificate() const;
    [[nodiscard]] std::string configuration(unsigned int port) const;
    bool start();

    e_http kind_;
    server_folder folder_;
    unsigned int port_ = 0;
    unsigned int mutable counted_ = 0;
    std::unique_ptr<server_process> process_;
};

} // namespace kx_test
