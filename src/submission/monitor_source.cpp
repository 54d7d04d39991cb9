#include "submission/monitor_source.h"

#include "submission/finalization_run.h"
#include "submission/settings.h"
#include "submission/source_steps.h"
#include "submission/workflow_finalization.h"

#include <kxclientutil/resolve.h>

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;

constexpr char const* url_path_in_source = "manager-configuration{url}";

e_reach rewrite_watched_url(properties& source, finalization_run& run);
void take_post_actions(kxworkflow::workflow_builder& builder, properties const& source, finalization_run const& run);

} // namespace

void finalize_monitor_source(finalization_run& run) {
    auto const source = make_refcount<properties>(*run.submission.get_properties_value("monitor-source"));
    run.notes.begin(e_finalization_step::source);
    e_reach const reach = rewrite_watched_url(*source, run);
    kxworkflow::workflow_builder builder = open_workflow(run);
    describe_source(builder, *source, "monitor", run);
    take_post_actions(builder, *source, run);
    finalize_workflow(builder, run);
    // Without the security mode, which only files are fetched with: the monitor plugin has one of its own.
    auto const targets = wire_source(builder, reach == e_reach::remote, {"source-url"}, run);
    source->set_referenced_property("manager-configuration{targets}", targets);

    store_workflow(builder, run);
    run.submission.set_property("monitor-source", source);
}

namespace {

/// What is announced is the watched URL as it was, with its placeholders resolved, and not the URI that takes its place.
/// That is meant, and clients rely on it: don't mend it to resemble the other sources.
e_reach rewrite_watched_url(properties& source, finalization_run& run) {
    std::string const url(source_text(source, "monitor-source", url_path_in_source));
    source_uri const rewritten = rewrite_source_url(url, node_list(run.settings), run.settings);
    note_source_url(
        url, rewritten, [] { return std::string("monitor-source{manager-configuration}{url}"); }, run);
    auto const& [uri, reach] = rewritten;
    source.set_referenced_property(url_path_in_source, make_refcount<kxcore::property_string>(uri));
    if (reach == e_reach::resource) run.resources.insert(resolve_url_path(url));
    return reach;
}

/// The workflow's own actions of that key give way.
void take_post_actions(kxworkflow::workflow_builder& builder, properties const& source, finalization_run const& run) {
    if (!source.is_present("attached-workflow-actions")) return;
    auto const actions = source.get_properties_value("attached-workflow-actions");
    for (char const* const key : {"finalize-workflow-failure", "finalize-workflow-success"})
        if (actions->is_present(key))
            set_meta_data(builder, key, actions->get_property(key), "it is attached to the watched folder", run);
}

} // namespace

} // namespace kxclientutil
