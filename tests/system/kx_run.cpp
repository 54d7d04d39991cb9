#include "kx_run.h"

#include "support/scratch_folder.h"

#include <linux/capability.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace kx_test {
namespace {

scratch_folder& folder() {
    static scratch_folder own;
    return own;
}

void set_environment(std::map<std::string, std::string> const& environment) {
    for (auto const& [name, value] : environment) {
        if (value.empty()) {
            ::unsetenv(name.c_str());
        } else {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }
}

[[noreturn]] void become(std::string const& program, std::vector<std::string> const& arguments) {
    std::vector<char*> argv = {const_cast<char*>(program.c_str())}; // NOLINT(cppcoreguidelines-pro-type-const-cast)
    for (auto const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT
    argv.push_back(nullptr);
    ::execvp(program.c_str(), argv.data());
    ::_exit(127);
}

[[noreturn]] void become_redirected(std::string const& program, std::vector<std::string> const& arguments,
                                    std::string const& out, std::string const& err,
                                    std::string const& in = "/dev/null") {
    bool const redirected = std::freopen(in.c_str(), "r", stdin) != nullptr &&
                            std::freopen(out.c_str(), "w", stdout) != nullptr &&
                            std::freopen(err.c_str(), "w", stderr) != nullptr;
    if (redirected) become(program, arguments);
    ::_exit(127);
}

/// The environment of every run of kx: a key file of its own.
std::map<std::string, std::string> with_key_file(std::map<std::string, std::string> environment) {
    environment.try_emplace("KX_KEY_FILE", folder().file("credentials.key"));
    return environment;
}

std::vector<std::string> on_sample_installation(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--installation", source_path("share/installation")});
    return arguments;
}

int wait_for(pid_t child);

kx_result run_redirected(std::string const& program, std::vector<std::string> const& arguments,
                         std::map<std::string, std::string> const& environment, std::string const& in) {
    std::string const out = folder().file("out");
    std::string const err = folder().file("err");
    pid_t const child = ::fork();
    if (child < 0) throw std::runtime_error("cannot fork");
    if (child == 0) {
        set_environment(environment);
        become_redirected(program, arguments, out, err, in);
    }
    kx_result result;
    result.exit_code = wait_for(child);
    result.out = folder().read("out");
    result.err = folder().read("err");
    return result;
}

int wait_for(pid_t child) {
    int status = 0;
    if (::waitpid(child, &status, 0) != child) throw std::runtime_error("lost the child");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

kx_result run_kx_bare(std::vector<std::string> const& arguments,
                      std::map<std::string, std::string> const& environment) {
    return run_program(KX_TOOL, arguments, with_key_file(environment));
}

kx_result run_program(std::string const& program, std::vector<std::string> const& arguments,
                      std::map<std::string, std::string> const& environment) {
    return run_redirected(program, arguments, environment, "/dev/null");
}

kx_result run_kx(std::vector<std::string> const& arguments, std::map<std::string, std::string> const& environment) {
    return run_kx_bare(on_sample_installation(arguments), environment);
}

kx_result run_kx_reading(std::string const& input, std::vector<std::string> const& arguments,
                         std::map<std::string, std::string> const& environment) {
    return run_redirected(KX_TOOL, on_sample_installation(arguments), with_key_file(environment),
                          folder().write("in", input));
}

kx_result run_kx_on_terminal(std::vector<std::string> const& arguments,
                             std::map<std::string, std::string> const& environment) {
    auto const in = on_sample_installation(arguments);
    auto const around = with_key_file(environment);
    std::string const out = folder().file("out");
    winsize const size = {24, 80, 0, 0};
    int terminal = -1;
    std::fflush(nullptr); // else the child writes to the terminal what is still to be written here
    pid_t const child = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (child < 0) throw std::runtime_error("cannot make a terminal");
    if (child == 0) {
        set_environment(around);
        if (std::freopen(out.c_str(), "w", stdout) != nullptr) become(KX_TOOL, in);
        ::_exit(127);
    }
    kx_result result;
    char piece[4096];
    // The last reading fails when the other end is closed.
    for (ssize_t size_read = 0; (size_read = ::read(terminal, piece, sizeof piece)) != 0;) {
        if (size_read > 0)
            result.err.append(piece, static_cast<std::size_t>(size_read));
        else if (errno != EINTR)
            break;
    }
    ::close(terminal);
    result.exit_code = wait_for(child);
    result.out = folder().read("out");
    return result;
}

kx_result run_kx_bound_by_permissions(std::vector<std::string> const& arguments) {
    auto const in = on_sample_installation(arguments);
    auto const around = with_key_file({});
    pid_t const child = ::fork();
    if (child < 0) throw std::runtime_error("cannot fork");
    if (child == 0) {
        set_environment(around);
        for (int const right : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
            if (::geteuid() == 0 && ::prctl(PR_CAPBSET_DROP, right, 0, 0, 0) != 0) ::_exit(127);
        become_redirected(KX_TOOL, in, folder().file("out"), folder().file("err"));
    }
    int const exit_code = wait_for(child);
    return {exit_code, folder().read("out"), folder().read("err")};
}

int run_kx_until(std::vector<std::string> const& arguments, int signal, std::function<bool()> const& reached) {
    auto const in = on_sample_installation(arguments);
    auto const around = with_key_file({});
    pid_t const child = ::fork();
    if (child < 0) throw std::runtime_error("cannot fork");
    if (child == 0) {
        set_environment(around);
        become_redirected(KX_TOOL, in, folder().file("out"), folder().file("err"));
    }
    int status = 0;
    bool is_sent = false;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (!is_sent && reached()) {
            is_sent = true;
            ::kill(child, signal);
        }
        ::usleep(200);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string example(std::string const& name) {
    return source_path("share/installation/examples/" + name);
}

} // namespace kx_test
