// Calls of the host's own code.
#pragma once

#include "reporting.h"

#include <exception>
#include <string>

namespace kxcapi {

/// Calls, and logs what is thrown: a host's errors are its own affair, and end no connection.
template <class Call>
void call_handler(Call const& call) noexcept {
    try {
        call();
    } catch (std::exception const& error) {
        report(e_report_kind_connection, e_report_severity_error, std::string("a handler raised: ") + error.what());
    } catch (...) {
        report(e_report_kind_connection, e_report_severity_error, "a handler raised something unknown");
    }
}

} // namespace kxcapi
