#include "submission/file_source.h"

#include "raising.h"
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

/// The entries of a source, to be changed as long as nobody else holds them.
struct source_files {
    std::vector<ptr_refcount<properties>> entries;
    bool remote = false;
};

source_files rewrite_files(properties const& source, finalization_run& run);
std::string file_url(kxcore::property_handle const& entry, std::size_t index);
void describe_source(workflow_builder& builder, properties const& source, bool image_sequence);
void feed_from_main_localizer(workflow_builder& builder, std::vector<task_input>& inputs);
void set_targets(source_files const& files, std::vector<task_input> const& inputs);
ptr_refcount<property_list> file_list(source_files const& files);

} // namespace

void finalize_file_source(finalization_run& run, bool image_sequence) {
    auto const source = make_refcount<properties>(*run.submission.get_properties_value("file-source"));
    workflow_builder builder(*run.submission.get_properties_value("workflow"), run.plugins, run.constraints);

    source_files const files = rewrite_files(*source, run);
    describe_source(builder, *source, image_sequence);
    finalize_workflow(builder, run);
    std::vector<task_input> inputs = unfed_source_inputs(builder);
    if (files.remote) feed_from_main_localizer(builder, inputs);
    set_targets(files, inputs);
    source->set_property("files", file_list(files));

    auto const workflow = make_refcount<properties>(false);
    builder.export_workflow(*workflow);
    run.submission.set_property("workflow", workflow);
    run.submission.set_property("file-source", source);
}

namespace {

/// Remote is what the node has to fetch through a localizer: exactly "ftp" and "http". Other schemes are neither remote
/// nor resources, "https" among them; the tasks read them as they are.
source_files rewrite_files(properties const& source, finalization_run& run) {
    std::string const nodes = node_list(run.settings);
    auto const listed = source.get_list_value("files");
    source_files files;
    files.entries.reserve(listed->size());
    for (std::size_t index = 0; index < listed->size(); ++index) {
        kxcore::property_handle const& entry = (*listed)[index];
        std::string const uri = create_resource_uri(file_url(entry, index), nodes, run.settings.resource_uri_option);
        std::string const scheme = kxbase::split_scheme(kxbase::url_scheme(uri), '+').first;
        if (scheme == "kxrc")
            run.resources.insert(kxbase::url_path_set_file(uri, ""));
        else if (scheme == "ftp" || scheme == "http")
            files.remote = true;

        auto const file = make_refcount<properties>(static_cast<properties const&>(*entry));
        file->set_property("url", make_refcount<property_string>(uri));
        file->erase("target");
        files.entries.push_back(file);
    }
    return files;
}

std::string file_url(kxcore::property_handle const& entry, std::size_t index) {
    auto const* const file = kxcore::property_cast<properties>(entry.get());
    auto const* const url = file ? kxcore::property_cast<property_string>(file->find("url")) : nullptr;
    if (!url)
        raise_from<kxbase::es::arg>(submission_source_path,
                                    "file-source{files}[" + std::to_string(index) + "]{url}: a string was expected");
    return std::string(url->value());
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

/// All files share one list of targets.
void set_targets(source_files const& files, std::vector<task_input> const& inputs) {
    auto const targets = make_refcount<property_list>();
    targets->reserve(inputs.size());
    for (task_input const& input : inputs)
        targets->push_back(make_refcount<property_string>(kxworkflow::wpath_create(input.wtid, input.input)));
    for (ptr_refcount<properties> const& file : files.entries)
        file->set_property("targets", targets);
}

ptr_refcount<property_list> file_list(source_files const& files) {
    auto const list = make_refcount<property_list>();
    list->reserve(files.entries.size());
    for (ptr_refcount<properties> const& file : files.entries)
        list->push_back(file);
    return list;
}

} // namespace

} // namespace kxclientutil
