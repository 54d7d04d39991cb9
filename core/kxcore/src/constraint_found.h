#pragma once

/// @file
/// How a value that does not fit is shown to people, who may not be the ones to see what it holds.

#include <kxcore/property.h>

#include <string>
#include <string_view>

namespace kxcore {

/// Whether a key is named like something that holds a secret: "password", "smtp-password", "Token".
bool is_secret_name(std::string_view key);

/// Kind and value, shortened, escaped and on one line: `the string "abc"`, `the int 5`, `a tree of 3 members`. The
/// passwords of URLs are masked; what a credential wraps is never shown.
///
/// @param secret shows the kind alone
std::string found_text(property const& value, bool secret);

/// The nearest valid value as it is shown, if there is one near enough to have been meant; empty otherwise.
std::string suggestion_text(constraint const& of, property const& value);

} // namespace kxcore
