#include "exporting.h"

#include "document_keys.h"
#include "task_snapshot.h"

#include <kxcore/property_list.h>
#include <kxworkflow/identifiers.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace kxworkflow {

namespace {

using source_entry = std::map<connection_key, connection>::value_type;

void write_wiring(task_record const& task, kxcore::properties& document);
void set_unless_empty(kxcore::properties& document, std::string_view key,
                      kxbase::ptr_refcount<kxcore::property_list> list);
std::vector<source_entry const*> sources_in_order(task_record const& task);

} // namespace

kxcore::properties make_workflow_document(workflow_content& content) {
    content.forget_removed();
    auto tasks = kxbase::make_refcount<kxcore::property_list>();
    tasks->reserve(content.by_sequence.size());
    for (auto const& [sequence, task] : content.by_sequence)
        tasks->push_back(make_task_document(*task));
    kxcore::properties document = content.document;
    document.set_property(keys::tasks, std::move(tasks));
    return document;
}

properties_handle const& make_task_document(task_record const& task) {
    if (!task.exported) {
        auto document = kxbase::make_refcount<kxcore::properties>(task.document);
        if (task.rewired) write_wiring(task, *document);
        task.exported = std::move(document);
    }
    return task.exported;
}

kxbase::ptr_refcount<task const> const& make_view(task_record const& of) {
    if (of.view) return of.view;
    auto snapshot = std::make_shared<task_snapshot>();
    snapshot->wtid = of.wtid;
    snapshot->plid = of.plid;
    snapshot->name = of.name;
    snapshot->info = of.info;
    snapshot->configuration = of.configuration;
    snapshot->published = copy_subtree(of.document, keys::published_outputs, of);
    for (source_entry const* const source : sources_in_order(of)) {
        connection_key const& key = source->first;
        snapshot->fed[key.to_node].push_back(snapshot->sources.size());
        snapshot->sources.push_back(port_new_id(key.from_wtid, key.from_node));
    }
    for (auto const& [output, inputs] : of.feeds) {
        std::vector<std::string>& ports = snapshot->feeds[output];
        for (auto const& [wtid, input] : inputs)
            ports.push_back(port_new_id(wtid, input));
        std::ranges::sort(ports);
    }
    of.view = kxbase::make_refcount<task>(std::move(snapshot));
    return of.view;
}

namespace {

void write_wiring(task_record const& task, kxcore::properties& document) {
    auto sources = kxbase::make_refcount<kxcore::property_list>();
    for (source_entry const* const source : sources_in_order(task))
        sources->push_back(source->second.document);
    set_unless_empty(document, keys::input_connections, std::move(sources));
    set_unless_empty(document, keys::run_dependencies, task.run_dependencies.to_list());
    set_unless_empty(document, keys::kill_triggers, task.kill_triggers.to_list());
}

void set_unless_empty(kxcore::properties& document, std::string_view key,
                      kxbase::ptr_refcount<kxcore::property_list> list) {
    if (list->empty())
        document.erase(key);
    else
        document.set_property(key, std::move(list));
}

std::vector<source_entry const*> sources_in_order(task_record const& task) {
    std::vector<source_entry const*> sources;
    sources.reserve(task.sources.size());
    for (source_entry const& each : task.sources)
        sources.push_back(&each);
    std::ranges::sort(sources, {}, [](source_entry const* source) { return source->second.sequence; });
    return sources;
}

} // namespace

} // namespace kxworkflow
