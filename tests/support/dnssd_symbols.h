// Something in the place of the system's DNS-SD client library: without any function, or with functions of the test's own.
#pragma once

#include <kxnet/dnssd_library.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kx_test {

/// For the length of its life. One at a time, and while nothing browses.
class other_dnssd_library {
public:
    /// @param functions by their published names
    explicit other_dnssd_library(std::map<std::string, void*> functions) {
        std::lock_guard const lock(guard);
        known() = std::move(functions);
        asked_names().clear();
        kxnet::set_dnssd_symbol_source(find);
    }
    ~other_dnssd_library() { kxnet::set_dnssd_symbol_source(nullptr); }
    other_dnssd_library(other_dnssd_library const&) = delete;
    other_dnssd_library& operator=(other_dnssd_library const&) = delete;

    /// What was asked for so far.
    [[nodiscard]] std::vector<std::string> asked() const {
        std::lock_guard const lock(guard);
        return asked_names();
    }

private:
    static void* find(char const* name) {
        std::lock_guard const lock(guard);
        asked_names().emplace_back(name);
        auto const found = known().find(name);
        return found == known().end() ? nullptr : found->second;
    }

    static std::map<std::string, void*>& known() {
        static std::map<std::string, void*> functions;
        return functions;
    }
    static std::vector<std::string>& asked_names() {
        static std::vector<std::string> names;
        return names;
    }

    inline static std::mutex guard;
};

} // namespace kx_test
