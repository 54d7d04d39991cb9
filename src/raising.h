// How the functions of this library raise errors: with the library's own source paths, which are fixed texts, the same
// on every system and without a file name (administrators filter logs by them), and with the real line, or with one that
// is as fixed as the path.
#pragma once

#include <kxbase/errors.h>
#include <kxbase/source_position.h>

#include <string_view>

namespace kxclientutil {

inline constexpr char const* bonjour_source_path = R"(code\app\common\shared\kxclientutil\src\bonjour)";
inline constexpr char const* config_source_path = R"(code\app\common\shared\kxclientutil\src\config)";
inline constexpr char const* connection_source_path = R"(code\app\common\shared\kxclientutil\src\connection)";
inline constexpr char const* submission_source_path = R"(code\app\common\shared\kxclientutil\src\submission)";

/// Raises an error of the family `Error` with a finished message.
template <typename Error>
[[noreturn]] void raise_from(char const* source_path, std::string_view message,
                             kxbase::source_position where = kxbase::source_position::current()) {
    Error::raise(source_path, where.line(), message);
}

/// A place that clients and log filters know: it is kept whatever becomes of the source around it.
struct fixed_place {
    char const* source_path;
    unsigned int line;
};

/// The same from a fixed place.
template <typename Error>
[[noreturn]] void raise_from(fixed_place where, std::string_view message) {
    Error::raise(where.source_path, where.line, message);
}

} // namespace kxclientutil
