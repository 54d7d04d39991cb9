#include "kx_run.h"

#include "support/scratch_folder.h"

#include <sys/wait.h>
#include <unistd.h>

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

[[noreturn]] void become_kx(std::vector<std::string> const& arguments, std::string const& out, std::string const& err,
                            std::map<std::string, std::string> const& environment) {
    set_environment(environment);
    std::vector<char*> argv = {const_cast<char*>(KX_TOOL)}; // NOLINT(cppcoreguidelines-pro-type-const-cast)
    for (auto const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT
    argv.push_back(nullptr);
    bool const redirected = std::freopen("/dev/null", "r", stdin) != nullptr &&
                            std::freopen(out.c_str(), "w", stdout) != nullptr &&
                            std::freopen(err.c_str(), "w", stderr) != nullptr;
    if (redirected) ::execv(KX_TOOL, argv.data());
    ::_exit(127);
}

int wait_for(pid_t child) {
    int status = 0;
    if (::waitpid(child, &status, 0) != child) throw std::runtime_error("lost the child");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

kx_result run_kx_bare(std::vector<std::string> const& arguments,
                      std::map<std::string, std::string> const& environment) {
    auto all = environment;
    all.try_emplace("KX_KEY_FILE", folder().file("credentials.key"));
    std::string const out = folder().file("out");
    std::string const err = folder().file("err");
    pid_t const child = ::fork();
    if (child < 0) throw std::runtime_error("cannot fork");
    if (child == 0) become_kx(arguments, out, err, all);
    kx_result result;
    result.exit_code = wait_for(child);
    result.out = folder().read("out");
    result.err = folder().read("err");
    return result;
}

kx_result run_kx(std::vector<std::string> const& arguments, std::map<std::string, std::string> const& environment) {
    auto all = arguments;
    all.insert(all.begin(), {"--installation", source_path("share/installation")});
    return run_kx_bare(all, environment);
}

std::string example(std::string const& name) {
    return source_path("share/installation/examples/" + name);
}

} // namespace kx_test
