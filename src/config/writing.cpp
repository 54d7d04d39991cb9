#include "config/document_types.h"
#include "raising.h"

#include <kxclientutil/config.h>

#include <kxbase/buffer.h>
#include <kxbase/urls.h>
#include <kxcore/constraint_db.h>
#include <kxcore/credentials.h>
#include <kxcore/ioutil.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>

namespace kxclientutil {

namespace {

namespace es = kxbase::es;
using kxcore::configuration;
using kxcore::constraint_db;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_special;
using kxcore::property_string;

void wrap_credentials(properties& document);

} // namespace

void write_config(e_config_type type, constraint_db const& constraints, properties const& document, kxbase::buffer& out,
                  configuration::format format) {
    document_type const* const row = find_document_type(type);
    if (!row) raise_from<es::arg>(config_source_path, "Unknown configuration type");

    properties stored = document;
    if (row->drops_run_dependencies) stored.recursive_erase_ids("run-dependencies");
    auto const constraint = find_database(constraints, row->constraint);
    if (!constraint) raise_from<es::arg>(config_source_path, row->missing_message);
    configuration writer(*constraint, {row->identifier, current_version});

    wrap_credentials(stored);
    writer.set_config(stored);
    writer.write_config(out, format);
}

void write_config_file(std::string const& path_or_url, e_config_type type, kxcore::plugin_db const& plugins,
                       constraint_db const& constraints, properties const& document, configuration::format format) {
    std::string const url = kxbase::url_create_from_url_or_path(path_or_url, "");
    properties stored = document;
    document_type const* const row = find_document_type(type);
    if (row && row->is_source && stored.get_bool_value("name-absent", false)) {
        stored.erase("name");
        stored.erase("name-absent");
    }

    kxbase::buffer content;
    write_config(type, constraints, stored, content, format);
    kxcore::ioutil::set_file_content(url, content, plugins);
}

namespace {

void wrap_credentials(properties& document) {
    using kxcore::credentials::e_content;
    kxcore::rewrite_leaves(document, [](std::string_view path, property_handle const& leaf) -> property_handle {
        switch (kxcore::credentials::content_to_wrap(path, *leaf)) {
        case e_content::none: break;
        case e_content::url:
            return property_special::create_wrapped_urlupp(static_cast<property_string const&>(*leaf).value());
        case e_content::text:
            return property_special::create_wrapped_encrypted(static_cast<property_string const&>(*leaf).value());
        }
        return leaf;
    });
}

} // namespace

} // namespace kxclientutil
