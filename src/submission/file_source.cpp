#include "submission/file_source.h"

#include "submission/finalization_run.h"
#include "submission/settings.h"
#include "submission/source_steps.h"
#include "submission/workflow_finalization.h"

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <vector>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;

/// What becomes of the URLs of a source's files, in their order.
struct source_urls {
    std::vector<ptr_refcount<property_string>> uris;
    bool is_remote = false;
};

source_urls rewrite_urls(source_list const& files, finalization_run& run);
ptr_refcount<property_list> rewritten_files(source_list const& files, source_urls const& urls,
                                            ptr_refcount<property_list> const& targets,
                                            finalization_notes const& notes);

} // namespace

void finalize_file_source(finalization_run& run, bool image_sequence) {
    auto const source = make_refcount<properties>(*run.submission.get_properties_value("file-source"));
    kxworkflow::workflow_builder builder = open_workflow(run);

    run.notes.begin(e_finalization_step::source);
    source_list const files(*source, "file-source", "files", true);
    source_urls const urls = rewrite_urls(files, run);
    describe_source(builder, *source, image_sequence ? "iseq" : "file", run);
    finalize_workflow(builder, run);
    // The security mode, for "http" too: no other kind of source feeds it, and nodes know files by it.
    auto const targets = wire_source(builder, urls.is_remote, {"ftp-ssl-mode", "source-url"}, run);
    source->set_property("files", rewritten_files(files, urls, targets, run.notes));

    store_workflow(builder, run);
    run.submission.set_property("file-source", source);
}

namespace {

source_urls rewrite_urls(source_list const& files, finalization_run& run) {
    std::string const nodes = node_list(run.settings);
    source_urls urls;
    urls.uris.reserve(files.size());
    for (std::size_t index = 0; index < files.size(); ++index) {
        std::string_view const url = files.text(index, "url");
        source_uri const rewritten = rewrite_source_url(url, nodes, run.settings);
        note_source_url(
            url, rewritten, [&] { return files.place(index, "url"); }, run);
        auto const& [uri, reach] = rewritten;
        if (reach == e_reach::resource) run.resources.insert(folder_of(uri));
        if (reach == e_reach::remote) urls.is_remote = true;
        urls.uris.push_back(make_refcount<property_string>(uri));
    }
    return urls;
}

/// All files share one list of targets.
ptr_refcount<property_list> rewritten_files(source_list const& files, source_urls const& urls,
                                            ptr_refcount<property_list> const& targets,
                                            finalization_notes const& notes) {
    auto rewritten = make_refcount<property_list>();
    rewritten->reserve(files.size());
    for (std::size_t index = 0; index < files.size(); ++index) {
        auto file = make_refcount<properties>(files.entry(index));
        file->set_property("url", urls.uris[index]);
        file->set_property("targets", targets);
        if (auto const target = file->get_property("target"); target && notes.is_listening())
            notes.set({}, files.place(index, "target"), target, {}, "the inputs that the source feeds take its place");
        file->erase("target");
        rewritten->push_back(std::move(file));
    }
    return rewritten;
}

} // namespace

} // namespace kxclientutil
