// What one run of submission_finalize() hands from step to step.
#pragma once

#include "submission/finalization_notes.h"

#include <kxclientutil/submission.h>

#include <string>
#include <unordered_set>

namespace kxclientutil {

/// The resource URIs that a run collects, each once.
using resource_set = std::unordered_set<std::string>;

/// The arguments of a run and what it collects; lives as long as the call.
struct finalization_run {
    kxcore::properties& submission;
    finalize_sub_conf const& settings;
    kxcore::plugin_db const& plugins;
    kxcore::constraint_db const& constraints;
    resource_set resources;
    finalization_notes notes;
};

} // namespace kxclientutil
