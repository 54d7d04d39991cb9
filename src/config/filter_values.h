// The values of a monitor's filter as documents hold them: texts one by one or in lists, numbers as numbers or texts, dates
// as seconds or as people write them.
#pragma once

#include <kxcore/text_pattern.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kxcore {
class property;
} // namespace kxcore

namespace kxclientutil {

/// Where in a day a date without a time lies.
enum class e_day_part : unsigned char { begin, end };

/// A text, or the texts of a list; none for null.
///
/// @throws es::arg, as all of these, naming the path
[[nodiscard]] std::vector<std::string> filter_texts(kxcore::property const* value, std::string const& path);

/// A regular expression.
[[nodiscard]] kxcore::text_pattern filter_pattern(std::string const& expression, std::string const& path);

/// A number of bytes; empty for null.
[[nodiscard]] std::optional<std::uint64_t> filter_size(kxcore::property const* value, std::string const& path);

/// Seconds since 1970 began (UTC), given as such or as "YYYY-MM-DD", "YYYY-MM-DD hh:mm" or "YYYY-MM-DD hh:mm:ss", with a 'T'
/// for the blank and a 'Z' behind it, both as one likes; empty for null.
[[nodiscard]] std::optional<std::int64_t> filter_date(kxcore::property const* value, std::string const& path,
                                                      e_day_part part);

/// "2012-12-31 23:59:59 UTC".
[[nodiscard]] std::string shown_date(std::int64_t seconds);

} // namespace kxclientutil
