// Helpers of the source finalizers: which inputs wait for the source, and the localizer task that fetches it.
#pragma once

#include <string>
#include <vector>

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

inline constexpr char const* localizer_plid = "task/regular/localize/1.0";

/// The task through which the source of a submission reaches the inputs that ask for it.
inline constexpr char const* main_localizer_wtid = "wtid:task/regular/localize/1.0#localizer";

/// One input of one task.
struct task_input {
    std::string wtid;
    std::string input;
};

/// The inputs that name a source URL and that nothing feeds yet, task by task.
[[nodiscard]] std::vector<task_input> unfed_source_inputs(kxworkflow::workflow_builder const& builder);

/// Makes sure that the workflow has the main localizer; one that is there already stays as it is.
void add_main_localizer(kxworkflow::workflow_builder& builder);

} // namespace kxclientutil
