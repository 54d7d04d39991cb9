#include "config/upgrade/steps.h"

#include <kxclientutil/config.h>

namespace kxclientutil {

namespace {

using kxcore::properties;

/// Empty tables: the first version that changes one of these types gives it a table of its own.
constexpr std::span<upgrade_step const> no_steps;

} // namespace

kxbase::ptr_refcount<properties> update_edl_source(properties const& document, unsigned int from_version,
                                                   unsigned int to_version, kxcore::plugin_db const& plugins,
                                                   kxcore::constraint_db const& constraints) {
    return run_steps(no_steps, document, from_version, to_version, plugins, constraints);
}

kxbase::ptr_refcount<properties> update_iseq_source(properties const& document, unsigned int from_version,
                                                    unsigned int to_version, kxcore::plugin_db const& plugins,
                                                    kxcore::constraint_db const& constraints) {
    return run_steps(no_steps, document, from_version, to_version, plugins, constraints);
}

} // namespace kxclientutil
