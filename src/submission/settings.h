// What finalization reads out of the caller's settings.
#pragma once

#include <string>

namespace kxclientutil {

class finalize_sub_conf;

/// The node list of the resource URIs: the node that must run the job and the node of the submitting client, joined by
/// a comma, or the one of the two that is given, or nothing. Equal ids are listed twice.
[[nodiscard]] std::string node_list(finalize_sub_conf const& settings);

/// What that list is for at the end of a URL, as the end of a sentence; empty without one.
[[nodiscard]] std::string node_list_in_words(std::string const& nodes);

} // namespace kxclientutil
