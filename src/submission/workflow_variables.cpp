#include "submission/workflow_variables.h"

#include "config/variables.h"
#include "raising.h"

#include <kxbase/report.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxbase/uuid.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/task_editor.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>

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

property_handle resolved_text(workflow_builder const& builder, property_handle const& leaf);
std::optional<variable> read_variable(std::string_view text);
property_handle value_of(workflow_builder const& builder, variable const& of);

} // namespace

// Leaves are replaced in a copy of the configuration and never set by their paths: no leaf is too deep or too odd.
void resolve_workflow_variables(workflow_builder& builder) {
    kxcore::value_replacer const resolve = [&](property_handle const& leaf) { return resolved_text(builder, leaf); };
    builder.for_each_task([&](kxworkflow::task_editor& task) {
        kxcore::properties configuration = *task.get_configuration();
        if (kxcore::replace_values(configuration, kxcore::property_kind::string, resolve) != 0)
            task.configure(make_refcount<kxcore::properties>(std::move(configuration)));
    });
}

namespace {

/// Gives the value of a variable; an empty handle when the leaf is to stay as it is.
using resolver = property_handle(workflow_builder const&, variable const&);
resolver source_value;
resolver uuid_value;
resolver workflow_value;
resolver encoder_value;
resolver deployment_value;
resolver dynamic_value;
resolver unsupported_value;
resolver unknown_value;
property_handle context(std::string_view name);
void warn(std::string const& message, kxbase::source_position where = kxbase::source_position::current());

struct variable_family {
    std::string_view prefix;
    resolver* value;
};

// The first family whose prefix begins the name. What encoder, mbr and deployment variables stand for comes from another
// task of the chain, which is not followed yet: the leaf keeps its variable.
constexpr std::array<variable_family, 7> families{{
    {"source.", source_value},
    {"uuid", uuid_value},
    {"workflow.", workflow_value},
    {"encoder.", encoder_value},
    {"mbr.", unsupported_value},
    {"deployment.", deployment_value},
    {"dynamic.", dynamic_value},
}};

/// What is known of the encoder, beside everything that begins with "input-" or "output-".
constexpr std::array<std::string_view, 3> encoder_names{"name", "status", "media-info-xml-url"};

/// How the names of what is known of a deployment end.
constexpr std::array<std::string_view, 7> deployment_endings{
    "dest-url", "outfile-path", "outfile-name", "outfile-extension", "outfile-file", "name", "status",
};

/// Context variables of the job that bear the name of their variable.
constexpr std::array<std::string_view, 15> dynamic_contexts{
    "hr-time",        "year.YY",  "year.YYYY",  "month.MM",   "month.name", "month.short-name", "day.DD",   "day.name",
    "day.short-name", "hours.HH", "minutes.MM", "seconds.SS", "hostname",   "node-id",          "platform",
};

property_handle resolved_text(workflow_builder const& builder, property_handle const& leaf) {
    auto const found = read_variable(static_cast<property_string const&>(*leaf).value());
    return found ? value_of(builder, *found) : property_handle();
}

/// A name in a text ("source.filename", with or without dollar signs) is as good as the URI that stands for it, and is
/// judged by what its URI names: most of "source." is the spawn value of the workflow. A text with anything else in it
/// is none.
std::optional<variable> read_variable(std::string_view text) {
    std::string_view uri = text;
    if (!text.starts_with("kxvar:")) {
        std::string const* const known = find_variable(text);
        if (!known) return std::nullopt;
        uri = *known;
    }
    return variable{kxbase::url_fragment(uri, true), kxbase::url_query(uri, true)};
}

property_handle value_of(workflow_builder const& builder, variable const& of) {
    auto const family = std::ranges::find_if(
        families, [&](variable_family const& candidate) { return of.name.starts_with(candidate.prefix); });
    return (family == families.end() ? unknown_value : family->value)(builder, of);
}

property_handle source_value(workflow_builder const& builder, variable const& of) {
    return of.name.ends_with(".name") ? context("workflow.source-name") : unknown_value(builder, of);
}

/// Each leaf gets an identifier of its own, in capitals unless it asks for the other.
property_handle uuid_value(workflow_builder const&, variable const& of) {
    return make_refcount<property_string>(kxbase::string_uuid(of.name == "uuid.lowercase"));
}

property_handle workflow_value(workflow_builder const& builder, variable const& of) {
    if (of.name == "workflow.name") return make_refcount<property_string>(builder.get_workflow_name());
    return context(of.query.empty() ? of.name : of.name + "?" + of.query);
}

property_handle encoder_value(workflow_builder const& builder, variable const& of) {
    std::string_view const rest = std::string_view(of.name).substr(std::string_view("encoder.").size());
    bool const known = rest.starts_with("input-") || rest.starts_with("output-") ||
                       std::ranges::find(encoder_names, rest) != encoder_names.end();
    return (known ? unsupported_value : unknown_value)(builder, of);
}

property_handle deployment_value(workflow_builder const& builder, variable const& of) {
    bool const known =
        std::ranges::any_of(deployment_endings, [&](std::string_view ending) { return of.name.ends_with(ending); });
    return (known ? unsupported_value : unknown_value)(builder, of);
}

property_handle dynamic_value(workflow_builder const& builder, variable const& of) {
    std::string_view const rest = std::string_view(of.name).substr(std::string_view("dynamic.").size());
    if (rest == "time") return context("unix-timestring");
    bool const known = std::ranges::find(dynamic_contexts, rest) != dynamic_contexts.end();
    return known ? context(rest) : unknown_value(builder, of);
}

property_handle unsupported_value(workflow_builder const&, variable const& of) {
    warn(kxbase::string_with_format("Unable to resolve '%s' (not supported)", of.name.c_str()));
    return {};
}

property_handle unknown_value(workflow_builder const&, variable const& of) {
    warn(kxbase::string_with_format("Unknown variable '%s'", of.name.c_str()));
    return {};
}

property_handle context(std::string_view name) {
    return property_special::create_deferred_context(kxcore::property_kind::string, name);
}

void warn(std::string const& message, kxbase::source_position where) {
    kxbase::report(submission_source_path, where.line(), "ClientProxy", 4, 4, message);
}

} // namespace

} // namespace kxclientutil
