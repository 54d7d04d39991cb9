#pragma once

/// @file
/// Trees as indented text for people: one line per value, so that two of them can be compared by `diff`.

#include <string>

namespace kxcore {
class properties;
}

namespace kx {

/// The members of the tree, in byte order of their keys. Strings stand in double quotes, bools and ints as they are,
/// other kinds between angle brackets; elements of lists begin with a dash.
[[nodiscard]] std::string to_text(kxcore::properties const& tree);

/// A copy of the tree with its credentials made unreadable: the password of every URL, wherever it stands, and whole
/// texts that are passwords.
[[nodiscard]] kxcore::properties without_credentials(kxcore::properties const& tree);

} // namespace kx
