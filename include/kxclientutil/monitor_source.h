#pragma once

/// @file
/// Monitor sources: documents that tell a node to watch a folder, a share or a server and to start workflows for the
/// files that appear there. One is built for a URL, and the targets (the workflows or other destinations that the files
/// go to) are set on one that exists.

#include <kxclientutil/export.h>

#include <kxbase/ptr_refcount.h>

#include <list>
#include <string>

namespace kxcore {
class plugin_db;
class properties;
} // namespace kxcore

namespace kxclientutil {

/// A new monitor source for a location: "manager-configuration" with the defaults of the system, which take every file
/// but hidden ones, those in hidden folders and "Thumbs.db"; "plugin-configuration", a copy of the default of the plugin
/// that watches locations of the URL's scheme (its id is "io/monitor/SCHEME/..."; of several the first in byte order); and
/// "name", the folder that the last separator of the URL closes ("file:/watch/in/" is "in", "file:/watch/in" is "watch"),
/// or "Untitled". It has no targets yet.
///
/// @param url      a URL, or a path, which becomes a "file:" URL; placeholders stay, for the node to resolve. Who changes
///                 a stored source reads it with read_config_file_to_edit(), which leaves them as well.
/// @param plugins  the installation's plugins.
///
/// @throws es::arg "No suitable monitor plugin found for %s" with the URL, its password hidden, when no plugin watches its
///         scheme, which is logged as well; "No plugin info for %s" with the plugin's id when the database does not
///         describe it; what kxcore::plugin_db::find_plugins() says of a scheme that makes no pattern ("a++b")
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcore::properties>
get_monitor_source(std::string const& url, kxcore::plugin_db const& plugins);

/// Sets where the files of a monitor go. Afterwards "rules" holds one rule, since a monitor has no other use for them: the
/// last one that was there with all its other keys, or a new one, with "destinations" replaced by the targets.
///
/// A target of the scheme "workflow" ("workflow:ID>DESTINATION", kxworkflow::wpath_create()) is split at its first '>': it
/// sets "workflow-id" of the rule to its id, the last one wins, and is a destination by what follows, the empty text where
/// nothing does. Any other target is a destination as it stands. Nothing is checked, and without targets there are no
/// destinations.
///
/// @param mgr_conf     the "manager-configuration" of a monitor source; "rules" that are no list count as none.
/// @param targets      in the order of the destinations.
/// @param workflow_id  the "workflow-id" of the rule, whatever the targets say; when it is empty and no target has one the
///                     rule keeps the one it had.
KXCLIENTUTIL_EXPORT void set_targets_on_monitor_mgr_conf(kxcore::properties& mgr_conf,
                                                         std::list<std::string> const& targets,
                                                         std::string const& workflow_id);

/// The same on a whole monitor source. Its "manager-configuration" is replaced by a changed copy.
///
/// @throws es::arg naming "manager-configuration" when the source has none
KXCLIENTUTIL_EXPORT void set_targets_on_monitor_source(kxcore::properties& source,
                                                       std::list<std::string> const& targets,
                                                       std::string const& workflow_id);

/// One target.
KXCLIENTUTIL_EXPORT void set_target_on_monitor_mgr_conf(kxcore::properties& mgr_conf, std::string const& target,
                                                        std::string const& workflow_id);
KXCLIENTUTIL_EXPORT void set_target_on_monitor_source(kxcore::properties& source, std::string const& target,
                                                      std::string const& workflow_id);

/// One target in a workflow that does not exist yet: its id is a fresh wtid with a suffix.
///
/// @param mgr_conf     the "manager-configuration" of a monitor source.
/// @param wpath_part   the destination in the workflow, "source-url".
/// @param wtid_suffix  is put behind the wtid.
/// @param workflow_id  takes the place of the fresh id when it is not empty.
KXCLIENTUTIL_EXPORT void set_target_on_monitor_mgr_conf(kxcore::properties& mgr_conf, std::string const& wpath_part,
                                                        std::string const& wtid_suffix, std::string const& workflow_id);
/// The same on a whole monitor source.
KXCLIENTUTIL_EXPORT void set_target_on_monitor_source(kxcore::properties& source, std::string const& wpath_part,
                                                      std::string const& wtid_suffix, std::string const& workflow_id);

} // namespace kxclientutil
