#include "support/http_server.h"

#include <cstdlib>
#include <stdexcept>
#include <tuple>

namespace kx_test {

namespace {

constexpr char const* program = "/usr/sbin/nginx";

// One process, nothing of the system's own configuration, everything within the folder (the prefix that -p names).
constexpr std::string_view general = R"(
daemon off;
master_process off;
pid nginx.pid;
error_log error.log info;
events { worker_connections 64; }
http {
  types { }
  default_type application/octet-stream;
  log_format requests '$request_method $request_uri user="$remote_user" sent=$body_bytes_sent';
  access_log requests.log requests;
  client_body_temp_path tmp/body;
  proxy_temp_path tmp/proxy;
  fastcgi_temp_path tmp/fastcgi;
  uwsgi_temp_path tmp/uwsgi;
  scgi_temp_path tmp/scgi;
  client_max_body_size 64m;
  server {
    root files;
    merge_slashes off;
)";

constexpr std::string_view locations = R"(
    location /locked/ { alias files/; auth_basic "files"; auth_basic_user_file users; }
    location /chunked/ { alias files/; ssi on; ssi_types *; }
    location ~ "^/moved/([a-z]+)/(.*)$" { return 302 "$1://$2"; }
    location /upload/ { root .; dav_methods PUT; create_full_put_path on; }
  }
}
)";

} // namespace

http_server::http_server(e_http kind) : kind_(kind) {
    for (char const* name : {"files", "upload", "tmp"})
        folder_.make_folder(name);
    folder_.write("users", "anna:{PLAIN}g3heim\n");
    if (kind_ == e_http::encrypted) make_certificate();
    // Another program may take the port before nginx does.
    for (int tries = 0; tries != 5; ++tries)
        if (start()) return;
    std::string log;
    for (char const* name : {"output.log", "error.log"})
        if (std::filesystem::exists(folder_.file(name))) log += folder_.scratch().read(name);
    throw std::runtime_error("nginx does not start: " + log);
}

http_server::~http_server() = default;

bool http_server::start() {
    port_ = free_port();
    process_.reset();
    std::filesystem::remove(folder_.file("nginx.pid"));
    std::string const file = folder_.write("nginx.conf", configuration(port_));
    process_ = std::make_unique<server_process>(
        program,
        std::vector<std::string>{"-p", folder_.scratch().path().string(), "-c", file, "-e", folder_.file("error.log")},
        folder_.file("output.log"));
    // It writes its number once the port is its own.
    return process_->wait_until([this] { return std::filesystem::exists(folder_.file("nginx.pid")); });
}

std::string http_server::configuration(unsigned int port) const {
    std::string text(general);
    text += "    listen 127.0.0.1:" + std::to_string(port);
    if (kind_ == e_http::encrypted)
        text += " ssl;\n    ssl_certificate certificate.pem;\n    ssl_certificate_key key.pem;\n";
    else
        text += ";\n";
    return text.append(locations);
}

void http_server::make_certificate() const {
    std::string const command = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
                                "-subj /CN=kx-test -addext subjectAltName=DNS:localhost -keyout '" +
                                folder_.file("key.pem") + "' -out '" + certificate() + "' >'" +
                                folder_.file("openssl.log") + "' 2>&1";
    // Made here, and by nobody else: the path is this test's own.
    if (std::system(command.c_str()) != 0) // NOLINT(cert-env33-c,concurrency-mt-unsafe)
        throw std::runtime_error("no certificate: " + folder_.scratch().read("openssl.log"));
    for (char const* name : {"key.pem", "certificate.pem"})
        folder_.write(name, folder_.scratch().read(name));
}

void http_server::write(std::string_view name, std::string_view content) const {
    folder_.write("files/" + std::string(name), content);
}

std::string http_server::uploaded(std::string_view name) const {
    return folder_.scratch().read("upload/" + std::string(name));
}

std::string http_server::host() const {
    return (kind_ == e_http::encrypted ? "localhost:" : "127.0.0.1:") + std::to_string(port_);
}

std::string http_server::url(std::string_view path, std::string_view user_info) const {
    return std::string(kind_ == e_http::encrypted ? "https" : "http") + "://" + std::string(user_info) + host() +
           std::string(path);
}

std::string http_server::url_redirected_to(std::string_view target) const {
    std::size_t const colon = target.find("://");
    return url("/moved/" + std::string(target.substr(0, colon)) + "/" + std::string(target.substr(colon + 3)));
}

std::string http_server::requests() const {
    // The line of a request is written after its answer was sent: one more is made, and waited for.
    std::string const last = "/requests-until-" + std::to_string(++counted_);
    std::ignore = received_from(port_, 100, "GET " + last + " HTTP/1.0\r\n\r\n");
    std::string requests;
    auto const is_there = [&] {
        requests = folder_.scratch().read("requests.log");
        return requests.find(last) != std::string::npos;
    };
    if (!process_->wait_until(is_there)) throw std::runtime_error("nginx tells no requests");
    return requests;
}

} // namespace kx_test
