#include "config/document_types.h"

#include <kxcore/constraint_db.h>

#include <algorithm>
#include <array>

namespace kxclientutil {

namespace {

// The four media component types have no printable name, and the exporter's message names the constraint of the other
// three although its own is looked up. Clients compare these texts, so both stay as they are.
constexpr std::array<document_type, 11> types{{
    {config_filter, "filter", "media.component-description", "unknown",
     "Failed to find constraint for media.component-description", false, false, nullptr},
    {config_encoder, "encoder", "media.component-description", "unknown",
     "Failed to find constraint for media.component-description", false, false, nullptr},
    {config_packetizer, "packetizer", "media.component-description", "unknown",
     "Failed to find constraint for media.component-description", false, false, nullptr},
    {config_exporter, "exporter", "media.exporter-description", "unknown",
     "Failed to find constraint for media.component-description", false, false, nullptr},
    {config_task, "task", "node.user-task", "task", "Failed to find constraint for user-task", false, false,
     update_task},
    {config_workflow, "workflow", "node.workflow", "workflow", "Failed to find constraint for workflow", false, true,
     update_workflow},
    {config_submission, "submission", "node.submission", "submission", "Failed to find constraint for submission",
     false, true, update_submission},
    {config_file_source, "file-source", "node.user-file-source", "file-source",
     "Failed to find constraint for user-file-source", true, false, update_file_source},
    {config_monitor_source, "monitor-source", "node.monitor-source", "monitor-source",
     "Failed to find constraint for monitor-source", true, false, update_monitor_source},
    {config_edl_source, "edl-source", "node.edl-source", "edl-source", "Failed to find constraint for edl-source", true,
     false, update_edl_source},
    {config_iseq_source, "iseq-source", "node.iseq-source", "iseq-source", "Failed to find constraint for iseq-source",
     true, false, update_iseq_source},
}};

} // namespace

std::span<document_type const> document_types() {
    return types;
}

document_type const* find_document_type(e_config_type type) {
    auto const found = std::ranges::find(types, type, &document_type::type);
    return found == types.end() ? nullptr : &*found;
}

document_type const* find_document_type(std::string_view identifier) {
    auto const found =
        std::ranges::find_if(types, [&](document_type const& row) { return identifier == row.identifier; });
    return found == types.end() ? nullptr : &*found;
}

kxbase::ptr_refcount<kxcore::constraint_db const> find_database(kxcore::constraint_db const& constraints,
                                                                std::string_view name) {
    return kxbase::dynamic_refcount_cast<kxcore::constraint_db const>(constraints.get_constraint(name));
}

char const* type_c_str(e_config_type type) {
    document_type const* const row = find_document_type(type);
    return row ? row->printable_name : "unknown";
}

} // namespace kxclientutil
