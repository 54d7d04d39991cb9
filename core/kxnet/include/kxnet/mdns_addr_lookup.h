#pragma once

/// @file
/// Addresses of hosts on the local network.

#include <kxnet/export.h>

#include <string>

namespace kxnet {

/// Looks up a host's IPv4 address on one network interface. Any thread may use one; an object by one thread at a time.
class KXNET_EXPORT mdns_addr_lookup {
public:
    /// Asks nothing yet.
    /// @param host             a target name as DNS-SD tells it, "node1.local."
    /// @param interface_index  the interface to ask on, as DNS-SD numbers it; 0 for any
    mdns_addr_lookup(std::string host, unsigned int interface_index);

    /// The address in its dotted form; empty when there is none, or nobody answers within a second. With a daemon that hangs
    /// it takes as long as the client library waits for that: Avahi's up to half a minute. While a handler of
    /// search_resolve_query is told of that host it is known already and nothing is waited for. Nothing is raised.
    [[nodiscard]] std::string get_IPv4() const; // NOLINT(readability-identifier-naming): a name of its own

private:
    std::string host_;
    unsigned int interface_index_;
};

/// While it lives, look-ups of this host on this interface by this thread give this address at once. They may be nested;
/// the innermost counts.
class KXNET_EXPORT known_address {
public:
    /// Tells of an address; the empty text says that the host has none.
    known_address(std::string host, unsigned int interface_index, std::string address);
    known_address(known_address const&) = delete;
    known_address& operator=(known_address const&) = delete;
    ~known_address();

private:
    friend class mdns_addr_lookup;

    std::string host_;
    unsigned int interface_index_;
    std::string address_;
    known_address const* outer_;
};

} // namespace kxnet
