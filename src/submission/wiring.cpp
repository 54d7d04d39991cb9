#include "submission/wiring.h"

#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_special;
using kxcore::property_string;

kxbase::ptr_refcount<properties> localizer_configuration(std::string const& url);

} // namespace

std::vector<task_input> unfed_source_inputs(kxworkflow::workflow_builder const& builder) {
    std::vector<task_input> inputs;
    auto const workflow = builder.get_workflow_info();
    for (auto const& task : workflow->get_task_infos()) {
        kxworkflow::task::node_list nodes;
        task->get_published_in_nodes(nodes);
        for (auto const& node : nodes)
            if (node->get_id().find("source-url") != std::string::npos && node->is_open())
                inputs.push_back({task->get_id(), node->get_id()});
    }
    return inputs;
}

void add_main_localizer(kxworkflow::workflow_builder& builder) {
    std::string const wtid =
        builder.add_task(localizer_plid, localizer_configuration(""), 0, "localizer", "Main Source");
    if (wtid != main_localizer_wtid) builder.remove_task(wtid);
}

namespace {

/// Without a URL a connection has to feed the localizer.
kxbase::ptr_refcount<properties> localizer_configuration(std::string const& url) {
    kxcore::property_handle source = property_special::create_deferred(kxcore::property_kind::string);
    if (!url.empty()) source = make_refcount<property_string>(url);
    return make_refcount<properties>("source-url", source, "dest-dir-url",
                                     make_refcount<property_string>("kxrc:/#!create-dir"));
}

} // namespace

} // namespace kxclientutil
