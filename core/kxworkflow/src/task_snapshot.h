#pragma once

/// @file
/// What a view of a task knows.

#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kxworkflow {

/// A task at one moment. Never changed once views share it.
struct task_snapshot {
    std::string wtid;
    std::string plid;
    std::string name;
    kxbase::ptr_refcount<kxcore::plugin_info const> info;
    kxbase::ptr_refcount<kxcore::properties const> configuration;
    kxcore::properties published;

    /// The ports that feed this task's inputs, in the order in which they were connected ...
    std::vector<std::string> sources;
    /// ... and by input, as indices of these.
    std::map<std::string, std::vector<std::size_t>, std::less<>> fed;
    /// The ports that each output feeds, in byte order.
    std::map<std::string, std::vector<std::string>, std::less<>> feeds;
};

} // namespace kxworkflow
