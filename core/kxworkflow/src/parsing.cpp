#include "parsing.h"

#include "document_keys.h"

#include <kxcore/property_list.h>
#include <kxworkflow/identifiers.h>

#include <string>
#include <utility>
#include <vector>

namespace kxworkflow {

namespace {

/// The wiring of one task, found but not recorded yet: all that it names is there.
struct wiring {
    struct source {
        task_record* from;
        std::string output;
        std::string input;
        kxcore::property_handle entry;
    };
    struct wait {
        std::vector<task_record*> tasks;
        kxcore::property_handle entry;
    };
    std::vector<source> sources;
    std::vector<wait> run_dependencies;
    std::vector<wait> kill_triggers;
};

void check_workflow(kxcore::properties const& workflow);
task_record parse_task(properties_handle const& document, bool keep_id, place const& where,
                       workflow_content const& content);
std::string parse_plid(std::string_view id, place const& where, kxcore::properties const& document);
wiring find_wiring(task_record const& task, workflow_content& content);
kxcore::properties const& entry_tree(kxcore::property const& entry, std::string_view place);
std::vector<wiring::source> find_sources(task_record const& task, workflow_content& content);
std::vector<wiring::wait> find_waits(task_record const& task, std::string_view key, workflow_content& content);
task_record* find_other(std::string_view wtid, std::string_view place, task_record const& task,
                        workflow_content& content);
bool record_wiring(wiring const& found, task_record& task, workflow_content& content);
[[noreturn]] void raise_cycle(task_record const& task, std::string_view key);

constexpr std::string_view workflow_place = "workflow";

} // namespace

void parse_workflow(kxcore::properties const& workflow, workflow_content& content) {
    check_workflow(workflow);
    content.document = workflow;
    content.document.erase(keys::tasks);

    auto const* const list = find_member<kxcore::property_list>(workflow, keys::tasks, workflow_place);
    if (list == nullptr) return;
    std::vector<task_record*> in_order;
    in_order.reserve(list->size());
    for (std::size_t i = 0; i < list->size(); ++i) {
        auto const document = kxcore::property_cast<kxcore::properties>((*list)[i]);
        if (!document)
            raise_wrong_kind(workflow_place, "tasks[" + std::to_string(i) + "]", (*list)[i]->kind(),
                             kxcore::property_kind::properties);
        place const where(i, *document);
        task_record task = parse_task(document, true, where, content);
        if (content.find(task.wtid) != nullptr)
            kxbase::es::arg::raise(where.text() + ": its \"id\" is taken by an earlier task");
        in_order.push_back(&content.insert(std::move(task)));
    }
    // Tasks may name tasks that come after them, so wiring waits until all are there.
    std::vector<properties_handle> untouched;
    untouched.reserve(in_order.size());
    for (task_record const* const task : in_order)
        untouched.push_back(task->exported);
    std::vector<bool> kept;
    kept.reserve(in_order.size());
    for (task_record* const task : in_order)
        kept.push_back(record_wiring(find_wiring(*task, content), *task, content));
    for (std::size_t i = 0; i < in_order.size(); ++i) {
        if (!kept[i]) continue;
        in_order[i]->rewired = false;
        in_order[i]->exported = std::move(untouched[i]);
    }
}

task_record& parse_new_task(properties_handle const& document, workflow_content& content) {
    if (!document) kxbase::es::arg::raise("workflow: no document of the task to be added");
    task_record task = parse_task(document, false, "workflow, task to be added", content);
    wiring const found = find_wiring(task, content);
    task_record& added = content.insert(std::move(task));
    added.rewired = !record_wiring(found, added, content);
    return added;
}

namespace {

template <class T>
void check_kind(kxcore::properties const& tree, std::string_view key, place const& where) {
    static_cast<void>(find_member<T>(tree, key, where));
}

void check_workflow(kxcore::properties const& workflow) {
    check_kind<kxcore::property_string>(workflow, keys::name, workflow_place);
    for (std::string_view const key : {keys::workflow_meta, keys::capabilities, keys::configuration, keys::ext_meta})
        check_kind<kxcore::properties>(workflow, key, workflow_place);
    check_kind<kxcore::property_constraint>(workflow, keys::requirements, workflow_place);
    check_kind<kxcore::property_int>(workflow, keys::type, workflow_place);
}

task_record parse_task(properties_handle const& document, bool keep_id, place const& where,
                       workflow_content const& content) {
    auto const* const id = find_member<kxcore::property_string>(*document, keys::id, where);
    task_record task;
    task.plid = parse_plid(id != nullptr ? id->value() : std::string_view(), where, *document);
    task.info = content.plugins.describe_plugin(task.plid);
    if (!task.info) kxbase::es::arg::raise(where.text() + ": unknown plugin '" + task.plid + "'");
    keep_id = keep_id && id != nullptr;
    task.wtid = keep_id ? std::string(id->value()) : wtid_new(task.plid);
    if (task.wtid.find('>') != std::string::npos)
        kxbase::es::arg::raise(where.text() + ": its \"id\" holds '>', which separates a task from its input");

    if (auto const* const name = find_member<kxcore::property_string>(*document, keys::name, where))
        task.name = name->value();
    auto const* const configuration = find_member<kxcore::properties>(*document, keys::configuration, where);
    task.configuration =
        configuration != nullptr ? properties_handle(configuration) : kxbase::make_refcount<kxcore::properties>(false);
    for (std::string_view const key : {keys::ext_meta, keys::published_outputs})
        check_kind<kxcore::properties>(*document, key, where);
    check_kind<kxcore::property_constraint>(*document, keys::requirements, where);
    check_kind<kxcore::property_int>(*document, keys::flags, where);

    task.document = *document;
    if (keep_id && document->is_present(keys::plugin_id)) task.exported = document;
    if (!keep_id) task.document.set_property(keys::id, kxbase::make_refcount<kxcore::property_string>(task.wtid));
    if (!document->is_present(keys::plugin_id))
        task.document.set_property(keys::plugin_id, kxbase::make_refcount<kxcore::property_string>(task.plid));
    return task;
}

std::string parse_plid(std::string_view id, place const& where, kxcore::properties const& document) {
    auto const* const plugin_id = find_member<kxcore::property_string>(document, keys::plugin_id, where);
    if (plugin_id == nullptr) {
        if (id.empty()) kxbase::es::arg::raise(where.text() + R"(: neither "id" nor "plugin-id" says what it is)");
        return wtid_plid(id);
    }
    // Whoever looks for the encoders of a workflow goes by the ids, so the two must not tell different stories.
    if (document.is_present(keys::id) && wtid_plid(id) != plugin_id->value())
        kxbase::es::arg::raise(where.text() + ": its \"plugin-id\" is '" + std::string(plugin_id->value()) +
                               "', but its \"id\" names the plugin '" + wtid_plid(id) + "'");
    return std::string(plugin_id->value());
}

wiring find_wiring(task_record const& task, workflow_content& content) {
    return {find_sources(task, content), find_waits(task, keys::run_dependencies, content),
            find_waits(task, keys::kill_triggers, content)};
}

std::vector<wiring::source> find_sources(task_record const& task, workflow_content& content) {
    std::vector<wiring::source> sources;
    auto const* const list = find_member<kxcore::property_list>(task.document, keys::input_connections, task);
    if (list == nullptr) return sources;
    for (std::size_t i = 0; i < list->size(); ++i) {
        std::string const place = place_of(task) + ", input-connections[" + std::to_string(i) + "]";
        kxcore::properties const& entry = entry_tree(*(*list)[i], place);
        auto const& from = require_member<kxcore::property_string>(entry, keys::from_wtid, place);
        auto const& output = require_member<kxcore::property_string>(entry, keys::from_node, place);
        auto const& input = require_member<kxcore::property_string>(entry, keys::to_node, place);
        sources.push_back({find_other(from.value(), place, task, content), std::string(output.value()),
                           std::string(input.value()), (*list)[i]});
    }
    return sources;
}

std::vector<wiring::wait> find_waits(task_record const& task, std::string_view key, workflow_content& content) {
    std::vector<wiring::wait> waits;
    auto const* const list = find_member<kxcore::property_list>(task.document, key, task);
    if (list == nullptr) return waits;
    for (std::size_t i = 0; i < list->size(); ++i) {
        std::string const place = place_of(task) + ", " + std::string(key) + "[" + std::to_string(i) + "]";
        kxcore::properties const& entry = entry_tree(*(*list)[i], place);
        auto const& wtids = require_member<kxcore::property_list>(entry, keys::tasks, place);
        static_cast<void>(require_member<kxcore::property_constraint>(entry, keys::status, place));
        std::vector<task_record*> tasks;
        tasks.reserve(wtids.size());
        for (kxcore::property_handle const& each : wtids) {
            auto const* const wtid = kxcore::property_cast<kxcore::property_string>(each.get());
            if (wtid == nullptr) raise_wrong_kind(place, "tasks", each->kind(), kxcore::property_kind::string);
            tasks.push_back(find_other(wtid->value(), place, task, content));
        }
        waits.push_back({std::move(tasks), (*list)[i]});
    }
    return waits;
}

kxcore::properties const& entry_tree(kxcore::property const& entry, std::string_view place) {
    if (auto const* const tree = kxcore::property_cast<kxcore::properties>(&entry)) return *tree;
    kxbase::es::arg::raise(std::string(place) + ": is of kind " +
                           std::string(kxcore::property_kind_name(entry.kind())) + ", not properties");
}

task_record* find_other(std::string_view wtid, std::string_view place, task_record const& task,
                        workflow_content& content) {
    if (wtid == task.wtid) kxbase::es::arg::raise(std::string(place) + ": names the task itself");
    if (task_record* const found = content.find(wtid)) return found;
    kxbase::es::arg::raise(std::string(place) + ": there is no task '" + std::string(wtid) + "'");
}

/// @return whether every entry was recorded; one that is equal to an earlier one is not
bool record_wiring(wiring const& found, task_record& task, workflow_content& content) {
    bool all = true;
    for (wiring::source const& each : found.sources) {
        std::size_t const before = task.sources.size();
        if (!content.connect(*each.from, each.output, task, each.input, each.entry))
            raise_cycle(task, keys::input_connections);
        all = all && task.sources.size() != before;
    }
    for (wiring::wait const& each : found.run_dependencies) {
        if (!content.make_wait(task, each.tasks)) raise_cycle(task, keys::run_dependencies);
        all = task.run_dependencies.add(each.tasks, each.entry) && all;
    }
    for (wiring::wait const& each : found.kill_triggers) {
        for (task_record* const other : each.tasks)
            other->named_by.push_back(task.sequence);
        all = task.kill_triggers.add(each.tasks, each.entry) && all;
    }
    return all;
}

void raise_cycle(task_record const& task, std::string_view key) {
    kxbase::es::arg::raise(place_of(task) + ": its \"" + std::string(key) +
                           "\" make it wait for itself, through others");
}

} // namespace

} // namespace kxworkflow
