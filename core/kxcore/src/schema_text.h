#pragma once

/// @file
/// What both schema languages need to know of keys and values.

#include <kxcore/property.h>

#include <array>
#include <set>
#include <string>
#include <string_view>

namespace kxcore {

namespace xml {
class writer;
}

/// The kinds that have an element of their own in a document, special values aside.
inline constexpr std::array schema_kinds = {
    property_kind::string,     property_kind::boolean, property_kind::integer,    property_kind::binary,
    property_kind::properties, property_kind::list,    property_kind::constraint,
};

/// What a key is, as a pattern.
inline constexpr std::string_view key_pattern = R"([^{}\[\]]+)";

/// How documents write ints: the schema type alone would take a plus sign as well. With the blanks that may stand around
/// them, since some validators look for the pattern in the text as it stands.
inline constexpr std::string_view int_pattern = R"(\s*-?[0-9]+\s*)";

/// Whether the content of an element of that kind is text.
[[nodiscard]] bool is_simple_kind(property_kind kind) noexcept;

/// Whether a document can hold the text as it is: otherwise it is stored as base64.
[[nodiscard]] bool fits_xml(std::string_view text) noexcept;

/// A pattern of XML Schema that every text matches but these. A pattern can't say "not"; what it can say is at which
/// character a text leaves all of them.
[[nodiscard]] std::string pattern_of_others(std::set<std::string_view> const& texts);

/// Writes the XML Schema type of any text that stands for a value of a simple kind.
void write_xsd_simple_kind(xml::writer& out, property_kind kind);

/// Writes the identity constraint that the members of a tree have keys and no key twice, at the end of an element's
/// declaration, and gives its name, which is no other's.
std::string write_xsd_key(xml::writer& out);

} // namespace kxcore
