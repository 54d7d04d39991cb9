#pragma once

/// @file
/// Trees as JSON. Strings, bools, ints, lists and trees stand for themselves; what JSON has no word for is an object with
/// one member: {"$special": {...}}, {"$binary": BASE64}, {"$constraint": {...}}, and {"$bytes": BASE64} for a string that
/// is not UTF-8.

#include <nlohmann/json.hpp>

namespace kxcore {
class property;
}

namespace kx {

/// What becomes of binaries.
enum class e_binaries {
    whole, ///< {"$binary": BASE64}
    sizes, ///< {"$binary-size": NUMBER}: one may hold a whole job, with its secrets, in a form that nobody recognizes
};

/// The value as JSON, the members of trees in byte order of their keys.
[[nodiscard]] nlohmann::ordered_json to_json(kxcore::property const& value, e_binaries binaries = e_binaries::whole);

} // namespace kx
