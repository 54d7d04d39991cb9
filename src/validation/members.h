// What is wrong with single members of a document: what does not fit the constraint of the type or of a plugin, and
// plugins and ids that do not exist or contradict each other.
#pragma once

#include "validation/judged_document.h"

namespace kxclientutil {

/// Judges the whole tree by the constraint of its type, and the configuration of each task and monitor by the one of its
/// plugin.
void judge_members(judged_document const& document, document_problems& out);

/// Judges the "plugin-id" and the "id" of each task, and the plugin of a monitor.
void judge_plugins(judged_document const& document, document_problems& out);

} // namespace kxclientutil
