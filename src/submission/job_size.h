// What is done for each of many with each of many others is asked for before: a small submission can ask for more than
// anybody could hold.
#pragma once

#include <cstddef>
#include <string_view>

namespace kxclientutil {

/// What the parts of a job take at least in its network encoding, in bytes.
inline constexpr std::size_t smallest_clip = 16;
inline constexpr std::size_t smallest_connection = 60;
inline constexpr std::size_t smallest_wtid = 30;

/// Raises es::arg, naming the limit "document", when so many parts that each take at least so many bytes are more than a job
/// may have. Never refuses what would fit.
void require_room_for(std::size_t count, std::size_t bytes_each);

/// Raises es::arg for a job that would be too large, for that reason.
[[noreturn]] void refuse_job(std::string_view reason);

} // namespace kxclientutil
