#include "workflow_content.h"

#include "document_keys.h"
#include "members.h"

#include <kxcore/property_list.h>

#include <algorithm>
#include <utility>

namespace kxworkflow {

namespace {

void disconnect_from(task_record& task, task_record const& gone);
bool names_removed(kxcore::property const& connection, std::set<std::string, std::less<>> const& removed);

} // namespace

task_record& workflow_content::require(std::string_view wtid) {
    if (task_record* const found = find(wtid)) return *found;
    kxbase::es::arg::raise("workflow: there is no task '" + std::string(wtid) + "'");
}

task_record* workflow_content::find(std::string_view wtid) noexcept {
    auto const found = tasks.find(wtid);
    return found != tasks.end() ? &found->second : nullptr;
}

task_record& workflow_content::insert(task_record task) {
    // A connection that was declared for a removed task must not come back to life with another task of its name.
    if (removed.contains(task.wtid)) forget_removed();
    task.sequence = next_sequence++;
    task.vertex = order.add();
    task.wtid_text = kxbase::make_refcount<kxcore::property_string>(task.wtid);
    std::string wtid = task.wtid;
    task_record& placed = tasks.emplace(std::move(wtid), std::move(task)).first->second;
    by_sequence.emplace_hint(by_sequence.end(), placed.sequence, &placed);
    index.add(placed);
    return placed;
}

void workflow_content::remove(task_record& gone) {
    for (auto const& [key, source] : gone.sources) {
        task_record& from = require(key.from_wtid);
        auto const output = from.feeds.find(key.from_node);
        output->second.erase({gone.wtid, key.to_node});
        if (output->second.empty()) from.feeds.erase(output);
        from.view.reset();
    }
    std::ranges::sort(gone.named_by);
    gone.named_by.erase(std::unique(gone.named_by.begin(), gone.named_by.end()), gone.named_by.end());
    for (std::size_t const sequence : gone.named_by) {
        auto const naming = by_sequence.find(sequence);
        if (naming == by_sequence.end()) continue;
        task_record& task = *naming->second;
        disconnect_from(task, gone);
        task.run_dependencies.remove(&gone);
        task.kill_triggers.remove(&gone);
        task.rewired = true;
        task.touch();
    }
    order.remove(gone.vertex);
    index.remove(gone);
    by_sequence.erase(gone.sequence);
    removed.insert(gone.wtid);
    tasks.erase(tasks.find(gone.wtid));
}

void workflow_content::configure(task_record& task, kxbase::ptr_refcount<kxcore::properties const> configuration) {
    index.remove(task);
    task.document.set_property(keys::configuration, configuration);
    task.configuration = std::move(configuration);
    index.add(task);
    task.touch();
}

bool workflow_content::connect(task_record& from, std::string_view output, task_record& to, std::string_view input,
                               kxcore::property_handle entry) {
    connection_key key{from.wtid, std::string(output), std::string(input)};
    if (to.sources.contains(key)) return true;
    task_order::vertex const before[] = {from.vertex};
    if (!order.connect(before, to.vertex)) return false;
    if (!entry)
        entry = kxbase::make_refcount<kxcore::properties>(
            keys::from_wtid, from.wtid_text, keys::from_node, kxbase::make_refcount<kxcore::property_string>(output),
            keys::to_node, kxbase::make_refcount<kxcore::property_string>(input));
    to.sources.emplace(std::move(key), connection{to.next_source++, std::move(entry)});
    from.feeds[std::string(output)].emplace(to.wtid, input);
    from.named_by.push_back(to.sequence);
    to.rewired = true;
    to.touch();
    from.view.reset();
    return true;
}

bool workflow_content::make_wait(task_record& waiting, std::vector<task_record*> const& others) {
    std::vector<task_order::vertex> before;
    before.reserve(others.size());
    for (task_record const* const other : others)
        before.push_back(other->vertex);
    if (!order.connect(before, waiting.vertex)) return false;
    for (task_record* const other : others)
        other->named_by.push_back(waiting.sequence);
    waiting.rewired = true;
    waiting.touch();
    return true;
}

void workflow_content::forget_removed() {
    auto const gone = std::exchange(removed, {});
    auto const* const meta = kxcore::property_cast<kxcore::properties>(document.find(keys::workflow_meta));
    if (gone.empty() || meta == nullptr) return;
    auto const* const connections = kxcore::property_cast<kxcore::property_list>(meta->find(keys::connections));
    if (connections == nullptr) return;

    auto kept = kxbase::make_refcount<kxcore::property_list>();
    for (kxcore::property_handle const& each : *connections)
        if (!names_removed(*each, gone)) kept->push_back(each);
    if (kept->size() == connections->size()) return;
    auto changed = kxbase::make_refcount<kxcore::properties>(*meta);
    changed->set_property(keys::connections, std::move(kept));
    document.set_property(keys::workflow_meta, std::move(changed));
}

std::string place_of(task_record const& task) {
    return "workflow task '" + task.wtid + "'";
}

namespace {

void disconnect_from(task_record& task, task_record const& gone) {
    auto const first = task.sources.lower_bound(connection_key{gone.wtid, {}, {}});
    auto last = first;
    while (last != task.sources.end() && last->first.from_wtid == gone.wtid)
        ++last;
    task.sources.erase(first, last);
}

bool names_removed(kxcore::property const& connection, std::set<std::string, std::less<>> const& removed) {
    auto const* const tree = kxcore::property_cast<kxcore::properties>(&connection);
    if (tree == nullptr) return false;
    auto const is_removed = [&](std::string_view key) {
        auto const* const wtid = kxcore::property_cast<kxcore::property_string>(tree->find(key));
        return wtid != nullptr && removed.contains(wtid->value());
    };
    return is_removed(keys::from_wtid) || is_removed(keys::to_wtid);
}

} // namespace

} // namespace kxworkflow
