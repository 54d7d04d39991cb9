#pragma once

/// @file
/// The plugins of an installation, found by their ids or by a pattern of ids. Filled once, when the installation is
/// loaded (or by a test), and only read afterwards: reading is safe from any number of threads.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

class plugin_info;

/// A database of plugins keyed by plugin id. A value: copies share the descriptions.
class KXCORE_EXPORT plugin_db {
public:
    /// An empty database: it describes no plugin and every pattern finds nothing.
    plugin_db();
    ~plugin_db();
    plugin_db(plugin_db const&);
    plugin_db(plugin_db&&) noexcept;
    plugin_db& operator=(plugin_db const&);
    plugin_db& operator=(plugin_db&&) noexcept;

    /// Adds a plugin under its own id.
    ///
    /// @throws es::arg when the handle is empty or the id is taken; nothing is changed then
    void add_plugin(kxbase::ptr_refcount<plugin_info const> plugin);

    /// The description of a plugin, found by its exact id; empty when the id is unknown.
    [[nodiscard]] kxbase::ptr_refcount<plugin_info const> describe_plugin(std::string_view id) const;

    /// The ids that a regular expression matches as a whole.
    ///
    /// @param pattern a regular expression in RE2 syntax, for example "io/monitor/ftp/.+"; it is
    ///        held to RE2's default memory budget, and matching takes linear time whatever it is
    /// @return the ids in byte order; empty when none matches
    /// @throws es::arg naming the pattern and what is wrong with it
    [[nodiscard]] std::vector<std::string> find_plugins(std::string_view pattern) const;

    /// All ids, in byte order.
    [[nodiscard]] std::vector<std::string> get_ids() const;

    /// The number of plugins.
    [[nodiscard]] std::size_t size() const noexcept;

private:
    std::map<std::string, kxbase::ptr_refcount<plugin_info const>, std::less<>> plugins_;
};

} // namespace kxcore
