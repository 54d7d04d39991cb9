#include "support/own_mounts.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>

namespace kx_test {
namespace {

void give(char const* file, std::string const& text) {
    std::ofstream(file) << text;
}

/// A name space of mounts of this process's own, where nothing that is mounted is seen by others.
bool enter_own_mounts() {
    uid_t const user = ::geteuid();
    gid_t const group = ::getegid();
    if (user != 0) {
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
        give("/proc/self/setgroups", "deny");
        give("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
        give("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    } else if (::unshare(CLONE_NEWNS) != 0) {
        return false;
    }
    return ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

std::string what_is_wrong(std::function<std::string()> const& work) {
    if (!enter_own_mounts())
        return "this machine lets no process have mounts of its own (unshare), which the test needs";
    try {
        return work();
    } catch (std::exception const& error) {
        return error.what();
    }
}

} // namespace

void in_own_mounts(std::function<std::string()> const& work) {
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::string const wrong = what_is_wrong(work);
        if (!wrong.empty()) std::fprintf(stderr, "%s\n", wrong.c_str());
        ::_exit(wrong.empty() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the child above says why";
}

} // namespace kx_test
