#pragma once

/// @file
/// Schemas of documents out of constraints: the elements around the fragments that constraints write, and the
/// definitions that these refer to. RELAX NG says everything a constraint says; XML Schema 1.0 can't tell elements of
/// one name apart by an attribute, so its fragments accept somewhat more, never less (docs/constraints.md).

#include <kxcore/export.h>

#include <string_view>

namespace kxcore {

class constraint;
class constraint_db;
class constraint_list;

namespace xml {
class writer;
}

/// Writes the RELAX NG pattern of the element that holds a value of the constraint: the element of its kind, or a
/// choice of several, with the content that `constraint::to_rng` writes, or a special value in its place.
///
/// @param value null accepts any value
/// @param key the value's key; null for an element of a list, which has none
KXCORE_EXPORT void write_rng_member(xml::writer& out, constraint const* value, std::string_view const* key);

/// Writes the patterns of the members of a tree, in byte order of their keys: the content of the element that holds it.
/// In an open database any other members may stand between them.
KXCORE_EXPORT void write_rng_members(xml::writer& out, constraint_db const& database);

/// Writes the definitions that fragments refer to ("any-value", "any-member", ...), once in each `grammar`.
KXCORE_EXPORT void write_rng_definitions(xml::writer& out);

/// Writes the XML Schema model of the members of a tree: what stands first in the complexType of the element that holds
/// it, before attributes.
KXCORE_EXPORT void write_xsd_members(xml::writer& out, constraint_db const& database);

/// Writes the XML Schema type of the element that holds a list.
KXCORE_EXPORT void write_xsd_list(xml::writer& out, constraint_list const& list);

/// Writes the XML Schema types that fragments refer to, once in each `xs:schema`, which has no target namespace and
/// declares the prefix xs.
KXCORE_EXPORT void write_xsd_definitions(xml::writer& out);

} // namespace kxcore
