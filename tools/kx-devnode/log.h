#pragma once

/// @file
/// What the node tells whoever runs it.

#include "texts.h"

#include <kxbase/report.h>

#include <exception>
#include <string_view>

namespace devnode {

/// Writes a line to standard error: "kx-devnode: WHO: WHAT", or without WHO when that is empty. Any thread. What peers say in
/// it cannot forge a line, and does not make it long.
inline void tell(std::string_view who, std::string_view what) noexcept {
    constexpr unsigned int kind = 1;
    constexpr unsigned int notice = 5;
    constexpr std::size_t longest = 500;
    try {
        std::string line(who);
        if (!who.empty()) line += ": ";
        line += what;
        kxbase::report("kx-devnode", 0, "kx-devnode", kind, notice, shown_beginning(line, longest));
    } catch (std::exception const&) { // NOLINT(bugprone-empty-catch): no memory for a line, and the work goes on
    }
}

} // namespace devnode
