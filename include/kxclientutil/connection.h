#pragma once

/// @file
/// Connections to the nodes of a cluster and to the I/O server beside them: opened, and logged in where that is asked for.
///
/// What all functions have in common: host and port are passed on as they are, a name or an address, a number or the name
/// of a service. The handler is told of events and of the end of the connection, before the function returns, too; it is not
/// owned, may be null, and must outlive the connection. The time-out, in milliseconds, 0 for 30 seconds, is given to each
/// blocking step: connecting, and the exchange of the login. Connecting takes no longer. A login that is being sent and a
/// reply whose first bytes have come in time may, as long as they go on at 1,000 bytes a second and never stand still for the
/// time-out. Errors of other kinds, such as a lack of memory, pass as they are. Passwords travel as SHA-1 hex digests, which
/// is no protection: over a network that others share, want TLS. No function retries, and none returns an empty handle.

#include <kxbase/ptr_refcount.h>
#include <kxcapi/connection.h>
#include <kxcapi/handler.h>
#include <kxcapi/state_connection.h>
#include <kxclientutil/export.h>
#include <kxnet/transport.h>

#include <string>

namespace kxcore {
class plugin_db;
} // namespace kxcore

namespace kxclientutil {

/// Opens a connection without logging in.
///
/// @throws es::call "Failed to connect to HOST:PORT (WHY)"; WHY is "wrong protocol version", "timeout", "connection failed",
///         or the text of the error that was raised
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcapi::connection>
get_connection(std::string const& host, std::string const& port, kxcapi::handler* handler, unsigned int timeout,
               kxnet::transport_options const& transport = {});

/// Opens a connection to a node and logs in as an administrator.
///
/// @throws es::call "Failed to connect to node at HOST:PORT (WHY)" as above, "Failed to login to node: REASON" with what the
///         node says; what the exchange itself raises passes as it is
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcapi::connection>
get_admin_connection_to_node(std::string const& host, std::string const& port, std::string const& username,
                             std::string const& password, kxcapi::handler* handler, unsigned int timeout,
                             kxnet::transport_options const& transport = {});

/// Opens a connection to an I/O server and logs in as an administrator.
///
/// @throws es::call "Failed to connect to ioserver at HOST:PORT (WHY)", "Failed to login to ioserver: REASON", as above
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcapi::connection>
get_admin_connection_to_ioserver(std::string const& host, std::string const& port, std::string const& username,
                                 std::string const& password, kxcapi::handler* handler, unsigned int timeout,
                                 kxnet::transport_options const& transport = {});

/// Opens a connection to a node and logs in as a client of its cluster, which may submit jobs.
///
/// @param client_id  told to the node as it is; may be empty
/// @param io_port    a switch: with any text but the empty one the node is told of the I/O port 40425, whatever the text is
/// @throws es::call as `get_admin_connection_to_node`
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcapi::connection>
get_client_connection_to_node(std::string const& host, std::string const& port, std::string const& username,
                              std::string const& password, std::string const& client_id, std::string const& io_port,
                              kxcapi::handler* handler, unsigned int timeout,
                              kxnet::transport_options const& transport = {});

/// The same with a connection that keeps the node's announced state.
///
/// @param cache_state    whether the state outlives the connection, until the next one; needs `plugins`
/// @param finished_jobs  how many finished jobs stay known after the node has forgotten them; without `cache_state` none do
/// @param plugins        copied; may be null when `cache_state` is false
/// @throws es::arg "cannot cache state without a plugin-db", before anything is done
/// @throws es::call as `get_admin_connection_to_node`
[[nodiscard]] KXCLIENTUTIL_EXPORT kxbase::ptr_refcount<kxcapi::state_connection>
get_state_connection_to_node(kxcapi::state_handler* handler, std::string const& host, std::string const& port,
                             std::string const& username, std::string const& password, std::string const& client_id,
                             std::string const& io_port, bool cache_state, unsigned int finished_jobs,
                             kxcore::plugin_db const* plugins, unsigned int timeout,
                             kxnet::transport_options const& transport = {});

} // namespace kxclientutil
