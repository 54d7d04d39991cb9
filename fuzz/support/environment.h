// What every fuzz target stands on: the sample installation, a silent log, and a key for credentials in a folder that goes
// with the process.
#pragma once

#include <kxcore/installation.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kx_fuzz {

/// The sample installation, loaded by the first call, which also silences the log and makes the key file.
[[nodiscard]] kxcore::installation const& sample_installation();

/// The fuzzer's input as text.
[[nodiscard]] std::string_view text_of(std::uint8_t const* data, std::size_t size);

/// Ends the process, as a finding, unless the promise holds.
void require(bool holds, char const* promise);

} // namespace kx_fuzz
