#include "devnode_process.h"

#include "kx_run.h"

#include <kxbase/hash.h>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace kx_test {
namespace {

/// The same key as the runs of kx have.
std::string key_file() {
    static scratch_folder const own;
    return own.file("credentials.key");
}

std::size_t entries_of(std::string const& folder) {
    std::error_code gone; // what ends while it is counted
    std::size_t count = 0;
    for (std::filesystem::directory_iterator entry(folder, gone), end; !gone && entry != end; entry.increment(gone))
        ++count;
    return count;
}

[[noreturn]] void become_node(std::vector<std::string> const& arguments, int out, std::string const& log,
                              unsigned int most_descriptors) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    rlimit const limit = {most_descriptors, most_descriptors};
    if (most_descriptors != 0) ::setrlimit(RLIMIT_NOFILE, &limit);
    ::dup2(out, STDOUT_FILENO);
    if (std::freopen(log.c_str(), "a", stderr) == nullptr) ::_exit(127);
    std::vector<char*> argv;
    for (auto const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    argv.push_back(nullptr);
    ::execv(argv.front(), argv.data());
    ::_exit(127);
}

} // namespace

devnode_process::devnode_process(std::vector<std::string> const& arguments, unsigned int most_descriptors)
    : arguments_(arguments), most_descriptors_(most_descriptors) {
    folder_.write("password", std::string(node_password) + "\n");
    ::chmod(password_file().c_str(), S_IRUSR | S_IWUSR);
    ::setenv("KX_KEY_FILE", key_file().c_str(), 1);
    start();
}

devnode_process::~devnode_process() {
    if (pid_ <= 0) return;
    if (::waitpid(pid_, nullptr, WNOHANG) == 0) {
        end(SIGKILL);
        return;
    }
    // A finding of a sanitizer, it may be: to the clients the node was only gone.
    constexpr std::size_t most = 20'000;
    std::string const told = log();
    std::fprintf(stderr, "the node ended by itself, its log:\n%s\n",
                 told.substr(told.size() - std::min(told.size(), most)).c_str());
}

void devnode_process::start() {
    std::string const digest = kxbase::string_hash_SHA1_hex(node_password);
    strings const command = strings{KX_DEVNODE,
                                    "--port",
                                    "0",
                                    "--user",
                                    std::string(node_user) + ":" + digest,
                                    "--spool",
                                    spool(),
                                    "--installation",
                                    source_path("share/installation")} +
                            arguments_;
    int ends[2] = {};
    if (::pipe(ends) != 0) throw std::runtime_error("cannot make a pipe");
    pid_ = ::fork();
    if (pid_ == 0) become_node(command, ends[1], folder_.file("log"), most_descriptors_);
    ::close(ends[1]);
    FILE* const out = ::fdopen(ends[0], "r");
    unsigned int port = 0;
    bool const listens = std::fscanf(out, "listening on %u", &port) == 1; // NOLINT(cert-err34-c)
    std::fclose(out);
    if (!listens) throw std::runtime_error("the node does not listen: " + log());
    port_ = std::to_string(port);
}

std::vector<std::string> devnode_process::spooled() const {
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(spool()))
        if (entry.path().extension() == ".job") files.push_back(entry.path().string());
    return files;
}

std::size_t devnode_process::descriptors() const {
    return entries_of("/proc/" + std::to_string(pid_) + "/fd");
}

std::size_t devnode_process::threads() const {
    return entries_of("/proc/" + std::to_string(pid_) + "/task");
}

int devnode_process::end(int signal) {
    int status = 0;
    ::kill(pid_, signal);
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace kx_test
