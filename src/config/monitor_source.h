// The part of a new monitor source that says which files are picked up and where they go.
#pragma once

#include <kxbase/ptr_refcount.h>

#include <string>

namespace kxcore {
class properties;
} // namespace kxcore

namespace kxclientutil {

/// A manager configuration with the defaults of the system.
///
/// @param plugin_id  the id of the monitor plugin; an empty one is left out.
/// @param url        the location; an empty one becomes a deferred value, to be filled later.
[[nodiscard]] kxbase::ptr_refcount<kxcore::properties> create_manager_configuration(std::string const& plugin_id,
                                                                                    std::string const& url);

} // namespace kxclientutil
