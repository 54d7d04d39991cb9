// Secrets that lie in a document in the clear, and would again after the document is written.
#pragma once

#include "validation/judged_document.h"

namespace kxclientutil {

/// Tells, as warnings and without showing them, the texts of a stored tree that look like secrets and stand where writing
/// does not protect them: a password at the top level or in a list, a URL with a user or a password under a key that does
/// not end in "url", anything under a name like "token", a secret in the query of a URL.
void judge_secrets(kxcore::properties const& stored, document_problems& out);

} // namespace kxclientutil
