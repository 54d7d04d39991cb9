#pragma once

/// @file
/// Tasks out of what is no document.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>

#include <string_view>

namespace kxcore {

class properties;

namespace taskutil {

/// Converts the text of a legacy encoder preset into the configuration of an encoder task.
///
/// A preset is lines `key = value` in `[sections]` (docs/documents.md). What is not understood is
/// kept under "setting", as it stands; any text, an empty one too, gives a configuration.
///
/// @param name the configuration's "name", unless the preset has one of its own
/// @param text the whole preset
/// @param keep_unknown whether lines that are not understood are kept; they are dropped otherwise
/// @return a new tree, with a "name" that is not empty
/// @throws es::arg when the text is larger than the limit of a document
[[nodiscard]] KXCORE_EXPORT kxbase::ptr_refcount<properties>
create_configuration_from_setting(std::string_view name, std::string_view text, bool keep_unknown);

} // namespace taskutil
} // namespace kxcore
