#include "config/resource_url.h"
#include "config/upgrade/steps.h"

#include <kxclientutil/config.h>

#include <kxcore/property_values.h>

#include <array>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_string;

void keep_files_alone(properties& result, upgrade_context const& context);

constexpr std::array<upgrade_step, 6> file_source_steps{
    keep_files_alone, // 1 to 2
    nothing_changed,  // 2 to 3
    nothing_changed,  // 3 to 4
    nothing_changed,  // 4 to 5
    nothing_changed,  // 5 to 6
    nothing_changed,  // 6 to 7
};

property_handle file_entry(properties const& old);
property_handle file_url(property_handle const& old);

} // namespace

kxbase::ptr_refcount<properties> update_file_source(properties const& document, unsigned int from_version,
                                                    unsigned int to_version, kxcore::plugin_db const& plugins,
                                                    kxcore::constraint_db const& constraints) {
    return run_steps(file_source_steps, document, from_version, to_version, plugins, constraints);
}

namespace {

/// Version 1 kept what it knew of its files beside them; all of it is found anew when it is needed.
void keep_files_alone(properties& result, upgrade_context const& context) {
    auto const files = make_refcount<kxcore::property_list>();
    for_each_tree(*context.document.get_list_value("files"), "files",
                  [&](properties const& file) { files->push_back(file_entry(file)); });

    result.clear();
    copy_member(context.document, "name", result);
    copy_member(context.document, "ext-meta", result);
    result.set_property("files", files);
}

property_handle file_entry(properties const& old) {
    auto entry = make_refcount<properties>(false);
    copy_member(old, "workflow-meta", *entry);
    entry->set_property("url", file_url(old.get_property("url")));
    return entry;
}

/// The same object unless it names a resource.
property_handle file_url(property_handle const& old) {
    auto const* const text = kxcore::property_cast<property_string>(old.get());
    if (!text) return old;
    std::string url(text->value());
    return make_file_url_of_resource(url) ? make_refcount<property_string>(url) : old;
}

} // namespace

} // namespace kxclientutil
