#include "wiring_list.h"

#include "document_keys.h"
#include "task_record.h"

#include <kxcore/constraint.h>

#include <algorithm>

namespace kxworkflow {

namespace {

kxbase::ptr_refcount<kxcore::property_list> wtid_list(std::vector<task_record*> const& tasks);

} // namespace

bool wiring_list::add(std::vector<task_record*> tasks, kxcore::property_handle document) {
    if (!known_.insert(document).second) return false;
    std::ranges::sort(tasks);
    tasks.erase(std::unique(tasks.begin(), tasks.end()), tasks.end());
    entries_.push_back({std::move(tasks), std::move(document)});
    return true;
}

bool wiring_list::add(std::vector<task_record*> tasks, kxbase::ptr_refcount<kxcore::constraint const> const& status) {
    auto document = kxbase::make_refcount<kxcore::properties>(
        keys::tasks, wtid_list(tasks), keys::status, kxbase::make_refcount<kxcore::property_constraint>(status));
    return add(std::move(tasks), std::move(document));
}

void wiring_list::remove(task_record const* task) {
    auto const names_task = [task](entry const& each) { return std::ranges::binary_search(each.tasks, task); };
    if (std::ranges::none_of(entries_, names_task)) return;
    std::vector<entry> const before = std::move(entries_);
    entries_.clear();
    known_.clear();
    for (entry each : before) {
        auto const found = std::ranges::lower_bound(each.tasks, task);
        if (found != each.tasks.end() && *found == task) {
            each.tasks.erase(found);
            if (each.tasks.empty() && !keeps_empty_) continue;
            auto document =
                kxbase::make_refcount<kxcore::properties>(static_cast<kxcore::properties const&>(*each.document));
            document->set_property(keys::tasks, wtid_list(each.tasks));
            each.document = std::move(document);
        }
        add(std::move(each.tasks), std::move(each.document));
    }
}

kxbase::ptr_refcount<kxcore::property_list> wiring_list::to_list() const {
    auto list = kxbase::make_refcount<kxcore::property_list>();
    list->reserve(entries_.size());
    for (entry const& each : entries_)
        list->push_back(each.document);
    return list;
}

namespace {

/// The wtids in byte order; the texts are shared by all lists that name a task.
kxbase::ptr_refcount<kxcore::property_list> wtid_list(std::vector<task_record*> const& tasks) {
    std::vector<task_record const*> sorted(tasks.begin(), tasks.end());
    std::ranges::sort(sorted, {}, [](task_record const* task) -> std::string const& { return task->wtid; });
    auto list = kxbase::make_refcount<kxcore::property_list>();
    list->reserve(sorted.size());
    for (task_record const* const task : sorted)
        list->push_back(task->wtid_text);
    return list;
}

} // namespace

} // namespace kxworkflow
