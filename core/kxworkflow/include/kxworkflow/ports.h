#pragma once

/// @file
/// Which inputs and outputs a task has, for whoever looks at tasks without a workflow_builder.

#include <kxworkflow/export.h>

#include <string_view>

namespace kxcore {
class plugin_info;
class properties;
} // namespace kxcore

namespace kxworkflow {

/// Whether a task of that plugin with that configuration accepts the input: its path is there, or its first step is a
/// declared input or a member of the configuration. False for a text that is no path.
[[nodiscard]] KXWORKFLOW_EXPORT bool is_possible_input(kxcore::plugin_info const& info,
                                                       kxcore::properties const& configuration, std::string_view input);

/// Whether a task of that plugin has the output: the plugin declares or publishes it, or the task does.
///
/// @param task the document of the task, the one with "published-outputs"
[[nodiscard]] KXWORKFLOW_EXPORT bool is_output(kxcore::plugin_info const& info, kxcore::properties const& task,
                                               std::string_view output);

} // namespace kxworkflow
