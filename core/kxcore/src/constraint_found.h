#pragma once

/// @file
/// The value that may have been meant, as it is shown to people.

#include <kxcore/property.h>

#include <string>

namespace kxcore {

/// The nearest valid value as it is shown, if there is one near enough to have been meant; empty otherwise.
std::string suggestion_text(constraint const& of, property const& value);

} // namespace kxcore
