#include "submission/workflow_variable_values.h"

#include "config/variables.h"
#include "submission/reporting.h"
#include "submission/task_chain.h"
#include "submission/wiring.h"

#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxbase/uuid.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <span>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::property_string;

/// A variable whose family is known.
struct named_variable {
    workflow_variable const& whole;
    std::string_view rest; ///< its name without the prefix of the family
};

using resolver = variable_value(named_variable const&, variable_place const&);
resolver source_name;
resolver lower_uuid;
resolver upper_uuid;
resolver workflow_name;
resolver workflow_context;
resolver encoder_name;
resolver encoder_output;
resolver renamed_encoder_output;
resolver mbr_name;
resolver mbr_setting;
resolver transfer_output;
resolver deployment_name;
resolver unix_time;
resolver context_of_that_name;
resolver unsupported;
resolver unknown;

enum class e_match {
    rest_is,
    rest_begins,
    name_ends, ///< the whole name, so that "source.name" ends with ".name"
};

struct variable_rule {
    e_match match;
    std::string_view text;
    resolver* resolve;
};

struct variable_family {
    std::string_view prefix;
    std::span<variable_rule const> rules; ///< the first that fits
    resolver* otherwise;
};

constexpr std::array<variable_rule, 1> source_rules{{
    {e_match::name_ends, ".name", source_name},
}};

constexpr std::array<variable_rule, 1> uuid_rules{{
    {e_match::rest_is, ".lowercase", lower_uuid},
}};

constexpr std::array<variable_rule, 1> workflow_rules{{
    {e_match::rest_is, "name", workflow_name},
}};

constexpr std::array<variable_rule, 7> encoder_rules{{
    {e_match::rest_is, "name", encoder_name},
    {e_match::rest_is, "status", unsupported},
    {e_match::rest_is, "media-info-xml-url", encoder_output},
    {e_match::rest_is, "output-media-info", encoder_output},
    {e_match::rest_is, "input-media-info", encoder_output},
    {e_match::rest_begins, "input-", encoder_output},
    {e_match::rest_begins, "output-", renamed_encoder_output},
}};

constexpr std::array<variable_rule, 1> mbr_rules{{
    {e_match::rest_is, "name", mbr_name},
}};

// "outfile-name" also ends with "name": the order matters.
constexpr std::array<variable_rule, 7> deployment_rules{{
    {e_match::name_ends, "dest-url", transfer_output},
    {e_match::name_ends, "outfile-path", transfer_output},
    {e_match::name_ends, "outfile-name", transfer_output},
    {e_match::name_ends, "outfile-extension", transfer_output},
    {e_match::name_ends, "outfile-file", transfer_output},
    {e_match::name_ends, "name", deployment_name},
    {e_match::name_ends, "status", unsupported},
}};

constexpr std::array<variable_rule, 16> dynamic_rules{{
    {e_match::rest_is, "time", unix_time},
    {e_match::rest_is, "hr-time", context_of_that_name},
    {e_match::rest_is, "year.YY", context_of_that_name},
    {e_match::rest_is, "year.YYYY", context_of_that_name},
    {e_match::rest_is, "month.MM", context_of_that_name},
    {e_match::rest_is, "month.name", context_of_that_name},
    {e_match::rest_is, "month.short-name", context_of_that_name},
    {e_match::rest_is, "day.DD", context_of_that_name},
    {e_match::rest_is, "day.name", context_of_that_name},
    {e_match::rest_is, "day.short-name", context_of_that_name},
    {e_match::rest_is, "hours.HH", context_of_that_name},
    {e_match::rest_is, "minutes.MM", context_of_that_name},
    {e_match::rest_is, "seconds.SS", context_of_that_name},
    {e_match::rest_is, "hostname", context_of_that_name},
    {e_match::rest_is, "node-id", context_of_that_name},
    {e_match::rest_is, "platform", context_of_that_name},
}};

// The first family whose prefix begins the name.
constexpr std::array<variable_family, 7> families{{
    {"source.", source_rules, unknown},
    {"uuid", uuid_rules, upper_uuid},
    {"workflow.", workflow_rules, workflow_context},
    {"encoder.", encoder_rules, unknown},
    {"mbr.", mbr_rules, mbr_setting},
    {"deployment.", deployment_rules, unknown},
    {"dynamic.", dynamic_rules, unknown},
}};

bool fits(variable_rule const& rule, named_variable const& variable);

} // namespace

/// Aliases are judged by what their URI names: most of "source." is the spawn value of the workflow. A text with anything
/// else in it is no variable.
std::optional<workflow_variable> read_workflow_variable(std::string_view text) {
    std::string_view uri = text;
    if (!text.starts_with("kxvar:")) {
        std::string const* const known = find_variable(text);
        if (!known) return std::nullopt;
        uri = *known;
    }
    return workflow_variable{std::string(text), kxbase::url_fragment(uri, true), kxbase::url_query(uri, true)};
}

variable_value resolve_workflow_variable(workflow_variable const& variable, variable_place const& place) {
    std::string_view const name = variable.name;
    auto const family = std::ranges::find_if(
        families, [&](variable_family const& candidate) { return name.starts_with(candidate.prefix); });
    if (family == families.end()) return unknown({variable, name}, place);
    named_variable const named{variable, name.substr(family->prefix.size())};
    auto const rule = std::ranges::find_if(family->rules, [&](variable_rule const& one) { return fits(one, named); });
    return (rule != family->rules.end() ? rule->resolve : family->otherwise)(named, place);
}

namespace {

std::string chained_task(variable_place const& place, std::string_view plid);
variable_value output_of_encoder(std::string_view output, named_variable const& variable, variable_place const& place);
variable_value setting_value(kxcore::properties const& configuration, std::string_view key);
variable_value name_of_task(variable_place const& place, std::string const& wtid);
variable_value text_value(std::string_view text);
variable_value context_value(std::string_view name);
variable_value unresolved(char const* format, named_variable const& variable,
                          kxbase::source_position where = kxbase::source_position::current());

bool fits(variable_rule const& rule, named_variable const& variable) {
    switch (rule.match) {
    case e_match::rest_is: return variable.rest == rule.text;
    case e_match::rest_begins: return variable.rest.starts_with(rule.text);
    case e_match::name_ends: return variable.whole.name.ends_with(rule.text);
    }
    return false;
}

variable_value source_name(named_variable const&, variable_place const&) {
    return context_value("workflow.source-name");
}

// Each leaf gets an identifier of its own.
variable_value lower_uuid(named_variable const&, variable_place const&) {
    return text_value(kxbase::string_uuid(true));
}

variable_value upper_uuid(named_variable const&, variable_place const&) {
    return text_value(kxbase::string_uuid(false));
}

variable_value workflow_name(named_variable const&, variable_place const& place) {
    return text_value(place.builder.get_workflow_name());
}

variable_value workflow_context(named_variable const& variable, variable_place const&) {
    auto const& [text, name, query] = variable.whole;
    return context_value(query.empty() ? name : name + "?" + query);
}

variable_value encoder_name(named_variable const& variable, variable_place const& place) {
    std::string const encoder = chained_task(place, encoder_plid);
    if (encoder.empty()) return unresolved("Unable to resolve '%s' since no task found", variable);
    return name_of_task(place, encoder);
}

variable_value encoder_output(named_variable const& variable, variable_place const& place) {
    return output_of_encoder(variable.rest, variable, place);
}

/// Of what an encoder wrote the output is called after the thing alone, "output-bitrate-kbps" is its output
/// "bitrate-kbps". That "output-media-info" is not is meant: encoders publish it under its full name.
variable_value renamed_encoder_output(named_variable const& variable, variable_place const& place) {
    return output_of_encoder(variable.rest.substr(std::string_view("output-").size()), variable, place);
}

variable_value mbr_name(named_variable const& variable, variable_place const& place) {
    std::string const packager = chained_task(place, mbr_plid);
    if (packager.empty()) return unresolved("Unable to resolve '%s' since no task found", variable);
    return name_of_task(place, packager);
}

/// The setting as it is at that moment: tasks are resolved in the order of their wtids, so a variable in it is resolved
/// already for tasks that come after the packager, and is still itself for those before. That is meant: resolving ahead
/// would give an identifier ("uuid") in it another value here than there.
variable_value mbr_setting(named_variable const& variable, variable_place const& place) {
    std::string const packager = chained_task(place, mbr_plid);
    if (packager.empty()) return unresolved("Unable to resolve '%s' since no task found", variable);
    if (packager == place.wtid) return setting_value(place.configuration, variable.rest);
    return setting_value(*place.builder.get_task_configuration(packager), variable.rest);
}

variable_value transfer_output(named_variable const& variable, variable_place const& place) {
    std::string upload = chained_task(place, upload_plid);
    if (upload.empty()) return unresolved("Unable to resolve '%s' since no transfer task found", variable);
    return {{}, std::move(upload), std::string(variable.rest), {}};
}

variable_value deployment_name(named_variable const& variable, variable_place const& place) {
    std::string deployment = chained_task(place, upload_plid);
    if (deployment.empty()) deployment = chained_task(place, youtube_plid);
    // The misspelt word is meant: log filters know the message as it is.
    if (deployment.empty()) return unresolved("Unable to resolve '%s' since no deployemnt task found", variable);
    return name_of_task(place, deployment);
}

variable_value unix_time(named_variable const&, variable_place const&) {
    return context_value("unix-timestring");
}

variable_value context_of_that_name(named_variable const& variable, variable_place const&) {
    return context_value(variable.rest);
}

/// No task has a status while the job is made.
variable_value unsupported(named_variable const& variable, variable_place const&) {
    return unresolved("Unable to resolve '%s' (not supported)", variable);
}

variable_value unknown(named_variable const& variable, variable_place const&) {
    return unresolved("Unknown variable '%s'", variable);
}

/// A drawn connection between an output and an input may name a task that is not there.
std::string chained_task(variable_place const& place, std::string_view plid) {
    std::string wtid = place.chain.find(place.wtid, plid);
    if (!place.builder.has_task(wtid)) wtid.clear();
    return wtid;
}

/// The log got to know already when there is none.
variable_value output_of_encoder(std::string_view output, named_variable const& variable, variable_place const& place) {
    std::string encoder = find_chained_encoder(place.chain, place.wtid, variable.whole.text);
    if (encoder.empty()) return {{}, {}, {}, "no encoder was drawn before or after the task"};
    return {{}, std::move(encoder), std::string(output), {}};
}

variable_value setting_value(kxcore::properties const& configuration, std::string_view key) {
    auto value = configuration.get_property(key);
    return {value, {}, {}, value ? "" : "the package has no such setting"};
}

variable_value name_of_task(variable_place const& place, std::string const& wtid) {
    return text_value(place.builder.get_task(wtid)->get_name());
}

variable_value text_value(std::string_view text) {
    return {make_refcount<property_string>(text), {}, {}, {}};
}

variable_value context_value(std::string_view name) {
    return {kxcore::property_special::create_deferred_context(kxcore::property_kind::string, name), {}, {}, {}};
}

/// The messages speak of the variable by its name, also where the text in the configuration was another.
variable_value unresolved(char const* format, named_variable const& variable, kxbase::source_position where) {
    std::string message = kxbase::strutil::string_replaced(format, {{"%s", variable.whole.name}});
    report_warning(message, where);
    return {{}, {}, {}, std::move(message)};
}

} // namespace

} // namespace kxclientutil
