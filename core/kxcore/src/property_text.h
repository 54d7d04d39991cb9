#pragma once

/// @file
/// The text of a value that a constraint holds.

#include <kxcore/property.h>

#include <string>

namespace kxcore::detail {

/// As `property::encode` on one line, for a value that was checked when a constraint took it: no limit is asked for
/// again, since comparing constraints must never fail.
void append_checked_text(std::string& out, property const& value);

} // namespace kxcore::detail
