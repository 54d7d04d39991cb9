#include "submission/workflow_variables.h"

#include "raising.h"

#include <kxclientutil/config.h>

#include <kxbase/report.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxbase/uuid.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::property_handle;
using kxcore::property_special;
using kxcore::property_string;
using kxworkflow::workflow_builder;

/// A variable, as the URI that stands for it tells it.
struct variable {
    std::string name;
    std::string query;
};

/// A leaf that holds a variable.
struct variable_leaf {
    std::string wtid;
    std::string path;
    variable value;
};

std::optional<variable> read_variable(std::string_view text);
std::vector<variable_leaf> variables_of(std::string const& wtid, kxcore::properties const& configuration);
void resolve(workflow_builder& builder, variable_leaf const& leaf);

} // namespace

void resolve_workflow_variables(workflow_builder& builder) {
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    for (auto const& [wtid, view] : tasks)
        for (variable_leaf const& leaf : variables_of(wtid, *view->get_configuration()))
            resolve(builder, leaf);
}

namespace {

using resolver = void(workflow_builder&, variable_leaf const&);
resolver resolve_source;
resolver resolve_uuid;
resolver resolve_workflow;
resolver resolve_dynamic;
resolver leave_to_chained_tasks;
resolver report_unknown;
void set_context(workflow_builder& builder, variable_leaf const& leaf, std::string_view context);
void set_text(workflow_builder& builder, variable_leaf const& leaf, std::string_view text);
void warn(std::string const& message, kxbase::source_position where = kxbase::source_position::current());

struct variable_family {
    std::string_view prefix;
    resolver* resolve;
};

// The first family whose prefix begins the name.
constexpr std::array<variable_family, 7> families{{
    {"source.", resolve_source},
    {"uuid", resolve_uuid},
    {"workflow.", resolve_workflow},
    {"encoder.", leave_to_chained_tasks},
    {"mbr.", leave_to_chained_tasks},
    {"deployment.", leave_to_chained_tasks},
    {"dynamic.", resolve_dynamic},
}};

/// Context variables of the job that carry the name of their variable.
constexpr std::array<std::string_view, 15> dynamic_contexts{
    "hr-time",        "year.YY",  "year.YYYY",  "month.MM",   "month.name", "month.short-name", "day.DD",   "day.name",
    "day.short-name", "hours.HH", "minutes.MM", "seconds.SS", "hostname",   "node-id",          "platform",
};

/// The leaves are read before the first is set, from the configuration as the task came in.
std::vector<variable_leaf> variables_of(std::string const& wtid, kxcore::properties const& configuration) {
    std::vector<variable_leaf> leaves;
    kxcore::visit_leaves(configuration, [&](std::string_view path, property_handle const& leaf) {
        auto const* const text = kxcore::property_cast<property_string>(leaf.get());
        if (!text) return;
        if (auto found = read_variable(text->value())) leaves.push_back({wtid, std::string(path), std::move(*found)});
    });
    return leaves;
}

/// A name in a text ("source.filename", with or without dollar signs) is as good as the URI that stands for it, and is
/// judged by what its URI names: most of "source." is the spawn value of the workflow. A text with anything else in it
/// is none.
std::optional<variable> read_variable(std::string_view text) {
    std::string uri(text);
    if (kxbase::uri_scheme(uri) != "kxvar") {
        if (!is_recognized_variable(uri)) return std::nullopt;
        uri = get_variable(uri);
    }
    return variable{kxbase::url_fragment(uri, true), kxbase::url_query(uri, true)};
}

void resolve(workflow_builder& builder, variable_leaf const& leaf) {
    auto const family = std::ranges::find_if(
        families, [&](variable_family const& candidate) { return leaf.value.name.starts_with(candidate.prefix); });
    (family == families.end() ? report_unknown : family->resolve)(builder, leaf);
}

void resolve_source(workflow_builder& builder, variable_leaf const& leaf) {
    if (!leaf.value.name.ends_with(".name")) return report_unknown(builder, leaf);
    set_context(builder, leaf, "workflow.source-name");
}

/// Each leaf gets an identifier of its own.
void resolve_uuid(workflow_builder& builder, variable_leaf const& leaf) {
    bool const lower_case = leaf.value.name == "uuid.lowercase";
    set_text(builder, leaf, kxbase::string_uuid(lower_case));
}

void resolve_workflow(workflow_builder& builder, variable_leaf const& leaf) {
    variable const& value = leaf.value;
    if (value.name == "workflow.name") return set_text(builder, leaf, builder.get_workflow_name());
    set_context(builder, leaf, value.query.empty() ? value.name : value.name + "?" + value.query);
}

void resolve_dynamic(workflow_builder& builder, variable_leaf const& leaf) {
    std::string_view const rest = std::string_view(leaf.value.name).substr(std::string_view("dynamic.").size());
    if (rest == "time") return set_context(builder, leaf, "unix-timestring");
    if (std::ranges::find(dynamic_contexts, rest) == dynamic_contexts.end()) return report_unknown(builder, leaf);
    set_context(builder, leaf, rest);
}

/// These are fed by another task of the chain, which is not followed yet: the leaf keeps its variable.
void leave_to_chained_tasks(workflow_builder&, variable_leaf const& leaf) {
    warn(kxbase::string_with_format("Unable to resolve '%s' (not supported)", leaf.value.name.c_str()));
}

void report_unknown(workflow_builder&, variable_leaf const& leaf) {
    warn(kxbase::string_with_format("Unknown variable '%s'", leaf.value.name.c_str()));
}

void set_context(workflow_builder& builder, variable_leaf const& leaf, std::string_view context) {
    builder.set_in_value(leaf.wtid, leaf.path,
                         property_special::create_deferred_context(kxcore::property_kind::string, context));
}

void set_text(workflow_builder& builder, variable_leaf const& leaf, std::string_view text) {
    builder.set_in_value(leaf.wtid, leaf.path, make_refcount<property_string>(text));
}

void warn(std::string const& message, kxbase::source_position where) {
    kxbase::report(submission_source_path, where.line(), "ClientProxy", 4, 4, message);
}

} // namespace

} // namespace kxclientutil
