#include "config/document_types.h"
#include "config/schema_page.h"
#include "config/schema_plugins.h"
#include "raising.h"

#include <kxclientutil/schema.h>

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_schema.h>
#include <kxcore/nearest_text.h>
#include <kxcore/plugin_db.h>
#include <kxcore/xml_writer.h>

namespace kxclientutil {

namespace {

namespace es = kxbase::es;
using rows = std::vector<document_type const*>;

rows find_rows(std::string_view name);
void write(rows const& types, e_schema_form form, kxcore::constraint_db const& constraints,
           kxcore::plugin_db const& plugins, std::string& out);
void write_language(rows const& types, e_schema_form form, kxcore::constraint_db const& constraint,
                    kxcore::constraint_db const& constraints, kxcore::plugin_db const& plugins, std::string& out);

} // namespace

std::vector<schema_type> schema_types() {
    std::vector<schema_type> all;
    for (document_type const& row : document_types())
        all.push_back({row.type, row.identifier, row.constraint});
    return all;
}

void write_schema(std::string_view name, e_schema_form form, kxcore::constraint_db const& constraints,
                  kxcore::plugin_db const& plugins, std::string& out) {
    write(find_rows(name), form, constraints, plugins, out);
}

void write_schema(e_config_type type, e_schema_form form, kxcore::constraint_db const& constraints,
                  kxcore::plugin_db const& plugins, std::string& out) {
    document_type const* const row = find_document_type(type);
    if (row == nullptr) raise_from<es::arg>(config_source_path, "Unknown configuration type");
    write({row}, form, constraints, plugins, out);
}

namespace {

rows find_rows(std::string_view name) {
    rows found;
    kxcore::nearest_text nearest(name);
    for (document_type const& row : document_types()) {
        if (name == row.identifier) return {&row};
        if (name == row.constraint) found.push_back(&row);
        nearest.consider(row.identifier);
        nearest.consider(row.constraint);
    }
    if (found.empty()) {
        std::string message = "there is no document type \"" + std::string(name) + '"';
        std::string_view const guess = nearest.good_guess();
        if (!guess.empty()) message += " (did you mean \"" + std::string(guess) + "\"?)";
        raise_from<es::arg>(config_source_path, message);
    }
    return found;
}

void write(rows const& types, e_schema_form form, kxcore::constraint_db const& constraints,
           kxcore::plugin_db const& plugins, std::string& out) {
    document_type const& first = *types.front();
    auto const constraint = find_database(constraints, first.constraint);
    if (!constraint) {
        raise_from<es::arg>(config_source_path,
                            "the installation has no constraint \"" + std::string(first.constraint) + '"');
    }
    std::string text;
    if (form == e_schema_form::html) {
        write_schema_page(types, *constraint, configured_plugins(first, constraints, plugins), text);
    } else {
        write_language(types, form, *constraint, constraints, plugins, text);
    }
    out += text;
}

void write_language(rows const& types, e_schema_form form, kxcore::constraint_db const& constraint,
                    kxcore::constraint_db const& constraints, kxcore::plugin_db const& plugins, std::string& out) {
    kxcore::schema_document document;
    for (document_type const* row : types)
        document.identifiers.emplace_back(row->identifier);
    document.version = current_version;
    kxcore::xml::writer xml(out);
    xml.declaration();
    if (form == e_schema_form::rng) {
        document.trees = with_configurations(*types.front(), constraint, constraints, plugins);
        kxcore::write_rng_grammar(xml, document);
    } else {
        // XML Schema can't tell the plugins' configurations apart, and would gain nothing from them.
        document.trees = {kxbase::make_refcount<kxcore::constraint_db>(constraint)};
        kxcore::write_xsd_schema(xml, document);
    }
    out += '\n';
}

} // namespace

} // namespace kxclientutil
