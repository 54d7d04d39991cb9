#pragma once

/// @file
/// One thing that is wrong with a tree: where, what was found there, what is allowed, and what may have been meant.
/// Made by constraint_db::findings for whoever explains a document to its author.

#include <kxcore/export.h>

#include <string>

namespace kxcore {

/// What kind of thing is wrong.
enum class e_finding {
    misfit,  ///< a member that does not fit its constraint
    unknown, ///< a member that a closed database does not know
    missing, ///< a required member that is not there
};

/// One thing that is wrong with a tree.
struct finding {
    e_finding what = e_finding::misfit;
    /// The property path of the member, for a missing one the path that it would have:
    /// "tasks[2]{configuration}{source-url}"; empty for the value as a whole.
    std::string path;
    /// Kind and value, shortened, escaped and on one line: `the string "abc"`; empty for a missing member. A secret (a
    /// wrapped credential, or anything under a name like "password") is never shown, nor the password of a URL.
    std::string found;
    /// What the value must be: "an int from 0 to 10". For an unknown member the known keys.
    std::string allowed;
    /// The key or the value that may have been meant, as it is written; empty when there is no good guess.
    std::string suggestion;

    /// One line: "PATH: found FOUND, must be ALLOWED (did you mean SUGGESTION?)", "PATH: unknown key, ...", or "PATH:
    /// missing, must be ALLOWED".
    [[nodiscard]] KXCORE_EXPORT std::string to_string() const;
};

} // namespace kxcore
