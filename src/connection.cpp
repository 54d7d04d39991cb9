#include "raising.h"

#include <kxclientutil/connection.h>

#include <kxbase/errors.h>
#include <kxbase/hash.h>
#include <kxcore/properties.h>
#include <kxnet/packet.h>

#include <string_view>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;
using kxbase::es::call;
using kxcapi::connection;
using kxcapi::state_connection;

/// Where a connection leads to.
struct destination {
    std::string const& host;
    std::string const& port;
    unsigned int timeout;
};

/// Who logs in.
struct identity {
    std::string const& username;
    std::string const& password;
};

constexpr std::string_view node_target = "node at ";
constexpr std::string_view ioserver_target = "ioserver at ";
/// What is asked for with an I/O port, whichever was given: nodes know no other one.
constexpr std::string_view io_port_told = "40425";

ptr_refcount<state_connection> make_state_connection(kxcapi::state_handler* handler, unsigned int finished_jobs,
                                                     kxcore::plugin_db const* plugins,
                                                     kxnet::transport_options const& transport);
void connect(connection& made, destination const& to, std::string_view target);
void require_success(kxcapi::result_code code);
kxp::packet login_packet(std::string_view command, identity const& who);
kxp::packet client_login_packet(identity const& who, std::string const& client_id, std::string const& io_port);
void require_login(kxp::packet const& reply, std::string_view peer);
ptr_refcount<connection> admin_connection(destination const& to, identity const& who, std::string_view target,
                                          std::string_view command, std::string_view peer, kxcapi::handler* handler,
                                          kxnet::transport_options const& transport);

} // namespace

ptr_refcount<connection> get_connection(std::string const& host, std::string const& port, kxcapi::handler* handler,
                                        unsigned int timeout, kxnet::transport_options const& transport) {
    auto made = make_refcount<connection>(handler, transport);
    connect(*made, {host, port, timeout}, "");
    return made;
}

ptr_refcount<connection> get_admin_connection_to_node(std::string const& host, std::string const& port,
                                                      std::string const& username, std::string const& password,
                                                      kxcapi::handler* handler, unsigned int timeout,
                                                      kxnet::transport_options const& transport) {
    return admin_connection({host, port, timeout}, {username, password}, node_target, "admin.login", "node", handler,
                            transport);
}

ptr_refcount<connection> get_admin_connection_to_ioserver(std::string const& host, std::string const& port,
                                                          std::string const& username, std::string const& password,
                                                          kxcapi::handler* handler, unsigned int timeout,
                                                          kxnet::transport_options const& transport) {
    return admin_connection({host, port, timeout}, {username, password}, ioserver_target, "ioserver.admin.login",
                            "ioserver", handler, transport);
}

ptr_refcount<connection> get_client_connection_to_node(std::string const& host, std::string const& port,
                                                       std::string const& username, std::string const& password,
                                                       std::string const& client_id, std::string const& io_port,
                                                       kxcapi::handler* handler, unsigned int timeout,
                                                       kxnet::transport_options const& transport) {
    auto made = make_refcount<connection>(handler, transport);
    connect(*made, {host, port, timeout}, node_target);
    require_login(made->login_sync(client_login_packet({username, password}, client_id, io_port), timeout), "node");
    return made;
}

ptr_refcount<state_connection> get_state_connection_to_node(kxcapi::state_handler* handler, std::string const& host,
                                                            std::string const& port, std::string const& username,
                                                            std::string const& password, std::string const& client_id,
                                                            std::string const& io_port, bool cache_state,
                                                            unsigned int finished_jobs,
                                                            kxcore::plugin_db const* plugins, unsigned int timeout,
                                                            kxnet::transport_options const& transport) {
    if (cache_state && plugins == nullptr)
        raise_from<kxbase::es::arg>(connection_source_path, "cannot cache state without a plugin-db");
    auto made = make_state_connection(handler, finished_jobs, cache_state ? plugins : nullptr, transport);
    connect(*made, {host, port, timeout}, node_target);
    require_login(made->login_sync(client_login_packet({username, password}, client_id, io_port), timeout), "node");
    return made;
}

namespace {

ptr_refcount<connection> admin_connection(destination const& to, identity const& who, std::string_view target,
                                          std::string_view command, std::string_view peer, kxcapi::handler* handler,
                                          kxnet::transport_options const& transport) {
    auto made = make_refcount<connection>(handler, transport);
    connect(*made, to, target);
    require_login(made->send_sync(login_packet(command, who), to.timeout), peer);
    return made;
}

/// With a cache when there are plugins for it.
ptr_refcount<state_connection> make_state_connection(kxcapi::state_handler* handler, unsigned int finished_jobs,
                                                     kxcore::plugin_db const* plugins,
                                                     kxnet::transport_options const& transport) {
    if (plugins == nullptr) return make_refcount<state_connection>(handler, transport);
    return make_refcount<state_connection>(handler, finished_jobs, plugins, transport);
}

/// Connects; whatever error of the family that raises becomes one that names the destination.
void connect(connection& made, destination const& to, std::string_view target) {
    try {
        require_success(made.connect(to.host, to.port, to.timeout));
    } catch (kxbase::es::base const& error) {
        std::string message = "Failed to connect to ";
        message.append(target).append(to.host).append(":").append(to.port);
        message.append(" (").append(error.message()).append(")");
        raise_from<call>(connection_source_path, message);
    }
}

void require_success(kxcapi::result_code code) {
    switch (code) {
    case kxcapi::result_code::success: return;
    case kxcapi::result_code::version_mismatch: raise_from<call>(connection_source_path, "wrong protocol version");
    case kxcapi::result_code::timeout: raise_from<call>(connection_source_path, "timeout");
    case kxcapi::result_code::failed: break;
    }
    raise_from<call>(connection_source_path, "connection failed");
}

kxp::packet login_packet(std::string_view command, identity const& who) {
    kxp::packet login(kxp::e_packet_type::request, command);
    login.set_property("username", who.username);
    login.set_property("password", kxbase::string_hash_SHA1_hex(who.password));
    return login;
}

kxp::packet client_login_packet(identity const& who, std::string const& client_id, std::string const& io_port) {
    kxp::packet login = login_packet("cluster.client.login", who);
    login.set_property("id", client_id);
    if (!io_port.empty()) login.set_property("io-port", io_port_told);
    return login;
}

/// A reason that is no text is shown in its text form.
void require_login(kxp::packet const& reply, std::string_view peer) {
    kxcore::property const* const reason = reply.get_properties().find("error");
    if (reason == nullptr) return;
    raise_from<call>(connection_source_path, "Failed to login to " + std::string(peer) + ": " + reason->to_string());
}

} // namespace

} // namespace kxclientutil
