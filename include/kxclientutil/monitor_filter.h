#pragma once

/// @file
/// Which files a monitor source picks up, and which of its rules keeps each other one out: what a node decides, for people
/// who want to try a source on a real folder before they start it. docs/monitors.md tells what each rule means.

#include <kxclientutil/export.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kxcore {
class properties;
} // namespace kxcore

namespace kxclientutil {

/// A file of a watched location, as the rules see it.
struct watched_file {
    std::string path;          ///< below the location, with '/' between its elements and none at its head
    std::uint64_t size = 0;    ///< in bytes
    std::int64_t modified = 0; ///< when its content was last changed, in seconds since 1970 began (UTC)
    bool is_link = false;      ///< whether it is a symbolic link to a file that lies elsewhere
};

/// The rule that keeps a file out.
struct filter_obstacle {
    std::string rule;   ///< the property path in the source: "manager-configuration{filter}{ignore-regexp}"
    std::string reason; ///< in words, on one line

    friend bool operator==(filter_obstacle const&, filter_obstacle const&) = default;
};

/// The rules of one monitor source: its "manager-configuration{filter}", and of its plugin's settings
/// "plugin-configuration{recursive}" and "plugin-configuration{follow-links}". A value; any number of threads may ask one.
class KXCLIENTUTIL_EXPORT monitor_filter {
public:
    /// @param source  the whole monitor source; one without a filter takes every file. Later changes of it don't count.
    /// @throws es::arg naming the property path of a rule that can't be followed: a value of another kind, a pattern that
    ///         is none, a size or a date that can't be read
    explicit monitor_filter(kxcore::properties const& source);

    /// The first rule that keeps a file out, in the order regular expressions, folder, name, extension, size, date; empty
    /// for a file that is picked up. The file is not looked at, only what is said of it.
    [[nodiscard]] std::optional<filter_obstacle> find_obstacle(watched_file const& file) const;

private:
    struct rules;
    std::shared_ptr<rules const> rules_;
};

} // namespace kxclientutil
