// How what this library has to say stands in the log.
#pragma once

#include <kxbase/report.h>
#include <kxbase/source_position.h>

#include <string_view>

namespace kxcapi {

/// What a line is about: numbers that administrators filter by.
enum e_report_kind : unsigned int {
    e_report_kind_packet = 2,     ///< a packet that is of no use to anybody
    e_report_kind_connection = 3, ///< a connection as a whole, its handler included
};

/// How much it matters, on the scale of syslog. That a notice of this category says why there is no connection is what
/// programs rely on that show it to people.
enum e_report_severity : unsigned int {
    e_report_severity_error = 3,
    e_report_severity_warning = 4,
    e_report_severity_notice = 5,
    e_report_severity_debug = 7,
};

inline void report(e_report_kind kind, e_report_severity severity, std::string_view message,
                   kxbase::source_position where = kxbase::source_position::current()) noexcept {
    kxbase::report(where.file_name(), where.line(), "ClientProxy", kind, severity, message);
}

} // namespace kxcapi
