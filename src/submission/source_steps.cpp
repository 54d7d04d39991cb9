#include "submission/source_steps.h"

#include "raising.h"
#include "submission/base_scheme.h"
#include "submission/finalization_run.h"
#include "submission/settings.h"
#include "submission/wiring.h"

#include <kxclientutil/resolve.h>

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/paths.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;

[[noreturn]] void refuse(std::string const& place, char const* expected);
std::string place_in(char const* source_key, std::string_view path);
void feed_from_main_localizer(kxworkflow::workflow_builder& builder, std::vector<task_input> const& inputs,
                              finalization_notes const& notes);
void note_type(kxworkflow::workflow_builder const& builder, finalization_run const& run);

} // namespace

kxworkflow::workflow_builder open_workflow(finalization_run const& run) {
    run.notes.begin(e_finalization_step::workflow);
    kxworkflow::workflow_builder builder(*run.submission.get_properties_value("workflow"), run.plugins,
                                         run.constraints);
    run.notes.opened(builder);
    return builder;
}

source_list::source_list(properties const& source, char const* source_key, char const* key, bool is_required)
    : place_(place_in(source_key, key)) {
    if (!is_required && !source.is_present(key)) return;
    entries_ = kxcore::property_cast<property_list>(source.get_property(key));
    if (!entries_) refuse(place_, "a list");
    size_ = entries_->size();
}

source_list::~source_list() = default;

properties const& source_list::entry(std::size_t index) const {
    return static_cast<properties const&>(*(*entries_)[index]);
}

std::string_view source_list::text(std::size_t index, char const* key) const {
    auto const* const entry = kxcore::property_cast<properties>((*entries_)[index].get());
    auto const* const text = entry ? kxcore::property_cast<property_string>(entry->find(key)) : nullptr;
    if (!text) refuse(place(index, key), "a string");
    return text->value();
}

std::string source_list::place(std::size_t index, char const* key) const {
    return place_ + '[' + std::to_string(index) + "]{" + key + '}';
}

std::string_view source_text(properties const& source, char const* source_key, char const* path) {
    auto const* const text = kxcore::property_cast<property_string>(source.find_referenced(path));
    if (!text) refuse(place_in(source_key, path), "a string");
    return text->value();
}

/// Remote is exactly "ftp" and "http". Other schemes are neither remote nor resources, "https" among them; the tasks
/// read them as they are.
source_uri rewrite_source_url(std::string_view url, std::string const& nodes, finalize_sub_conf const& settings) {
    source_uri rewritten{create_resource_uri(url, nodes, settings.resource_uri_option), e_reach::as_it_is};
    std::string_view const scheme = base_scheme(rewritten.uri);
    if (scheme == "kxrc") rewritten.reach = e_reach::resource;
    if (scheme == "ftp" || scheme == "http") rewritten.reach = e_reach::remote;
    return rewritten;
}

void note_source_url(std::string_view url, source_uri const& rewritten, std::function<std::string()> const& path,
                     finalization_run const& run) {
    if (!run.notes.is_listening()) return;
    std::string why = "nodes read it where it is";
    if (rewritten.reach == e_reach::resource) why = "nodes fetch it from this client, or find it on shared storage";
    if (rewritten.reach == e_reach::remote) why = "it is on a server, from which a localizer fetches it";
    auto const before = make_refcount<property_string>(url);
    if (url == rewritten.uri) return run.notes.kept({}, path(), before, why);
    run.notes.set({}, path(), before, make_refcount<property_string>(rewritten.uri),
                  why + node_list_in_words(node_list(run.settings)));
}

std::string folder_of(std::string_view uri) {
    kxbase::url_parts parts = kxbase::split_url(uri);
    parts.path = parts.path.substr(0, parts.path.rfind('/') + 1);
    return kxbase::join_url(parts);
}

void describe_source(kxworkflow::workflow_builder& builder, properties const& source, char const* type,
                     finalization_run const& run) {
    run.notes.begin(e_finalization_step::source);
    set_meta_data(builder, "source-name", source.get_property("name"), "so that tasks can name their source", run);
    set_meta_data(builder, "source-type", make_refcount<property_string>(type), "the kind of source", run);
}

void set_meta_data(kxworkflow::workflow_builder& builder, char const* key, kxcore::property_handle const& value,
                   char const* why, finalization_run const& run) {
    if (run.notes.is_listening()) {
        auto const before = builder.get_workflow_meta_data()->get_property(key);
        if (before || value) run.notes.set({}, "workflow{workflow-meta}{" + std::string(key) + '}', before, value, why);
    }
    builder.add_workflow_meta_data(key, value);
}

kxbase::ptr_refcount<property_list> wire_source(kxworkflow::workflow_builder& builder, bool is_remote,
                                                std::initializer_list<char const*> localizer_inputs,
                                                finalization_run const& run) {
    run.notes.begin(e_finalization_step::source_wiring);
    std::vector<task_input> inputs = unfed_source_inputs(builder);
    if (is_remote) {
        feed_from_main_localizer(builder, inputs, run.notes);
        for (char const* const input : localizer_inputs) {
            inputs.push_back({main_localizer_wtid, input});
            run.notes.source_feeds(main_localizer_wtid, input);
        }
    } else {
        for (task_input const& input : inputs)
            run.notes.source_feeds(input.wtid, input.input);
    }
    auto targets = make_refcount<property_list>();
    targets->reserve(inputs.size());
    for (task_input const& input : inputs)
        targets->push_back(make_refcount<property_string>(kxworkflow::wpath_create(input.wtid, input.input)));
    return targets;
}

void store_workflow(kxworkflow::workflow_builder const& builder, finalization_run const& run) {
    note_type(builder, run);
    auto const workflow = make_refcount<properties>(false);
    builder.export_workflow(*workflow);
    run.submission.set_property("workflow", workflow);
}

namespace {

void refuse(std::string const& place, char const* expected) {
    raise_from<kxbase::es::arg>(submission_source_path, place + ": " + expected + " was expected");
}

/// "file-source{files}", "monitor-source{manager-configuration}{url}".
std::string place_in(char const* source_key, std::string_view path) {
    std::size_t const first_end = std::min(path.find_first_of("{["), path.size());
    std::string place = source_key;
    place.append("{").append(path.substr(0, first_end)).append("}").append(path.substr(first_end));
    return place;
}

void feed_from_main_localizer(kxworkflow::workflow_builder& builder, std::vector<task_input> const& inputs,
                              finalization_notes const& notes) {
    bool const is_new = add_main_localizer(builder);
    if (is_new) notes.added(builder, main_localizer_wtid, "fetches the source from its server");
    builder.update_task_requirements(false, true);
    if (is_new) notes.one_task(main_localizer_wtid, asks_for_node);
    // An input that can't be connected (the localizer's own, when the workflow had one before) is fed by the node
    // alone.
    for (auto const& [wtid, input] : inputs) {
        bool const is_connected = notes.connect(builder, main_localizer_wtid, file_output, wtid, input,
                                                "it asks for the source, which that task fetches first");
        notes.source_feeds(wtid, input, is_connected ? "by way of that task, which hands on what it has fetched" : "");
    }
}

void note_type(kxworkflow::workflow_builder const& builder, finalization_run const& run) {
    if (!run.notes.is_listening()) return;
    run.notes.begin(e_finalization_step::kind);
    auto const before = run.submission.get_referenced_property("workflow{type}");
    auto const type = make_refcount<kxcore::property_int>(builder.get_workflow_type());
    if (before && *before == *type) return;
    run.notes.set({}, "workflow{type}", before, type,
                  builder.get_workflow_type() == 0 ? "the type of all jobs but those of an edit decision list"
                                                   : "the type of the jobs of an edit decision list");
}

} // namespace

} // namespace kxclientutil
