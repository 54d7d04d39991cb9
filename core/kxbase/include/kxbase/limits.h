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

#include <kxbase/export.h>

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
