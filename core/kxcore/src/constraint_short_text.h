#pragma once

/// @file
/// The short texts that stand for simple constraints in hand-written databases: "int 0..10", "list of @url".

#include <kxbase/ptr_refcount.h>
#include <kxcore/fwd.h>

#include <functional>
#include <string>
#include <string_view>

namespace kxcore {

/// Takes "required " from the beginning of a text.
///
/// @return whether it was there
bool take_required(std::string_view& text);

/// Makes the constraint of a short text.
///
/// @param resolve gives the constraint that a name stands for, or raises
/// @throws es::arg saying what is wrong with the text, and what `resolve` raises
kxbase::ptr_refcount<constraint const>
constraint_from_short_text(std::string_view text,
                           std::function<kxbase::ptr_refcount<constraint const>(std::string_view)> const& resolve);

} // namespace kxcore
