#pragma once

/// @file
/// Finds tasks by a value of their configurations. Which keys are asked for is not known beforehand, so an index is
/// made at the first question for a plugin and a key and kept up to date from then on.

#include "task_record.h"

#include <kxcore/properties.h>

#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace kxworkflow {

class value_index {
public:
    using task_map = std::map<std::string, task_record, std::less<>>;

    /// Appends the wtids, in byte order, of the tasks of a plugin whose configuration has the value at the key.
    ///
    /// @return how many were found
    std::size_t find(task_map const& tasks, std::string_view plid, std::string_view key, kxcore::property const& value,
                     std::list<std::string>& wtids);

    /// Notes that a task has this configuration.
    void add(task_record const& task);

    /// Notes that a task is about to lose its configuration.
    void remove(task_record const& task);

private:
    using by_value = std::map<kxcore::property_handle, std::set<std::string>, value_less>;
    using by_key = std::map<std::string, by_value, std::less<>>;

    static void add(by_value& values, std::string_view key, task_record const& task);

    std::map<std::string, by_key, std::less<>> plugins_;
};

} // namespace kxworkflow
