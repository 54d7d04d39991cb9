#include "kx_dialogue.h"

#include "support/scratch_folder.h"

#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace kx_test {
namespace {

[[noreturn]] void become_kx(std::vector<std::string> const& arguments,
                            std::map<std::string, std::string> const& environment, std::string const& out) {
    for (auto const& [name, value] : environment)
        ::setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv = {const_cast<char*>(KX_TOOL)}; // NOLINT(cppcoreguidelines-pro-type-const-cast)
    for (auto const& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str())); // NOLINT
    argv.push_back(nullptr);
    if (std::freopen(out.c_str(), "w", stdout) != nullptr) ::execv(KX_TOOL, argv.data());
    ::_exit(127);
}

void type(int terminal, std::string const& text) {
    if (::write(terminal, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("cannot type");
}

bool is_echoing(int terminal) {
    termios now{};
    return ::tcgetattr(terminal, &now) == 0 && (now.c_lflag & ECHO) != 0;
}

} // namespace

kx_dialogue talk_to_kx(std::vector<std::string> arguments,
                       std::vector<std::pair<std::string, std::string>> const& answers,
                       std::map<std::string, std::string> const& environment) {
    scratch_folder const folder;
    auto around = environment;
    around.try_emplace("KX_KEY_FILE", folder.file("credentials.key"));
    arguments.insert(arguments.begin(), {"--installation", source_path("share/installation")});
    int terminal = -1;
    std::fflush(nullptr); // else the child writes to the terminal what is still to be written here
    pid_t const child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child < 0) throw std::runtime_error("cannot make a terminal");
    if (child == 0) become_kx(arguments, around, folder.file("out"));
    kx_dialogue dialogue;
    std::string& screen = dialogue.result.err;
    auto next = answers.begin();
    std::size_t seen = 0;
    char piece[4096];
    // The last reading fails when the other end is closed.
    for (ssize_t size = 0; (size = ::read(terminal, piece, sizeof piece)) > 0 || errno == EINTR;) {
        if (size < 0) continue;
        screen.append(piece, static_cast<std::size_t>(size));
        auto const asked = next == answers.end() ? std::string::npos : screen.find(next->first, seen);
        if (asked == std::string::npos) continue;
        seen = asked + next->first.size();
        type(terminal, next->second);
        ++next;
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child) throw std::runtime_error("lost the child");
    dialogue.echoes_afterwards = is_echoing(terminal);
    ::close(terminal);
    dialogue.result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    dialogue.result.out = folder.read("out");
    return dialogue;
}

kx_result run_kx_without_terminal(std::vector<std::string> const& arguments,
                                  std::map<std::string, std::string> const& environment) {
    std::vector<std::string> all = {"--wait", KX_TOOL, "--installation", source_path("share/installation")};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run_program("setsid", all, environment);
}

} // namespace kx_test
