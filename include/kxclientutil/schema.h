#pragma once

/// @file
/// Schemas and descriptions of the document types, made of an installation's constraints: for editors that help to write
/// documents, for other programs that check them, and for people who want to know what may stand in one.

#include <kxclientutil/export.h>

#include <kxclientutil/config.h>

#include <string>
#include <string_view>
#include <vector>

namespace kxclientutil {

/// What a document type can be described in.
enum class e_schema_form {
    rng,  ///< a RELAX NG grammar, XML syntax
    xsd,  ///< an XML Schema 1.0
    html, ///< a page for people
};

/// One document type as schemas know it.
struct schema_type {
    e_config_type type = config_unknown;
    std::string identifier; ///< what its documents are identified by: "workflow"
    std::string constraint; ///< the name of its constraint in the installation's database: "node.workflow"
};

/// All document types, by value.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::vector<schema_type> schema_types();

/// Appends the schema of a document type at the current version, a whole XML document, to @p out. What the schema
/// languages can't say is told in docs/constraints.md, chapter "Schemas".
///
/// The RELAX NG also says what configurations the installation's plugins take, each beside its own plugin id, and knows
/// no plugin besides these. The page shows their configurations behind the document.
///
/// @param name  a document identifier ("workflow") or the name of a constraint of document types ("node.workflow"); where
///              several types have that constraint the schema accepts all of them
///
/// @throws es::arg for an unknown name, with the nearest known one; when @p constraints lacks the constraint; and for
///         a constraint on texts that no XML document can hold. @p out is then as it was
KXCLIENTUTIL_EXPORT void write_schema(std::string_view name, e_schema_form form,
                                      kxcore::constraint_db const& constraints, kxcore::plugin_db const& plugins,
                                      std::string& out);

/// The same for one type.
///
/// @throws es::arg "Unknown configuration type" for what is no document type; else as above
KXCLIENTUTIL_EXPORT void write_schema(e_config_type type, e_schema_form form, kxcore::constraint_db const& constraints,
                                      kxcore::plugin_db const& plugins, std::string& out);

} // namespace kxclientutil
