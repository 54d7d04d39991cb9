#pragma once

/// @file
/// Fresh identifiers.

#include <kxbase/export.h>

#include <string>

namespace kxbase {

/// A fresh random UUID (version 4) from the kernel's random source, as in "3F2504E0-4F89-41D3-9A0C-0305E82C3301": in
/// lower case when the argument is true, else in capitals.
/// @throws es::call where the kernel gives no random bytes
[[nodiscard]] KXBASE_EXPORT std::string string_uuid(bool lower_case);

} // namespace kxbase
