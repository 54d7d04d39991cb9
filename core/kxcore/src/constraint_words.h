#pragma once

/// @file
/// The small pieces of text that constraints are written and described with.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace kxcore {
class constraint;
enum class constraint_kind : unsigned int; // NOLINT(readability-identifier-naming): as where it is defined
} // namespace kxcore

namespace kxcore::words {

/// No upper bound, as all constraints on sizes have it.
inline constexpr std::size_t unbounded = std::numeric_limits<std::size_t>::max();

/// The name of a type in the tree form: "one-of", "database".
std::string_view type_name(constraint_kind kind) noexcept;

/// The text in double quotes, with these, backslashes and control characters escaped: on one line, and nothing is lost.
void append_quoted(std::string& out, std::string_view text);

/// The same for people: what is not UTF-8 is escaped, too.
void append_shown(std::string& out, std::string_view text);

/// " 1..64", " 1..", " ..64", " 5", or nothing: the bounds of a canonical text.
void append_bounds(std::string& out, std::size_t min, std::size_t max);

/// "(PART)": the canonical text of a part, behind the name of its kind where the text does not say it.
void append_part(std::string& out, constraint const& part);

/// " of 1 to 64 characters", " of at least 1 character", " of at most 64 characters", or nothing.
void append_amount(std::string& out, std::size_t min, std::size_t max, std::string_view unit);

/// "5 elements", "1 element".
std::string counted(std::uint64_t count, std::string_view unit);

/// Raises es::arg when the bounds of a size cross.
void check_bounds(std::size_t min, std::size_t max, std::string_view what);

/// How many characters of UTF-8 the text has; a byte that can't be part of one counts like one.
std::size_t character_count(std::string_view text) noexcept;

} // namespace kxcore::words
