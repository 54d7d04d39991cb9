#pragma once

/// @file
/// The names of the workflow library, for headers that only pass its objects on.

namespace kxworkflow {

class plugin;
class plugin_node;
class task;
class task_proxy;
class workflow_builder;
class workflow_info;

} // namespace kxworkflow
