#include "support/ftp_server.h"

#include <stdexcept>
#include <utility>

namespace kx_test {

namespace {

constexpr char const* program = "/usr/sbin/vsftpd";

// vsftpd takes absolute paths only: each is the folder and the name.
constexpr std::pair<std::string_view, std::string_view> files[] = {
    {"anon_root", "files"},
    {"secure_chroot_dir", "empty"},
    {"email_password_file", "passwords"},
    {"vsftpd_log_file", "transfers.log"},
};

// Logins other than anonymous ones, and a root of one's own, would take the rights of root.
constexpr std::string_view general = R"(
listen=YES
listen_address=127.0.0.1
background=NO
run_as_launching_user=YES
seccomp_sandbox=NO
anonymous_enable=YES
local_enable=NO
write_enable=YES
anon_upload_enable=YES
anon_other_write_enable=YES
anon_umask=022
xferlog_enable=YES
delay_failed_login=0
)";

} // namespace

ftp_server::ftp_server(std::string_view password) {
    for (char const* name : {"files", "empty"})
        folder_.make_folder(name);
    folder_.write("transfers.log", "");
    folder_.write("passwords", std::string(password) + "\n");
    // Another program may take the port before vsftpd does.
    for (int tries = 0; tries != 5; ++tries)
        if (start(!password.empty())) return;
    throw std::runtime_error("vsftpd does not start: " + folder_.scratch().read("output.log"));
}

ftp_server::~ftp_server() = default;

bool ftp_server::start(bool asks_password) {
    port_ = free_port();
    process_.reset();
    // By its greeting it is told from another server on the same port.
    std::string const banner = folder_.scratch().path().filename().string();
    std::string const file = folder_.write("vsftpd.conf", configuration(banner, asks_password));
    process_ = std::make_unique<server_process>(program, std::vector<std::string>{file}, folder_.file("output.log"));
    std::string const greeting = "220 " + banner;
    return process_->wait_until([&] { return received_from(port_, greeting.size()) == greeting; });
}

std::string ftp_server::configuration(std::string const& banner, bool asks_password) const {
    std::string text(general);
    text += "listen_port=" + std::to_string(port_) + "\nftpd_banner=" + banner + "\n";
    text += std::string("secure_email_list_enable=") + (asks_password ? "YES" : "NO") + "\n";
    for (auto const& [key, name] : files)
        text.append(key).append("=").append(folder_.file(name)).append("\n");
    return text;
}

void ftp_server::write(std::string_view name, std::string_view content) const {
    folder_.write("files/" + std::string(name), content);
}

std::string ftp_server::read(std::string_view name) const {
    return folder_.scratch().read("files/" + std::string(name));
}

std::string ftp_server::url(std::string_view path, std::string_view user_info) const {
    return "ftp://" + std::string(user_info) + "127.0.0.1:" + std::to_string(port_) + std::string(path);
}

std::string ftp_server::transfers() const {
    return folder_.scratch().read("transfers.log");
}

} // namespace kx_test
