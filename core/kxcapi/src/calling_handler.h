// Calls of the host's own code.
#pragma once

#include "reporting.h"

#include <exception>
#include <new>
#include <string>

namespace kxcapi {

inline void report_raised(char const* what) noexcept {
    try {
        report(e_report_kind_connection, e_report_severity_error, std::string("a handler raised: ") + what);
    } catch (std::bad_alloc const&) {
        report(e_report_kind_connection, e_report_severity_error, what);
    }
}

/// Calls, and logs what is thrown: a host's errors are its own affair, and end no connection.
template <class Call>
void call_handler(Call const& call) noexcept {
    try {
        call();
    } catch (std::exception const& error) {
        report_raised(error.what());
    } catch (...) {
        report(e_report_kind_connection, e_report_severity_error, "a handler raised something unknown");
    }
}

} // namespace kxcapi
