#include "log.h"
#include "node.h"
#include "settings.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/report.h>
#include <kxcore/credentials.h>
#include <kxcore/installation.h>
#include <kxcore/process_context.h>
#include <kxnet/dnssd_library.h>
#include <kxnet/service_announcement.h>

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>

namespace {

/// SIGTERM and SIGINT, which wait in every thread until they are asked for.
class end_signals {
public:
    end_signals() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGTERM);
        sigaddset(&signals_, SIGINT);
        ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    }

    void wait() const {
        int signal = 0;
        ::sigwait(&signals_, &signal);
    }

private:
    sigset_t signals_{};
};

// The default writes where in the source a line was made, which is of no use to whoever runs the node.
void write_line(kxbase::report_line const& line) {
    constexpr unsigned int debug = 7;
    if (line.severity >= debug) return;
    std::fprintf(stderr, "kx-devnode: %.*s\n", static_cast<int>(line.message.size()), line.message.data());
}

/// Whoever runs the node learns it now, and not from the first job that holds a credential. Others it serves all the same.
void tell_of_unusable_key() {
    std::filesystem::path const file = kxcore::process_context::instance().get_key_file();
    try {
        std::error_code error;
        auto const found = std::filesystem::symlink_status(file, error).type();
        if (found == std::filesystem::file_type::none)
            kxbase::es::call::raise("key file '" + file.string() + "' cannot be looked at: " + error.message());
        if (found != std::filesystem::file_type::not_found)
            static_cast<void>(kxcore::credentials::wrap_text(""));
        else if (::access(file.has_parent_path() ? file.parent_path().c_str() : ".", W_OK | X_OK) != 0)
            kxbase::es::call::raise("key file '" + file.string() + "' cannot be made: " + std::strerror(errno));
    } catch (kxbase::es::base const& error) {
        devnode::tell("jobs with credentials can be neither stored nor read", error.message());
    }
}

void use_key_of_installation(std::string const& folder) {
    auto const installation = kxcore::installation::load(kxcore::find_installation_folder(folder));
    kxcore::process_context::instance().set_key_file(installation.get_key_file());
    tell_of_unusable_key();
}

bool is_open_to_network(devnode::entrance const& through) {
    return through.address.empty() && through.transport.certificate_file.empty();
}

/// Nobody has to find the node: where that cannot be, it serves those who know where it is.
std::unique_ptr<kxnet::service_announcement> announce(devnode::announcement_options const& wanted,
                                                      unsigned short port) {
    if (wanted.name.empty()) return nullptr;
    auto announced = std::make_unique<kxnet::service_announcement>(
        "_vostrel-node._tcp", wanted.name, port,
        kxnet::service_announcement::txt_entries{{"id", wanted.id}, {"cluster", wanted.cluster}, {"uc", "1"}});
    auto const obstacle = kxnet::find_dnssd_obstacle();
    if (!obstacle.empty()) std::fprintf(stderr, "kx-devnode: not announced: %s\n", obstacle.c_str());
    return announced;
}

/// A job comes in a frame. What it was made from may be larger; a node for developers takes none beyond a frame.
void expect_jobs_of_frames() {
    kxbase::limits limits = kxbase::current_limits();
    limits.expansion = limits.frame;
    kxbase::set_limits(limits);
}

void serve(devnode::settings const& chosen) {
    end_signals const signals;
    expect_jobs_of_frames();
    kxbase::set_report_sink(write_line);
    use_key_of_installation(chosen.installation_folder);
    devnode::job_board board;
    devnode::spool jobs(chosen.spool_folder, board, chosen.most_jobs);
    devnode::node const serving(chosen.through, {chosen.accounts, board, jobs});
    if (is_open_to_network(chosen.through))
        devnode::tell("", "listens on all addresses, without TLS: anybody on the network can read what clients send");
    auto const announced = announce(chosen.announced, static_cast<unsigned short>(serving.port()));
    std::printf("listening on %u\n", serving.port());
    std::fflush(stdout);
    signals.wait();
}

} // namespace

int main(int argc, char** argv) {
    int exit_code = 0;
    try {
        std::signal(SIGPIPE, SIG_IGN);
        if (auto const chosen = devnode::read_command_line(argc, argv, exit_code)) serve(*chosen);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "kx-devnode: %s\n", error.what());
        exit_code = 1;
    }
    return exit_code;
}
