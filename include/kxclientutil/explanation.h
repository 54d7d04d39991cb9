#pragma once

/// @file
/// What finalization did to a submission, and why: an account that submission_finalize() fills while it works, for
/// programs that look into it, and the same in plain words, for people.

#include <kxclientutil/export.h>

#include <kxbase/ptr_refcount.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {
class constraint_db;
class plugin_db;
class properties;
class property;
class property_list;
} // namespace kxcore

namespace kxclientutil {

class finalize_sub_conf;

/// The steps of finalization, in the order of the work. Not every submission goes through each.
enum class e_finalization_step : std::uint8_t {
    names,           ///< the names of the job and of its workflow
    workflow,        ///< the workflow as it was submitted: its tasks and their plugins
    source,          ///< the URLs of the source, and what the workflow is told of it
    settings,        ///< the caller's node, priority and storage
    input_values,    ///< the caller's values for inputs
    media_files,     ///< files beside the source that encoders need and that lie on servers
    extra_files,     ///< files that encoders find beside their source and hand on
    task_names,      ///< the names that tasks were submitted with
    connections,     ///< what was drawn between the tasks
    failure_actions, ///< what becomes of the source, and of other tasks, when something fails
    success_actions, ///< what becomes of the source when all has gone well
    local_files,     ///< URLs of files in the configurations of tasks
    variables,       ///< workflow variables in the configurations of tasks
    requirements,    ///< what a node must have to run a task
    source_wiring,   ///< the inputs that the source feeds
    kind,            ///< what kind of job it has become
    original,        ///< the submission as it came, inside the job
    resources,       ///< what nodes reach through the submitting client
};

/// What happened in a step.
enum class e_finalization_change : std::uint8_t {
    value_set,      ///< `path` holds `after`, where `before` was; an empty one of the two: nothing
    value_kept,     ///< `path` holds `before` as it did, though something was asked for; `why` says what came of it
    value_unused,   ///< `after` was offered for `path`, and no task takes it; `why` says why
    task_added,     ///< `task` is new; `why` says what it does, `after` with what, when there is something to name
    connected,      ///< the input `path` gets the output `output` of the first of `others`; `before` was its value
    not_connected,  ///< it does not, and `why` says what is in the way
    runs_after,     ///< `task` runs when each of `others` has ended as `when` says
    runs_after_any, ///< `task` runs when any one of `others` has; never, when there are none
    stops,          ///< when `task` has ended as `when` says, `others` are stopped
    published,      ///< `task` hands on an output `output`, meant for the inputs that `after` names
    source_feeds, ///< the source gives its URL, or another value of it, to the input `path`; `why` says by way of what
    each_task,    ///< the same happened to all of `others`; `why` says what
    resource,     ///< nodes reach `after` through the submitting client
};

/// One thing that finalization did, or found that it could not do.
struct finalization_event {
    e_finalization_step step{};
    e_finalization_change change{};
    std::string task; ///< the wtid of the task that it is about; empty for the submission itself
    std::string path; ///< in the configuration of that task, or in the submission
    kxbase::ptr_refcount<kxcore::property const> before;
    kxbase::ptr_refcount<kxcore::property const> after;
    std::vector<std::string> others; ///< the wtids of other tasks
    std::string output;
    std::string when; ///< "success", "failure" or "any"
    std::string why;  ///< a few words; may be empty
};

/// A task of the job as people know it.
struct account_task {
    std::string name;
    std::string kind; ///< its plugin's "info.name"
};

/// What finalization did, in the order of the work. Values are shared with the submission and hold what it holds,
/// passwords included; explain_finalization() hides them.
struct finalization_account {
    std::vector<finalization_event> events;
    std::map<std::string, account_task, std::less<>> tasks; ///< all that events name, by wtid
    e_finalization_step last_step{};                        ///< the one that was done, or failed, last
    bool is_complete = false;                               ///< whether finalization came to its end
};

/// As the submission_finalize() of kxclientutil/submission.h, and tells what it does.
///
/// @param account  replaced; after an error it holds what was done until then, and the step that failed.
///
/// @throws es::arg as the other does
KXCLIENTUTIL_EXPORT void submission_finalize(kxcore::properties& submission, kxcore::property_list& resources,
                                             finalize_sub_conf const& settings, kxcore::plugin_db const& plugins,
                                             kxcore::constraint_db const& constraints, finalization_account& account);

/// The account in plain words: for each step in which something happened its title, and below it, indented, a line for
/// each event. Tasks go by their names and kinds, and by their wtids as well where these are the same. Long values are
/// cut, passwords hidden, control characters escaped. An account that is not complete ends with the step that failed.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string explain_finalization(finalization_account const& account);

/// The same line by line, without titles, indents and line ends: one for each event.
[[nodiscard]] KXCLIENTUTIL_EXPORT std::vector<std::string> explain_events(finalization_account const& account);

/// Whether a value of an event, its `before` or `after`, is one that must not be shown at all: by its place, or by the name
/// of the variable that it takes the place of. Secrets of URLs, and within trees, are for the one who shows it to hide.
[[nodiscard]] KXCLIENTUTIL_EXPORT bool hides(finalization_event const& event, kxcore::property const& value);

/// The word for a step, such as "media-files", and its title for people: "Files that encoders need".
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string_view finalization_step_name(e_finalization_step step);
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string_view finalization_step_title(e_finalization_step step);

/// The word for a change, such as "task-added".
[[nodiscard]] KXCLIENTUTIL_EXPORT std::string_view finalization_change_name(e_finalization_change change);

} // namespace kxclientutil
