#include "kx_process.h"

#include "support/waiting.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace kx_test {

kx_process::kx_process(strings const& arguments) : pid_(-1) {
    strings const command = strings{KX_TOOL, "--installation", source_path("share/installation")} + arguments;
    std::vector<char*> argv;
    for (auto const& argument : command)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    argv.push_back(nullptr);
    std::string const out = folder_.write("out", "");
    std::string const err = folder_.write("err", "");
    std::string const key = folder_.file("credentials.key");
    pid_ = ::fork();
    if (pid_ < 0) throw std::runtime_error("cannot fork");
    if (pid_ != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setenv("KX_KEY_FILE", key.c_str(), 1);
    bool const redirected = std::freopen("/dev/null", "r", stdin) != nullptr &&
                            std::freopen(out.c_str(), "w", stdout) != nullptr &&
                            std::freopen(err.c_str(), "w", stderr) != nullptr;
    if (redirected) ::execv(argv.front(), argv.data());
    ::_exit(127);
}

kx_process::~kx_process() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

void kx_process::signal(int number) const {
    ::kill(pid_, number);
}

bool kx_process::is_waiting() const {
    return is_waiting_at("/proc/" + std::to_string(pid_) + "/task/" + std::to_string(pid_) + "/stat");
}

int kx_process::wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace kx_test
