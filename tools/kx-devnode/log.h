#pragma once

/// @file
/// What the node tells whoever runs it.

#include <kxbase/report.h>

#include <string>

namespace devnode {

/// Writes a line to standard error: "kx-devnode: LINE". Any thread. What peers say in it cannot forge a line.
inline void tell(std::string const& line) noexcept {
    constexpr unsigned int kind = 1;
    constexpr unsigned int notice = 5;
    kxbase::report("kx-devnode", 0, "kx-devnode", kind, notice, line);
}

} // namespace devnode
