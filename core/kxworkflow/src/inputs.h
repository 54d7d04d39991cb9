#pragma once

/// @file
/// Inputs and outputs of a task: which inputs wait to be fed, and what a plugin publishes. Which ones a task has is told
/// by kxworkflow/ports.h.

#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>

#include <string_view>

namespace kxworkflow {

/// Whether a value waits for a connection: it is missing, a plain deferred or a variable reference. An empty tree or list
/// is a value like any other, and waits for nothing.
[[nodiscard]] bool waits_for_connection(kxcore::property const* value);

/// Whether a value leaves room for what another task publishes: it waits for a connection, or is an empty tree or list.
[[nodiscard]] bool leaves_room(kxcore::property const* value);

/// What the plugin publishes at an output; empty when it publishes nothing there.
[[nodiscard]] kxcore::property_handle published_by_plugin(kxcore::plugin_info const& info, std::string_view output);

} // namespace kxworkflow
