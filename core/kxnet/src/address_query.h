// The question for a host's address, as a look-up that waits and a search that does not both ask it.
#pragma once

#include "dnssd_operation.h"

#include <chrono>
#include <string>
#include <string_view>

namespace kxnet {

/// The longest that an address is waited for.
inline constexpr std::chrono::milliseconds address_patience{1000};

/// The dotted form of an address record's bytes; empty unless they are four.
[[nodiscard]] std::string dotted_address(std::string_view record);

/// Asks for the addresses of a host.
/// @param on_address gets each in its dotted form
[[nodiscard]] dnssd_operation ask_for_address(unsigned int interface_index, std::string const& host,
                                              std::function<void(std::string const&)> on_address);

} // namespace kxnet
