#pragma once

/// @file
/// The keys of a workflow document that the builder knows; docs/documents.md, chapter "Workflows".

#include <string_view>

namespace kxworkflow::keys {

// of the workflow
inline constexpr std::string_view tasks = "tasks";
inline constexpr std::string_view workflow_meta = "workflow-meta";
inline constexpr std::string_view capabilities = "capabilities";
inline constexpr std::string_view type = "type";
inline constexpr std::string_view connections = "connections";

// of the workflow and of a task
inline constexpr std::string_view name = "name";
inline constexpr std::string_view configuration = "configuration";
inline constexpr std::string_view ext_meta = "ext-meta";
inline constexpr std::string_view requirements = "requirements";

// of a task
inline constexpr std::string_view id = "id";
inline constexpr std::string_view plugin_id = "plugin-id";
inline constexpr std::string_view flags = "flags";
inline constexpr std::string_view published_outputs = "published-outputs";
inline constexpr std::string_view input_connections = "input-connections";
inline constexpr std::string_view run_dependencies = "run-dependencies";
inline constexpr std::string_view kill_triggers = "kill-triggers";

// of a connection
inline constexpr std::string_view from_wtid = "from-wtid";
inline constexpr std::string_view from_node = "from-node";
inline constexpr std::string_view to_wtid = "to-wtid";
inline constexpr std::string_view to_node = "to-node";

// of a run dependency and of a kill trigger
inline constexpr std::string_view status = "status";

// of a task's requirements
inline constexpr std::string_view plugins = "plugins";

} // namespace kxworkflow::keys
