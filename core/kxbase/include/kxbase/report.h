#pragma once

/// @file
/// The log. Everything that the libraries have to say goes through `report`, one line at a time, to a sink that the
/// host may replace.

#include <kxbase/export.h>

#include <functional>
#include <string>
#include <string_view>

namespace kxbase {

/// One line of the log as a sink gets it. Control characters are escaped already; the views hold during the call only.
struct report_line {
    std::string_view file;     ///< source position of the caller
    unsigned int line = 0;     ///< source position of the caller
    std::string_view category; ///< short word that names the area: "kxclientutil", "ClientProxy", "task", "Bonjour"
    unsigned int kind = 0;     ///< message kind
    unsigned int severity = 0; ///< syslog scale: 3 error, 4 warning, 5 notice, 7 debug
    std::string_view message;
};

using report_sink = std::function<void(report_line const&)>;

/// Writes one log line. Never throws: a line that can't be written is lost. Control characters (line separators, marks
/// that turn the writing direction, and bytes that are no UTF-8 among them) are escaped as `\n`, `\t`, `\xNN` or
/// `\u{NNNN}`, so that no input forges a line, and secrets of URLs in the message are masked. Any thread may call it.
KXBASE_EXPORT void report(std::string_view file, unsigned int line, std::string_view category, unsigned int kind,
                          unsigned int severity, std::string_view message) noexcept;

/// Replaces the sink and returns the one before. An empty function stands for the default, which writes one line to
/// standard error. Sinks are called one at a time and may throw (the line is lost then); what a sink itself reports
/// goes to standard error. When this returns, the old sink is not running any more, except where it makes this call.
KXBASE_EXPORT report_sink set_report_sink(report_sink sink);

/// The line that the default sink writes, without its end: `CATEGORY[KIND/SEVERITY] MESSAGE (FILE:LINE)`.
[[nodiscard]] KXBASE_EXPORT std::string report_text(report_line const& line);

} // namespace kxbase
