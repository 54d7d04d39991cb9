// Plugins that tests make up: an id and a default configuration, and nothing else.
#pragma once

#include "kxclientutil/support/trees.h"

#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>

namespace kx_test {

inline void add_plugin(kxcore::plugin_db& plugins, std::string_view id, tree_handle const& default_configuration) {
    auto const document = tree({{"plugin-id", text(id)},
                                {"info", tree({{"name", text("any")}})},
                                {"default-configuration", default_configuration}});
    plugins.add_plugin(kxbase::make_refcount<kxcore::plugin_info>(document));
}

} // namespace kx_test
