// What the plugins of an installation add to the constraints of documents: beside a plugin's id a configuration is what
// that plugin takes.
#pragma once

#include "config/document_types.h"

#include <kxbase/ptr_refcount.h>

#include <string>
#include <vector>

namespace kxclientutil {

/// The constraints one of which a document of the type fits, given that its configurations fit their plugins.
///
/// @param constraint  that of the type alone
[[nodiscard]] std::vector<kxbase::ptr_refcount<kxcore::constraint_db const>>
with_configurations(document_type const& type, kxcore::constraint_db const& constraint,
                    kxcore::constraint_db const& constraints, kxcore::plugin_db const& plugins);

/// A plugin whose configurations stand in documents of the type.
struct configured_plugin {
    std::string id;
    std::string title;
    std::string description;
    kxbase::ptr_refcount<kxcore::constraint_db const> configuration; ///< empty when nothing is known of it
};

/// The plugins that documents of the type may name, by id.
[[nodiscard]] std::vector<configured_plugin> configured_plugins(document_type const& type,
                                                                kxcore::constraint_db const& constraints,
                                                                kxcore::plugin_db const& plugins);

} // namespace kxclientutil
