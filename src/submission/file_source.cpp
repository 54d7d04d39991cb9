#include "submission/file_source.h"

#include "raising.h"
#include "submission/base_scheme.h"
#include "submission/finalization_run.h"
#include "submission/settings.h"
#include "submission/wiring.h"
#include "submission/workflow_finalization.h"

#include <kxclientutil/resolve.h>

#include <kxbase/urls.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/paths.h>
#include <kxworkflow/workflow_builder.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;
using kxworkflow::workflow_builder;

/// What becomes of the URLs of a source's files, in their order.
struct source_urls {
    std::vector<ptr_refcount<property_string>> uris;
    bool remote = false;
};

source_urls rewrite_urls(property_list const& files, finalization_run& run);
std::string_view file_url(kxcore::property_handle const& entry, std::size_t index);
std::string folder_of(kxbase::url_parts uri);
void describe_source(workflow_builder& builder, properties const& source, bool image_sequence);
void feed_from_main_localizer(workflow_builder& builder, std::vector<task_input>& inputs);
ptr_refcount<property_list> target_list(std::vector<task_input> const& inputs);
ptr_refcount<property_list> rewritten_files(property_list const& files, source_urls const& urls,
                                            ptr_refcount<property_list> const& targets);

} // namespace

void finalize_file_source(finalization_run& run, bool image_sequence) {
    auto const source = make_refcount<properties>(*run.submission.get_properties_value("file-source"));
    workflow_builder builder(*run.submission.get_properties_value("workflow"), run.plugins, run.constraints);

    auto const files = source->get_list_value("files");
    source_urls const urls = rewrite_urls(*files, run);
    describe_source(builder, *source, image_sequence);
    finalize_workflow(builder, run);
    std::vector<task_input> inputs = unfed_source_inputs(builder);
    if (urls.remote) feed_from_main_localizer(builder, inputs);
    source->set_property("files", rewritten_files(*files, urls, target_list(inputs)));

    auto const workflow = make_refcount<properties>(false);
    builder.export_workflow(*workflow);
    run.submission.set_property("workflow", workflow);
    run.submission.set_property("file-source", source);
}

namespace {

/// Remote is what the node has to fetch through a localizer: exactly "ftp" and "http". Other schemes are neither remote
/// nor resources, "https" among them; the tasks read them as they are.
source_urls rewrite_urls(property_list const& files, finalization_run& run) {
    std::string const nodes = node_list(run.settings);
    source_urls urls;
    urls.uris.reserve(files.size());
    for (std::size_t index = 0; index < files.size(); ++index) {
        std::string const uri =
            create_resource_uri(file_url(files[index], index), nodes, run.settings.resource_uri_option);
        kxbase::url_parts const parts = kxbase::split_url(uri);
        std::string_view const scheme = base_scheme(parts);
        if (scheme == "kxrc")
            run.resources.insert(folder_of(parts));
        else if (scheme == "ftp" || scheme == "http")
            urls.remote = true;
        urls.uris.push_back(make_refcount<property_string>(uri));
    }
    return urls;
}

std::string_view file_url(kxcore::property_handle const& entry, std::size_t index) {
    auto const* const file = kxcore::property_cast<properties>(entry.get());
    auto const* const url = file ? kxcore::property_cast<property_string>(file->find("url")) : nullptr;
    if (!url)
        raise_from<kxbase::es::arg>(submission_source_path,
                                    "file-source{files}[" + std::to_string(index) + "]{url}: a string was expected");
    return url->value();
}

/// The URI without the file's name; query and fragment stay.
std::string folder_of(kxbase::url_parts uri) {
    uri.path = uri.path.substr(0, uri.path.rfind('/') + 1);
    return kxbase::join_url(uri);
}

void describe_source(workflow_builder& builder, properties const& source, bool image_sequence) {
    builder.add_workflow_meta_data("source-name", source.get_property("name"));
    builder.add_workflow_meta_data("source-type", make_refcount<property_string>(image_sequence ? "iseq" : "file"));
}

/// The localizer's own inputs join the others, so that the node feeds it with the URL and the security mode.
void feed_from_main_localizer(workflow_builder& builder, std::vector<task_input>& inputs) {
    add_main_localizer(builder);
    builder.update_task_requirements(false, true);
    // An input that can't be connected (the localizer's own, when the workflow had one before) is fed by the node
    // alone.
    for (task_input const& input : inputs)
        static_cast<void>(builder.connect(main_localizer_wtid, "dest-url", input.wtid, input.input));
    inputs.push_back({main_localizer_wtid, "ftp-ssl-mode"});
    inputs.push_back({main_localizer_wtid, "source-url"});
}

ptr_refcount<property_list> target_list(std::vector<task_input> const& inputs) {
    auto const targets = make_refcount<property_list>();
    targets->reserve(inputs.size());
    for (task_input const& input : inputs)
        targets->push_back(make_refcount<property_string>(kxworkflow::wpath_create(input.wtid, input.input)));
    return targets;
}

/// All files share one list of targets.
ptr_refcount<property_list> rewritten_files(property_list const& files, source_urls const& urls,
                                            ptr_refcount<property_list> const& targets) {
    auto const rewritten = make_refcount<property_list>();
    rewritten->reserve(files.size());
    for (std::size_t index = 0; index < files.size(); ++index) {
        auto file = make_refcount<properties>(static_cast<properties const&>(*files[index]));
        file->set_property("url", urls.uris[index]);
        file->set_property("targets", targets);
        file->erase("target");
        rewritten->push_back(std::move(file));
    }
    return rewritten;
}

} // namespace

} // namespace kxclientutil
