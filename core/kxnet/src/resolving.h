// Host names and service names to addresses, within a deadline.
#pragma once

#include "tcp_socket.h"

#include <string>
#include <vector>

namespace kxnet {

/// The addresses of a host and a port, in the order in which the system recommends them; at least one. A look-up that the
/// system does not finish in time is left alone, on a thread that ends when it does.
///
/// @throws timed_out
/// @throws connection_lost naming host and port when they are unknown, or when stopped
[[nodiscard]] std::vector<endpoint> resolve(std::string const& host, std::string const& port, time_point deadline,
                                            stop_signal const* stop);

} // namespace kxnet
