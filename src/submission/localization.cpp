#include "submission/localization.h"

#include "submission/reporting.h"

#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <list>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_special;
using kxcore::property_string;
using kxworkflow::workflow_builder;

std::string localizer_of(workflow_builder& builder, std::string const& url, std::string_view label,
                         finalization_notes const& notes);

} // namespace

kxbase::ptr_refcount<properties> localizer_configuration(std::string_view url) {
    kxcore::property_handle source = property_special::create_deferred(kxcore::property_kind::string);
    if (!url.empty()) source = make_refcount<property_string>(url);
    return make_refcount<properties>("source-url", source, "dest-dir-url",
                                     make_refcount<property_string>("kxrc:/#!create-dir"));
}

void localize_dependency_file(workflow_builder& builder, std::string_view wtid, std::string_view input,
                              std::string_view label, finalization_notes const& notes) {
    std::string const url = builder.get_task_configuration(wtid)->get_string_value(input);
    std::string const localizer = localizer_of(builder, url, label, notes);
    if (!notes.connect(builder, localizer, file_output, wtid, input, "the file is on a server"))
        report_and_raise("Unable to connect dependency-file-localizer to encoder task");
}

namespace {

std::string localizer_of(workflow_builder& builder, std::string const& url, std::string_view label,
                         finalization_notes const& notes) {
    // More than one is an error only here, where somebody needs that file: a person may well have drawn two.
    std::list<std::string> localizers;
    auto const wanted = make_refcount<property_string>(url);
    std::size_t const count =
        builder.find_task_with_configuration_value(localizer_plid, "source-url", *wanted, localizers);
    if (count > 1)
        report_and_raise(kxbase::string_with_format("Found more than 1 localizer (%u) localizing dependency file '%s'",
                                                    static_cast<unsigned int>(count),
                                                    kxbase::url_protected_output(url).c_str()));
    if (count == 1) return localizers.front();
    std::string localizer = builder.add_task(localizer_plid, localizer_configuration(url), 0, "", label);
    notes.added(builder, localizer, "fetches a file from its server:", wanted);
    return localizer;
}

} // namespace

} // namespace kxclientutil
