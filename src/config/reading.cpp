#include "config/document_types.h"
#include "config/preset.h"
#include "config/resource_url.h"
#include "raising.h"

#include <kxclientutil/config.h>
#include <kxclientutil/resolve.h>

#include <kxbase/buffer.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxcore/constraint_db.h>
#include <kxcore/ioutil.h>
#include <kxcore/process_context.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

namespace kxclientutil {

namespace {

namespace es = kxbase::es;
using kxbase::make_refcount;
using kxcore::configuration;
using kxcore::constraint_db;
using kxcore::plugin_db;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_string;

constexpr auto credentials = kxcore::property_special::e_sub_type::credential;

/// What a document is read for: to be used on this machine, or to be changed and written back.
enum class e_purpose : unsigned char { use, edit };

e_config_type read_bytes(kxbase::buffer const& data, plugin_db const& plugins, constraint_db const& constraints,
                         properties& out, configuration::format* format, e_purpose purpose);
e_config_type read_file(std::string const& url, plugin_db const& plugins, constraint_db const& constraints,
                        properties& out, configuration::format* format, e_purpose purpose);
constraint_db accepted_documents(constraint_db const& constraints);
std::map<std::string, unsigned int> current_versions();
e_config_type type_read(configuration::read_error result, configuration& document, plugin_db const& plugins,
                        constraint_db const& constraints, properties& out);
e_config_type upgrade(configuration& document, plugin_db const& plugins, constraint_db const& constraints,
                      properties& out);
void validate(configuration const& document, constraint_db const& accepted);
void normalize_urls(properties& document);
void read_preset(std::string const& url, plugin_db const& plugins, constraint_db const& constraints,
                 kxbase::buffer& out);
void lend_name(std::string const& url, properties& source);

} // namespace

e_config_type read_config(kxbase::buffer const& data, plugin_db const& plugins, constraint_db const& constraints,
                          properties& out, configuration::format* format) {
    return read_bytes(data, plugins, constraints, out, format, e_purpose::use);
}

e_config_type read_config_to_edit(kxbase::buffer const& data, plugin_db const& plugins,
                                  constraint_db const& constraints, properties& out, configuration::format* format) {
    return read_bytes(data, plugins, constraints, out, format, e_purpose::edit);
}

e_config_type read_config_file(std::string const& path_or_url, plugin_db const& plugins,
                               constraint_db const& constraints, properties& out, configuration::format* format) {
    std::string const url = kxbase::url_create_from_url_or_path(path_or_url, "");
    e_config_type const type = read_file(url, plugins, constraints, out, format, e_purpose::use);
    document_type const* const row = find_document_type(type);
    if (row && row->is_source && !out.is_present("name")) lend_name(url, out);
    return type;
}

e_config_type read_config_file_to_edit(std::string const& path_or_url, plugin_db const& plugins,
                                       constraint_db const& constraints, properties& out,
                                       configuration::format* format) {
    std::string const url = kxbase::url_create_from_url_or_path(path_or_url, "");
    return read_file(url, plugins, constraints, out, format, e_purpose::edit);
}

bool recognizes_file(std::string const& path_or_url, plugin_db const& plugins) {
    std::string const url = kxbase::url_create_from_url_or_path(path_or_url, "");
    return is_preset_url(url) || configuration::recognizes_file(url, plugins);
}

namespace {

e_config_type read_bytes(kxbase::buffer const& data, plugin_db const& plugins, constraint_db const& constraints,
                         properties& out, configuration::format* format, e_purpose purpose) {
    constraint_db const accepted = accepted_documents(constraints);
    configuration document;
    auto const result = document.read_config(accepted, current_versions(), data, format);
    e_config_type const type = type_read(result, document, plugins, constraints, out);
    validate(document, accepted);

    properties read = document.get_config();
    kxcore::process_context::instance().resolve_properties(read, plugins, credentials);
    if (purpose == e_purpose::use) normalize_urls(read);
    out = std::move(read);
    return type;
}

e_config_type read_file(std::string const& url, plugin_db const& plugins, constraint_db const& constraints,
                        properties& out, configuration::format* format, e_purpose purpose) {
    kxbase::buffer data;
    if (is_preset_url(url)) {
        read_preset(url, plugins, constraints, data);
    } else {
        if (!configuration::recognizes_file(url, plugins)) return config_unknown;
        kxcore::ioutil::get_file_content(url, data, plugins);
    }
    return read_bytes(data, plugins, constraints, out, format, purpose);
}

/// The constraint of every document type under its identifier; an empty one where the installation has none.
constraint_db accepted_documents(constraint_db const& constraints) {
    constraint_db accepted(false);
    for (document_type const& row : document_types())
        accepted.add_constraint(row.identifier, constraints.get_constraint(row.constraint), true);
    return accepted;
}

std::map<std::string, unsigned int> current_versions() {
    std::map<std::string, unsigned int> versions;
    for (document_type const& row : document_types())
        versions.emplace(row.identifier, current_version);
    return versions;
}

e_config_type type_read(configuration::read_error result, configuration& document, plugin_db const& plugins,
                        constraint_db const& constraints, properties& out) {
    switch (result) {
    case configuration::read_ok: {
        document_type const* const row = find_document_type(document.get_identifier());
        return row ? row->type : config_unknown;
    }
    case configuration::read_old_version: return upgrade(document, plugins, constraints, out);
    case configuration::read_unexpected:
        raise_from<es::arg>(config_source_path,
                            kxbase::string_with_format("Unexpected configuration data, data contains '%s'",
                                                       document.get_identifier().c_str()));
    case configuration::read_unknown: raise_from<es::arg>(config_source_path, "Unknown configuration data");
    case configuration::read_invalid: raise_from<es::arg>(config_source_path, "Invalid configuration data");
    }
    // A code of a later reader: the document is judged by its constraint alone.
    return config_unknown;
}

/// Brings the document to the current version. `out` gets it as it was stored, its credentials unwrapped, and the upgrade
/// works on that.
e_config_type upgrade(configuration& document, plugin_db const& plugins, constraint_db const& constraints,
                      properties& out) {
    properties stored = document.get_config();
    kxcore::process_context::instance().resolve_properties(stored, plugins, credentials);
    out = std::move(stored);

    document_type const* const row = find_document_type(document.get_identifier());
    if (!row) return config_unknown;
    if (!row->upgrade) raise_from<es::arg>(config_source_path, "Not implemented");
    document.set_config(*row->upgrade(out, document.get_version(), current_version, plugins, constraints));
    return row->type;
}

void validate(configuration const& document, constraint_db const& accepted) {
    std::string const& identifier = document.get_identifier();
    auto const constraint = find_database(accepted, identifier);
    if (!constraint)
        raise_from<es::arg>(config_source_path,
                            kxbase::string_with_format("failed to find constraint for ('%s')", identifier.c_str()));

    properties const& tree = document.get_config();
    std::string reason;
    if (!constraint->is_valid(tree, kxcore::validity::all))
        constraint->get_invalid_reason(tree, reason, kxcore::validity::all);
    else if (!constraint->constraints_satisfied(tree, kxcore::validity::all))
        constraint->get_constraints_not_satisfied_reason(tree, reason, kxcore::validity::all);
    else
        return;
    raise_from<es::arg>(config_source_path, kxbase::string_with_format("Invalid configuration ('%s')", reason.c_str()));
}

/// Every string under a path with "url}" anywhere in it is taken for a URL, on purpose also one that is deeper than the
/// key that ends so.
void normalize_urls(properties& document) {
    kxcore::rewrite_leaves(document, [](std::string_view path, property_handle const& leaf) {
        auto const* const text = kxcore::property_cast<property_string>(leaf.get());
        if (!text || !kxbase::contains(path, "url}")) return leaf;

        std::string url(text->value());
        static_cast<void>(make_file_url_of_resource(url));
        return property_handle(make_refcount<property_string>(resolve_url_path(url)));
    });
}

/// Turns an encoder preset into the stored form of an encoder task, so that it is read like any other document.
void read_preset(std::string const& url, plugin_db const& plugins, constraint_db const& constraints,
                 kxbase::buffer& out) {
    properties const task = create_preset_task(url, plugins);
    document_type const& row = *find_document_type(config_task);
    auto const constraint = find_database(constraints, row.constraint);
    if (!constraint) raise_from<es::unsupp>(config_source_path, "user-task constraint missing");
    configuration document(*constraint, {row.identifier, current_version});
    document.set_default_config(task); // it has no other default than itself
    document.set_config(task);
    document.write_config(out, configuration::format_xml);
}

/// The mark tells the writer that the name is the file's and not the document's own.
void lend_name(std::string const& url, properties& source) {
    source.set_property("name", make_refcount<property_string>(kxbase::url_path_name(url)));
    source.set_property("name-absent", make_refcount<kxcore::property_bool>(true));
}

} // namespace

} // namespace kxclientutil
