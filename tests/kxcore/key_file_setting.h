// A key file of a test's own, named by the environment for the length of its life.
#pragma once

#include "support/scratch_folder.h"

#include <cstdlib>
#include <string>

namespace kx_test {

/// Sets an environment variable, and puts back what was there.
class environment_setting {
public:
    environment_setting(char const* name, char const* value) : name_(name) {
        char const* const before = std::getenv(name);
        if (before != nullptr) before_ = before;
        had_one_ = before != nullptr;
        value == nullptr ? ::unsetenv(name) : ::setenv(name, value, 1);
    }
    ~environment_setting() { had_one_ ? ::setenv(name_, before_.c_str(), 1) : ::unsetenv(name_); }
    environment_setting(environment_setting const&) = delete;
    environment_setting& operator=(environment_setting const&) = delete;

private:
    char const* name_;
    std::string before_;
    bool had_one_ = false;
};

/// A folder with a key file that is not there yet.
struct own_key_file {
    scratch_folder folder;
    std::string path = folder.file("credentials.key");
    environment_setting setting{"KX_KEY_FILE", path.c_str()};
};

} // namespace kx_test
