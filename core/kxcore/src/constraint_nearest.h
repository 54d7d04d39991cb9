#pragma once

/// @file
/// The valid value that may have been meant.

#include <kxcore/property.h>

namespace kxcore {

/// The valid value that is nearest to one that is not valid; empty when nothing of it can be kept.
property_handle nearest_valid_value(constraint const& of, property const* value);

} // namespace kxcore
