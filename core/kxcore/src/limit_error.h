// An error about a limit (kxbase/limits.h) as this library tells it from others of its family: a document beyond a limit is
// not a broken one. To everybody else it is an es::arg.
#pragma once

#include <kxbase/errors.h>
#include <kxbase/source_position.h>

#include <string_view>

namespace kxcore {

class limit_error final : public kxbase::es::arg {
public:
    using arg::arg;

    [[noreturn]] static void raise(std::string_view message,
                                   kxbase::source_position where = kxbase::source_position::current()) {
        throw limit_error(where.file_name(), where.line(), message);
    }

    [[nodiscard]] static bool is_one(kxbase::es::arg const& error) noexcept {
        return dynamic_cast<limit_error const*>(&error) != nullptr;
    }

    /// Raises what another error gave rise to: about a limit if that one is.
    [[noreturn]] static void raise_as(kxbase::es::arg const& cause, std::string_view message,
                                      kxbase::source_position where = kxbase::source_position::current()) {
        if (is_one(cause)) raise(message, where);
        arg::raise(where.file_name(), where.line(), message);
    }
};

} // namespace kxcore
