// What ready-made tasks and monitor sources begin with: a plugin that has to be there, and its default configuration.
#pragma once

#include "raising.h"

#include <kxbase/ptr_refcount.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>

#include <string>
#include <string_view>

namespace kxclientutil {

/// A plugin, and the line that the error about its being missing carries.
struct needed_plugin {
    std::string_view id;
    unsigned int line;
};

/// A new string.
[[nodiscard]] inline kxcore::property_handle text(std::string_view value) {
    return kxbase::make_refcount<kxcore::property_string>(value);
}

/// A tree of the caller's own with the plugin's default configuration.
///
/// @throws es::arg "No plugin info for ID" from that line
[[nodiscard]] inline kxbase::ptr_refcount<kxcore::properties> new_configuration(needed_plugin plugin,
                                                                                kxcore::plugin_db const& plugins) {
    auto const info = plugins.describe_plugin(plugin.id);
    if (!info) {
        raise_from<kxbase::es::arg>(fixed_place{config_source_path, plugin.line},
                                    "No plugin info for " + std::string(plugin.id));
    }
    return kxbase::make_refcount<kxcore::properties>(info->get_default_configuration());
}

} // namespace kxclientutil
