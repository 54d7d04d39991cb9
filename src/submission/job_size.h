// What is done for each of many with each of many others is asked for before: a small submission can ask for more than
// anybody could hold.
#pragma once

#include <kxcore/property.h>

#include <cstddef>
#include <string_view>

namespace kxclientutil {

class finalize_sub_conf;

/// What an entry of "input-connections" from a localizer to a clip, and the wtid of an encoder, take at least in the network
/// encoding of a job, in bytes.
inline constexpr std::size_t smallest_connection = 96;
inline constexpr std::size_t smallest_wtid = 30;

/// What a value takes at least in the network encoding of a job, in bytes, when it comes into the configuration of a task
/// before the workflow is finalized: its URLs become resource URIs then, and a variable in it may become anything. Its keys
/// count as if they had come before. Looks at a shared part wherever it stands, as an encoding does.
[[nodiscard]] std::size_t least_encoded_size(kxcore::property_handle const& value, finalize_sub_conf const& settings);

/// Raises es::arg, naming the limit "document", when so many parts that each take at least so many bytes are more than a job
/// may have. Never refuses what would fit.
void require_room_for(std::size_t count, std::size_t bytes_each);

/// Raises es::arg for a job that would be too large, for that reason.
[[noreturn]] void refuse_job(std::string_view reason);

} // namespace kxclientutil
