#include "submission/compressed_original.h"
#include "submission/edl_source.h"
#include "submission/file_source.h"
#include "submission/finalization_run.h"
#include "submission/iseq_source.h"
#include "submission/job_size.h"
#include "submission/monitor_source.h"
#include "submission/source_steps.h"
#include "submission/workflow_finalization.h"

#include <kxclientutil/submission.h>

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/encodable.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_string;

void finalize(finalization_run& run, kxcore::property_list& resources);
void override_name(finalization_run const& run);
void name_workflow(finalization_run const& run);
void finalize_source(finalization_run& run);
void finalize_without_source(finalization_run& run);
void store_original(finalization_run const& run, kxbase::ptr_refcount<kxcore::property_binary> const& original,
                    properties const& before);
void append_resources(finalization_run const& run, kxcore::property_list& resources);

struct source_kind {
    char const* key;
    void (*finalize)(finalization_run&);
};

void note_other_sources(source_kind const& first, finalization_run const& run);

// In the order in which a submission is asked for them; only the first that it has counts.
constexpr std::array<source_kind, 4> source_kinds{{
    {"file-source", [](finalization_run& run) { finalize_file_source(run, false); }},
    {"monitor-source", finalize_monitor_source},
    {"edl-source", finalize_edl_source},
    {"iseq-source", finalize_iseq_source},
}};

} // namespace

void submission_finalize(properties& submission, kxcore::property_list& resources, finalize_sub_conf const& settings,
                         kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints) {
    finalization_run run{submission, settings, plugins, constraints, {}, {}};
    finalize(run, resources);
}

void submission_finalize(properties& submission, kxcore::property_list& resources, finalize_sub_conf const& settings,
                         kxcore::plugin_db const& plugins, kxcore::constraint_db const& constraints,
                         finalization_account& account) {
    account = {};
    finalization_run run{submission, settings, plugins, constraints, {}, finalization_notes(&account)};
    finalize(run, resources);
}

namespace {

void finalize(finalization_run& run, kxcore::property_list& resources) {
    auto const original = compress_original(run.submission);
    override_name(run);
    name_workflow(run);
    properties const named = run.submission;
    finalize_source(run);
    store_original(run, original, named);
    append_resources(run, resources);
    run.notes.complete();
}

void override_name(finalization_run const& run) {
    run.notes.begin(e_finalization_step::names);
    if (run.settings.submission_name.empty()) return;
    auto const name = make_refcount<property_string>(run.settings.submission_name);
    run.notes.set({}, "name", run.submission.get_property("name"), name, "as you asked");
    run.submission.set_property("name", name);
}

/// An existing name stays, an empty one too.
void name_workflow(finalization_run const& run) {
    // Raises without a workflow, which would otherwise come into being here, with nothing but a name.
    auto const workflow = run.submission.get_properties_value("workflow");
    if (workflow->is_present("name")) return;
    auto const name = run.submission.get_property("name");
    if (name) run.notes.set({}, "workflow{name}", {}, name, "the workflow had no name of its own");
    run.submission.set_create_referenced_property("workflow{name}", name);
}

void finalize_source(finalization_run& run) {
    auto const kind = std::ranges::find_if(
        source_kinds, [&](source_kind const& candidate) { return run.submission.is_present(candidate.key); });
    if (kind == source_kinds.end()) return finalize_without_source(run);
    note_other_sources(*kind, run);
    kind->finalize(run);
}

void note_other_sources(source_kind const& first, finalization_run const& run) {
    if (!run.notes.is_listening()) return;
    run.notes.begin(e_finalization_step::source);
    for (source_kind const& other : source_kinds)
        if (&other != &first && run.submission.is_present(other.key))
            run.notes.kept({}, other.key, run.submission.get_property(other.key),
                           std::string("a job has one source, and ") + first.key +
                               " comes first; this one does nothing");
}

void finalize_without_source(finalization_run& run) {
    kxworkflow::workflow_builder builder = open_workflow(run);
    finalize_workflow(builder, run);
    store_workflow(builder, run);
}

/// Makes a job of what is finalized, unless no node could read it: encoders share clips, files share targets and variables
/// take settings over whole, so that little may have become a lot. Then nothing of it is left, lest somebody walk through it.
void store_original(finalization_run const& run, kxbase::ptr_refcount<kxcore::property_binary> const& original,
                    properties const& before) {
    run.notes.begin(e_finalization_step::original);
    properties job = run.submission;
    job.set_create_referenced_property(original_path, original);
    try {
        kxcore::require_encodable(job, kxbase::current_limits().document);
    } catch (kxbase::es::arg const& error) {
        run.submission = before;
        refuse_job(error.message());
    }
    run.submission = std::move(job);
    run.notes.set({}, original_path, before.get_referenced_property(original_path), original,
                  "the submission as it came");
}

/// In byte order.
void append_resources(finalization_run const& run, kxcore::property_list& resources) {
    run.notes.begin(e_finalization_step::resources);
    std::vector<std::string_view> sorted(run.resources.begin(), run.resources.end());
    std::ranges::sort(sorted);
    resources.reserve(resources.size() + sorted.size());
    for (std::string_view const resource : sorted) {
        resources.push_back(make_refcount<property_string>(resource));
        run.notes.resource(resource);
    }
}

} // namespace

} // namespace kxclientutil
