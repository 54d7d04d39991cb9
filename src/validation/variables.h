// Variables that do not exist, in the configurations of tasks: "kxvar:" URIs, and names between dollar signs.
#pragma once

#include "validation/judged_document.h"

namespace kxclientutil {

/// A URI with the scheme "kxvar" can be nothing but a variable: one that nobody knows is an error. A name between dollar
/// signs may as well belong to a script or be a price, so it is told as a warning, and only when it looks like a misspelt
/// variable: it begins with a family of variables ("source."), or is nearly one of them. See docs/decisions.md.
void judge_variables(judged_document const& document, document_problems& out);

} // namespace kxclientutil
