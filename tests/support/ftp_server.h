// An FTP server of a test's own: vsftpd on loopback, with a folder to read from and to write to.
#pragma once

#include "support/server_process.h"

#include <memory>
#include <string>
#include <string_view>

namespace kx_test {

/// A running vsftpd, without privileges. Whoever logs in is "anonymous", and sees the files that write() makes.
class ftp_server {
public:
    /// @param password what "anonymous" has to tell; empty: anything will do, and a client need not name a user
    explicit ftp_server(std::string_view password = "");
    ~ftp_server();

    /// Makes a file that the server gives out, missing folders included.
    void write(std::string_view name, std::string_view content) const;
    /// The content of a file, whoever wrote it; std::runtime_error when there is none.
    [[nodiscard]] std::string read(std::string_view name) const;

    /// The URL of a path, which begins with '/' and is taken as it is.
    /// @param user_info as it stands in a URL, with the '@' that ends it
    [[nodiscard]] std::string url(std::string_view path, std::string_view user_info = "") const;

    /// What was transferred so far, a line for each file.
    [[nodiscard]] std::string transfers() const;

private:
    [[nodiscard]] std::string configuration(std::string const& banner, bool asks_password) const;
    bool start(bool asks_password);

    server_folder folder_;
    unsigned int port_ = 0;
    std::unique_ptr<server_process> process_;
};

} // namespace kx_test
