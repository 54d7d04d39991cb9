#pragma once

/// @file
/// Small services on texts. Texts are byte strings, normally UTF-8; nothing here depends on a locale. All functions
/// give new strings; UTF-8 validation is in utf8.h, base64 in base64.h.

#include <kxbase/export.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxbase {

/// printf into a string of any length. The format is a literal: never pass a text that came from outside.
[[nodiscard]] KXBASE_EXPORT std::string string_with_format(char const* format, ...)
    __attribute__((format(printf, 1, 2)));

/// The empty string, for functions that return a reference.
[[nodiscard]] KXBASE_EXPORT std::string const& string_empty_string() noexcept;

/// The text without any `ch` at both ends.
[[nodiscard]] KXBASE_EXPORT std::string trimmed(std::string_view text, char ch);

/// The text with a to z in capitals; other bytes stay.
[[nodiscard]] KXBASE_EXPORT std::string string_to_uppercase(std::string_view text);

/// Note the order: the prefix first, as in `starts_with("kxrc:/", url)`.
[[nodiscard]] constexpr bool starts_with(std::string_view prefix, std::string_view text) noexcept {
    return text.starts_with(prefix);
}

/// Note the order: the suffix first.
[[nodiscard]] constexpr bool ends_with(std::string_view suffix, std::string_view text) noexcept {
    return text.ends_with(suffix);
}

/// Whether `text` holds `part`; every text holds the empty one.
[[nodiscard]] constexpr bool contains(std::string_view text, std::string_view part) noexcept {
    return text.find(part) != std::string_view::npos;
}

namespace strutil {

/// Splits the text at every `separator` and appends the pieces to `out`. With `keep_empty` empty pieces count, at the
/// ends, too ("a|" has two, "|" has two); without they are left out. The empty text has none either way.
KXBASE_EXPORT void tokenize_string(std::string_view text, char separator, std::vector<std::string>& out,
                                   bool keep_empty);

/// The text with every occurrence of every key replaced by its value: one scan from the left that takes the longest key
/// at each position and never looks again at what it put in. The empty key is never found.
[[nodiscard]] KXBASE_EXPORT std::string string_replaced(std::string_view text,
                                                        std::map<std::string, std::string> const& replacements);

} // namespace strutil

namespace conv {

/// The number that the leading digits of the text mean in a base from 2 to 36: none give 0, too many the largest
/// number, and nothing is raised. There is neither sign, blank nor prefix; another base than these gives 0.
[[nodiscard]] KXBASE_EXPORT unsigned int string_to_uint(std::string_view text, unsigned int base = 10) noexcept;

} // namespace conv

} // namespace kxbase
