#pragma once

/// @file
/// Schemas of documents out of constraints: the elements around the fragments that constraints write, the definitions
/// that these refer to, and whole schemas. What each language can say is told in docs/constraints.md.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>

#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

class constraint;
class constraint_db;
class constraint_list;

namespace xml {
class writer;
}

/// The documents that a whole schema is written for.
struct schema_document {
    /// The identifier is one of these; at least one.
    std::vector<std::string> identifiers;
    unsigned int version = 0;
    /// The tree fits one of these, and has what it requires; at least one.
    std::vector<kxbase::ptr_refcount<constraint_db const>> trees;
};

/// Writes a RELAX NG grammar, whole: its root is the element `document`. Every database is a definition of its own, named
/// after the key where it first occurs.
KXCORE_EXPORT void write_rng_grammar(xml::writer& out, schema_document const& document);

/// Writes an XML Schema 1.0, whole, without a target namespace. Of several trees, what any of them accepts is accepted.
///
/// That a member is required is said by an identity constraint on an attribute with a fixed value ("required-1") that
/// the schema adds to the element and no document has.
KXCORE_EXPORT void write_xsd_schema(xml::writer& out, schema_document const& document);

/// Writes the RELAX NG pattern of the element that holds a value of the constraint: the element of its kind, or a
/// choice of several, with the content that `constraint::to_rng` writes, or a special value in its place.
///
/// @param value null accepts any value
/// @param key the value's key; null for an element of a list, which has none
KXCORE_EXPORT void write_rng_member(xml::writer& out, constraint const* value, std::string_view const* key);

/// Writes the patterns of the members of a tree, in byte order of their keys: the content of the element that holds it.
/// In an open database any other members may stand between them.
KXCORE_EXPORT void write_rng_members(xml::writer& out, constraint_db const& database);

/// Writes the pattern of the elements of a list.
KXCORE_EXPORT void write_rng_elements(xml::writer& out, constraint_list const& list);

/// Writes the definitions that fragments refer to ("any-member", "any-string", ...), once in each `grammar`.
KXCORE_EXPORT void write_rng_definitions(xml::writer& out);

/// Writes the XML Schema model of the members of a tree: what stands first in the complexType of the element that holds
/// it, before attributes.
KXCORE_EXPORT void write_xsd_members(xml::writer& out, constraint_db const& database);

/// Writes the XML Schema type of the element that holds a list.
KXCORE_EXPORT void write_xsd_list(xml::writer& out, constraint_list const& list);

/// Writes the XML Schema types and groups that fragments refer to, once in each `xs:schema`, which has no target
/// namespace and declares the prefix xs.
KXCORE_EXPORT void write_xsd_definitions(xml::writer& out);

} // namespace kxcore
