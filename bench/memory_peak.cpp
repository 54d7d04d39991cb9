#include "memory_peak.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <malloc.h>
#include <stdexcept>
#include <string>

namespace kxbench {
namespace {

std::size_t of_this_process(std::string const& what) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word; status.ignore(std::numeric_limits<std::streamsize>::max(), '\n')) {
        std::size_t kib = 0;
        if (word == what && status >> kib) return kib * 1024;
    }
    throw std::runtime_error("the kernel does not tell " + what);
}

} // namespace

memory_peak::memory_peak() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5"; // proc(5): the peak begins anew at what is held now
    before_ = of_this_process("VmRSS:");
}

std::size_t memory_peak::bytes() const {
    return std::max(of_this_process("VmHWM:"), before_) - before_;
}

std::size_t memory_peak::held() const {
    malloc_trim(0);
    return std::max(of_this_process("VmRSS:"), before_) - before_;
}

} // namespace kxbench
