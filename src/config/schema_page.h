// The description of document types as a page for people.
#pragma once

#include "config/schema_plugins.h"

#include <span>
#include <string>

namespace kxclientutil {

/// Appends the page: a whole document that is HTML and XML at once.
void write_schema_page(std::span<document_type const* const> types, kxcore::constraint_db const& constraint,
                       std::span<configured_plugin const> plugins, std::string& out);

} // namespace kxclientutil
