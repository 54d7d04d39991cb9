#pragma once

/// @file
/// Limits guard the doors where foreign bytes come in; writing and finalizing refuse what could not be read back. Every
/// error names the limit that it met by the word in the third column:
///
///   | what                                                        | default        | word          |
///   |-------------------------------------------------------------|----------------|---------------|
///   | bytes of one document                                       | 256 MiB        | document      |
///   | bytes of one frame of the wire protocol                     | 64 MiB         | frame         |
///   | bytes that compressed data may expand to                    | 1 GiB          | expansion     |
///   | levels of nesting                                           | 128            | nesting       |
///   | bytes of one string                                         | 16 MiB         | string        |
///   | bytes of one key                                            | 64 KiB         | key           |
///   | members of one list or tree                                 | 10 million     | members       |
///   | bytes of the text form of a property path                   | 4,096          | path          |
///   | bytes that recognizing a document looks at                  | 4 KiB          | recognition   |
///
/// A byte of the network encoding may be a value, which takes some sixty bytes of memory. So a frame, and the original inside
/// a job, hold no more values than one for each 6 bytes that they may have (`most_values`): 11 million in a frame. Errors
/// about that name the limit of the bytes. Binary documents and job files are bounded by their bytes alone.

#include <kxbase/export.h>

#include <algorithm>
#include <cstddef>

namespace kxbase {

inline constexpr std::size_t limit_document = std::size_t{256} << 20;
inline constexpr std::size_t limit_frame = std::size_t{64} << 20;
inline constexpr std::size_t limit_expansion = std::size_t{1} << 30;
inline constexpr std::size_t limit_nesting = 128;
inline constexpr std::size_t limit_string = std::size_t{16} << 20;
inline constexpr std::size_t limit_key = std::size_t{64} << 10;
inline constexpr std::size_t limit_members = 10'000'000;
inline constexpr std::size_t limit_path = 4096;
inline constexpr std::size_t limit_recognition = 4096; ///< fixed

/// What a value counts for at least where bytes are limited. Fixed, and such that a list with as many members as are
/// allowed still fits into a frame.
inline constexpr std::size_t bytes_per_value = 6;
/// Of bytes: values that come in no more than that take less than a megabyte, and are not worth a limit of their own. Fixed.
inline constexpr std::size_t least_for_values = std::size_t{64} << 10;

/// How many values may be in what may have so many bytes: at least 10,922.
[[nodiscard]] constexpr std::size_t most_values(std::size_t bytes) noexcept {
    return std::max(bytes, least_for_values) / bytes_per_value;
}

/// What an encoding of so many bytes, with so many values in it, counts for in bytes.
[[nodiscard]] constexpr std::size_t encoded_weight(std::size_t bytes, std::size_t values) noexcept {
    return std::max(bytes, values * bytes_per_value);
}

/// Time and rate on the wire: the default for a step whose caller gives no time-out (0), in milliseconds, and the least
/// rate in bytes a second while a frame is under way.
inline constexpr unsigned int default_timeout_ms = 30'000;
inline constexpr std::size_t least_frame_rate = 1000;

/// The limits that a document can meet, which a host may lower or raise. Each is the largest value that still passes.
/// Constraints alone stay at 128 levels when nesting is raised.
struct limits {
    std::size_t document = limit_document;
    std::size_t frame = limit_frame;
    std::size_t expansion = limit_expansion;
    std::size_t nesting = limit_nesting;
    std::size_t string = limit_string;
    std::size_t key = limit_key;
    std::size_t members = limit_members;
    std::size_t path = limit_path;

    friend bool operator==(limits const&, limits const&) = default;
};

/// The limits that hold now, as one consistent set. Cheap, but ask once per document, not once per value. Any thread.
[[nodiscard]] KXBASE_EXPORT limits current_limits() noexcept;

/// Sets all limits and returns those before. What is being read goes on with those that it began with. Any thread.
KXBASE_EXPORT limits set_limits(limits const& changed) noexcept;

/// Limits for the time of a scope, chiefly in tests.
class [[nodiscard]] scoped_limits {
public:
    explicit scoped_limits(limits const& changed) noexcept : before_(set_limits(changed)) {}
    scoped_limits(scoped_limits const&) = delete;
    scoped_limits& operator=(scoped_limits const&) = delete;
    ~scoped_limits() { set_limits(before_); }

private:
    limits before_;
};

} // namespace kxbase
