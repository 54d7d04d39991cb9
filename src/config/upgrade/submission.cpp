#include "config/upgrade/steps.h"

#include <kxclientutil/config.h>

#include <array>

namespace kxclientutil {

namespace {

using kxcore::properties;

void drop_internal_meta(properties& result, upgrade_context const& context);
void upgrade_submission_parts(properties& result, upgrade_context const& context);

constexpr std::array<upgrade_step, 6> submission_steps{
    drop_internal_meta,       // 1 to 2
    upgrade_submission_parts, // 2 to 3
    upgrade_submission_parts, // 3 to 4
    upgrade_submission_parts, // 4 to 5
    upgrade_submission_parts, // 5 to 6
    upgrade_submission_parts, // 6 to 7
};

/// One part of a submission and its upgrade.
struct submission_part {
    std::string_view key;
    decltype(&update_workflow) update;
};

constexpr submission_part workflow_part{"workflow", update_workflow};

/// In the order in which they are looked for; only the first that is there is upgraded, since a submission has one
/// source.
constexpr std::array<submission_part, 2> source_parts{{
    {"file-source", update_file_source},
    {"monitor-source", update_monitor_source},
}};

void upgrade_part(properties& result, submission_part const& part, upgrade_context const& context);

} // namespace

kxbase::ptr_refcount<properties> update_submission(properties const& document, unsigned int from_version,
                                                   unsigned int to_version, kxcore::plugin_db const& plugins,
                                                   kxcore::constraint_db const& constraints) {
    return run_steps(submission_steps, document, from_version, to_version, plugins, constraints);
}

namespace {

void drop_internal_meta(properties& result, upgrade_context const& context) {
    result.erase("int-meta");
    upgrade_submission_parts(result, context);
}

/// One version at a time, from what the version before has left. This is meant: a monitor source in a submission so
/// keeps the workflow actions that its first step makes, whereas one that is upgraded alone in one call is built anew
/// from the document as it was stored, without them. Don't upgrade a part over several versions at once.
void upgrade_submission_parts(properties& result, upgrade_context const& context) {
    upgrade_part(result, workflow_part, context);
    for (submission_part const& source : source_parts)
        if (result.is_present(source.key)) {
            upgrade_part(result, source, context);
            return;
        }
}

void upgrade_part(properties& result, submission_part const& part, upgrade_context const& context) {
    result.set_property(part.key, part.update(*result.get_properties_value(part.key), context.version,
                                              context.version + 1, context.plugins, context.constraints));
}

} // namespace

} // namespace kxclientutil
