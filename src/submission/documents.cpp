#include "submission/compressed_original.h"

#include <kxclientutil/submission.h>

#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

namespace kxclientutil {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;

void submission_add_files(std::list<std::string> const& urls, std::string const& name, properties& submission) {
    auto const files = make_refcount<property_list>();
    files->reserve(urls.size());
    for (std::string const& url : urls)
        files->push_back(make_refcount<properties>("url", make_refcount<property_string>(url), "targets",
                                                   make_refcount<property_list>()));
    submission.set_property("file-source",
                            make_refcount<properties>("name", make_refcount<property_string>(name), "files", files));
}

void submission_add_workflow(properties const& workflow, properties& submission) {
    submission.set_property("workflow", make_refcount<properties>(workflow));
}

bool submission_is_finalized(properties const& submission) {
    return kept_original(submission) != nullptr;
}

kxbase::ptr_refcount<properties> submission_get_unfinalized_submission(properties const& submission) {
    if (auto const* const original = kept_original(submission)) return expand_original(*original);
    // Not a copy of the submission, on purpose: callers take the result for a finalized submission's original, and the
    // name is all that they show of one that has none.
    return make_refcount<properties>("name", submission.get_property("name"));
}

} // namespace kxclientutil
