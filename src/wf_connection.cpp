#include "config/tags.h"

#include <kxclientutil/wf_connection.h>

#include <kxcore/constraint_db.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <string_view>
#include <utility>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;

constexpr std::string_view from_wtid_key = "from-wtid";
constexpr std::string_view from_node_key = "from-node";
constexpr std::string_view to_wtid_key = "to-wtid";
constexpr std::string_view to_node_key = "to-node";
constexpr std::string_view result_key = "result";

constexpr std::string_view connections_path = "workflow-meta{connections}";

void set_text(properties& out, std::string_view key, std::string const& text);
void set_unless_empty(properties& out, std::string_view key, std::string const& text);
ptr_refcount<properties const> in_handle(properties const& task);
ptr_refcount<kxcore::constraint_db> tags_database(std::list<std::string> const& required,
                                                  std::list<std::string> const& excluded);

} // namespace

wf_connection::wf_connection(std::string source_wtid, std::string source_node, std::string target_wtid,
                             std::string target_node)
    : from_wtid(std::move(source_wtid)), from_node(std::move(source_node)), to_wtid(std::move(target_wtid)),
      to_node(std::move(target_node)) {}

wf_connection::wf_connection(std::string source_wtid, std::string target_wtid, std::string outcome)
    : from_wtid(std::move(source_wtid)), to_wtid(std::move(target_wtid)), result(std::move(outcome)) {}

wf_connection::wf_connection(std::string source_wtid, std::string target_wtid)
    : from_wtid(std::move(source_wtid)), to_wtid(std::move(target_wtid)) {}

wf_connection::wf_connection(properties const& encoded)
    : from_wtid(encoded.get_string_value(from_wtid_key)), from_node(encoded.get_string_value(from_node_key, {})),
      to_wtid(encoded.get_string_value(to_wtid_key)), to_node(encoded.get_string_value(to_node_key, {})),
      result(encoded.get_string_value(result_key, {})) {}

void wf_connection::encode(properties& out) const {
    set_text(out, from_wtid_key, from_wtid);
    set_unless_empty(out, from_node_key, from_node);
    set_text(out, to_wtid_key, to_wtid);
    set_unless_empty(out, to_node_key, to_node);
    set_unless_empty(out, result_key, result);
}

bool wf_connection::is_exact_connection() const {
    return !from_node.empty() && !to_node.empty();
}

bool wf_connection::is_result_connection() const {
    return !result.empty();
}

void connect_task(wf_connection const& connection, properties& workflow) {
    auto const connections = make_refcount<property_list>();
    if (auto const* const present = kxcore::property_cast<property_list>(workflow.find_referenced(connections_path)))
        *connections = *present;
    auto const encoded = make_refcount<properties>(false);
    connection.encode(*encoded);
    connections->push_back(encoded);
    workflow.set_create_referenced_property(connections_path, connections);
}

std::string add_task(properties const& task, properties& workflow, kxcore::plugin_db const& plugins,
                     kxcore::constraint_db const& constraints) {
    return add_task(task, workflow, plugins, constraints, {}, {});
}

std::string add_task(properties const& task, properties& workflow, kxcore::plugin_db const& plugins,
                     kxcore::constraint_db const& constraints, std::list<std::string> const& required_tags,
                     std::list<std::string> const& excluded_tags) {
    kxworkflow::workflow_builder builder(workflow, plugins, constraints);
    std::string wtid = builder.add_task(in_handle(task));
    if (!required_tags.empty() || !excluded_tags.empty())
        builder.add_task_requirement(wtid, tags_requirement, tags_database(required_tags, excluded_tags));
    builder.export_workflow(workflow);
    return wtid;
}

namespace {

void set_text(properties& out, std::string_view key, std::string const& text) {
    out.set_property(key, make_refcount<property_string>(text));
}

void set_unless_empty(properties& out, std::string_view key, std::string const& text) {
    if (!text.empty()) set_text(out, key, text);
}

/// Who shares a task lives in a handle and is handed on as it is. Of any other nobody knows whether it stands on the
/// stack; its copy costs one reference.
ptr_refcount<properties const> in_handle(properties const& task) {
    if (task.is_shared()) return ptr_refcount<properties const>(&task);
    return make_refcount<properties>(task);
}

/// The excluded tags come last, so a tag in both lists is excluded.
ptr_refcount<kxcore::constraint_db> tags_database(std::list<std::string> const& required,
                                                  std::list<std::string> const& excluded) {
    auto database = make_refcount<kxcore::constraint_db>(false);
    auto const is_there = tag_constraint(true);
    for (std::string const& tag : required)
        database->add_constraint(tag, is_there, true);
    auto const is_not_there = tag_constraint(false);
    for (std::string const& tag : excluded)
        database->add_constraint(tag, is_not_there, false);
    return database;
}

} // namespace

} // namespace kxclientutil
