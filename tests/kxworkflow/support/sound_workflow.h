// What holds for every workflow that a builder exports, seen from its document alone.
#pragma once

#include "kxclientutil/support/trees.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace kx_test {

/// The tasks that each task waits for: those that feed its inputs, and those that its run dependencies name. Expects that
/// ids are unique, and that what tasks name are other tasks of the workflow.
[[nodiscard]] inline std::map<std::string, std::set<std::string>> waits_in(properties const& workflow) {
    std::map<std::string, std::set<std::string>> waits;
    auto const tasks = workflow.get_list_value("tasks");
    for (property_handle const& each : *tasks)
        EXPECT_TRUE(waits.emplace(text_at(static_cast<properties const&>(*each), "id"), std::set<std::string>()).second)
            << "ids are unique";
    for (property_handle const& each : *tasks) {
        auto const& task = static_cast<properties const&>(*each);
        std::string const wtid = text_at(task, "id");
        if (task.is_present("input-connections"))
            for (property_handle const& entry : *task.get_list_value("input-connections"))
                waits[wtid].insert(text_at(static_cast<properties const&>(*entry), "from-wtid"));
        for (char const* const key : {"run-dependencies", "kill-triggers"}) {
            if (!task.is_present(key)) continue;
            for (property_handle const& entry : *task.get_list_value(key))
                for (std::string const& named : texts_at(static_cast<properties const&>(*entry), "tasks")) {
                    EXPECT_TRUE(waits.contains(named)) << wtid << " names " << named << " in " << key;
                    EXPECT_NE(named, wtid);
                    if (key == std::string("run-dependencies")) waits[wtid].insert(named);
                }
        }
        for (std::string const& named : waits[wtid])
            EXPECT_TRUE(waits.contains(named)) << wtid << " waits for " << named;
    }
    return waits;
}

/// Expects all of the above, and that there is no circle.
inline void expect_sound(properties const& workflow) {
    auto waits = waits_in(workflow);
    // Tasks that wait for nothing can go, one after the other, until none is left.
    while (!waits.empty()) {
        std::set<std::string> ready;
        for (auto const& [wtid, others] : waits)
            if (others.empty()) ready.insert(wtid);
        ASSERT_FALSE(ready.empty()) << "a cycle";
        for (auto const& wtid : ready)
            waits.erase(wtid);
        for (auto& [wtid, others] : waits)
            std::erase_if(others, [&](std::string const& other) { return ready.contains(other); });
    }
}

} // namespace kx_test
