// What finalization reads out of the caller's settings.
#pragma once

#include <string>

namespace kxclientutil {

class finalize_sub_conf;

/// The node list of the resource URIs: the node that must run the job and the node of the submitting client, joined by
/// a comma, or the one of the two that is given, or nothing. Equal ids are listed twice.
[[nodiscard]] std::string node_list(finalize_sub_conf const& settings);

} // namespace kxclientutil
