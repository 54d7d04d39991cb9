#include "devnode_process.h"

#include "kx_run.h"

#include <kxbase/hash.h>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace kx_test {
namespace {

/// The same key as the runs of kx have.
std::string key_file() {
    static scratch_folder const own;
    return own.file("credentials.key");
}

[[noreturn]] void become_node(std::vector<std::string> const& arguments, int out, std::string const& log) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
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

devnode_process::devnode_process(std::vector<std::string> const& arguments) : arguments_(arguments) {
    folder_.write("password", std::string(node_password) + "\n");
    ::chmod(password_file().c_str(), S_IRUSR | S_IWUSR);
    ::setenv("KX_KEY_FILE", key_file().c_str(), 1);
    start();
}

devnode_process::~devnode_process() {
    if (pid_ > 0) end(SIGKILL);
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
    if (pid_ == 0) become_node(command, ends[1], folder_.file("log"));
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

int devnode_process::end(int signal) {
    int status = 0;
    ::kill(pid_, signal);
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace kx_test
