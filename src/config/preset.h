// Legacy encoder presets: files with the suffix "setting", which stand for a task of the encoder.
#pragma once

#include <kxcore/properties.h>

#include <string>

namespace kxcore {
class plugin_db;
}

namespace kxclientutil {

/// Whether a URL names a preset, judged by its exact suffix; nobody looks into the file.
[[nodiscard]] bool is_preset_url(std::string const& url);

/// The encoder task that a preset stands for, whatever it holds, named as its configuration is.
/// Raises es::call for a file that can't be read.
[[nodiscard]] kxcore::properties create_preset_task(std::string const& url, kxcore::plugin_db const& plugins);

} // namespace kxclientutil
