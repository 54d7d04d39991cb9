// Calls of the host's own code.
#pragma once

#include <kxbase/report.h>

#include <exception>
#include <string>

namespace kxcapi {

/// Calls, and logs what is thrown: a host's errors are its own affair, and end no connection.
template <class Call>
void call_handler(Call const& call) noexcept {
    constexpr unsigned int kind = 3;
    constexpr unsigned int severity = 3;
    try {
        call();
    } catch (std::exception const& error) {
        kxbase::report(__FILE__, __LINE__, "ClientProxy", kind, severity,
                       std::string("a handler raised: ") + error.what());
    } catch (...) {
        kxbase::report(__FILE__, __LINE__, "ClientProxy", kind, severity, "a handler raised something unknown");
    }
}

} // namespace kxcapi
