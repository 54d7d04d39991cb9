// How finalization speaks of what it meets: the log lines that administrators filter by.
#pragma once

#include <kxbase/source_position.h>

#include <string_view>

namespace kxclientutil {

/// Tells of something that finalization can't do and goes on without: "ClientProxy", kind 4, severity 4.
void report_warning(std::string_view message, kxbase::source_position where = kxbase::source_position::current());

/// Tells of what ends finalization, "ClientProxy", kind 4, severity 3, and raises the same text as es::arg.
[[noreturn]] void report_and_raise(std::string_view message,
                                   kxbase::source_position where = kxbase::source_position::current());

} // namespace kxclientutil
