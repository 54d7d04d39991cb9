// Helpers that find the tasks and the inputs which finalization wires, and the main localizer.
#pragma once

#include "submission/localization.h"

#include <set>
#include <string>
#include <vector>

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

inline constexpr char const* encoder_plid = "task/regular/ogencoder/1.0";
inline constexpr char const* upload_plid = "task/regular/upload/1.0";
inline constexpr char const* youtube_plid = "task/regular/youtube/1.0";
inline constexpr char const* mbr_plid = "task/regular/mbr/1.0";

/// The task through which the source of a submission reaches the inputs that ask for it.
inline constexpr char const* main_localizer_wtid = "wtid:task/regular/localize/1.0#localizer";

/// The tasks that count as encoders: those that encode, and those that prepare a multi-bit-rate package.
[[nodiscard]] std::set<std::string> encoder_tasks(kxworkflow::workflow_builder const& builder);

/// The tasks that deliver: uploads and publications on the video site, by wtid in byte order.
[[nodiscard]] std::vector<std::string> deployment_tasks(kxworkflow::workflow_builder const& builder);

/// One input of one task.
struct task_input {
    std::string wtid;
    std::string input;
};

/// The inputs that name a source URL and that nothing feeds yet, task by task.
[[nodiscard]] std::vector<task_input> unfed_source_inputs(kxworkflow::workflow_builder const& builder);

/// Makes sure that the workflow has the main localizer; one that is there already stays as it is. Whether it is new.
bool add_main_localizer(kxworkflow::workflow_builder& builder);

} // namespace kxclientutil
