#include "value_index.h"

namespace kxworkflow {

std::size_t value_index::find(task_map const& tasks, std::string_view plid, std::string_view key,
                              kxcore::property const& value, std::list<std::string>& wtids) {
    by_key& keys = plugins_[std::string(plid)];
    auto indexed = keys.find(key);
    if (indexed == keys.end()) {
        indexed = keys.emplace(std::string(key), by_value()).first;
        for (auto const& [wtid, task] : tasks)
            if (task.plid == plid) add(indexed->second, key, task);
    }
    // The handle is for the comparison only, it is gone when find returns.
    auto const found = indexed->second.find(kxcore::property_handle(&value));
    if (found == indexed->second.end()) return 0;
    wtids.insert(wtids.end(), found->second.begin(), found->second.end());
    return found->second.size();
}

void value_index::add(task_record const& task) {
    auto const plugin = plugins_.find(task.plid);
    if (plugin == plugins_.end()) return;
    for (auto& [key, values] : plugin->second)
        add(values, key, task);
}

void value_index::remove(task_record const& task) {
    auto const plugin = plugins_.find(task.plid);
    if (plugin == plugins_.end()) return;
    for (auto& [key, values] : plugin->second) {
        kxcore::property_handle const value = task.configuration->get_referenced_property(key);
        if (!value) continue;
        auto const found = values.find(value);
        found->second.erase(task.wtid);
        if (found->second.empty()) values.erase(found);
    }
}

void value_index::add(by_value& values, std::string_view key, task_record const& task) {
    if (kxcore::property_handle value = task.configuration->get_referenced_property(key))
        values[std::move(value)].insert(task.wtid);
}

} // namespace kxworkflow
