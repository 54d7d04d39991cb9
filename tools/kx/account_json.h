#pragma once

/// @file
/// What finalization tells of its work, for programs.

#include <nlohmann/json.hpp>

namespace kxclientutil {
struct finalization_account;
}

namespace kx {

/// A list of what happened, in the order of the work: each with its step, what happened, the same in words, and the
/// members that it has: "task", "path", "before", "after", "others", "output", "when", "why". Passwords are hidden.
[[nodiscard]] nlohmann::ordered_json to_json(kxclientutil::finalization_account const& account);

} // namespace kx
