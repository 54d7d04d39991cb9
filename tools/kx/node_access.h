#pragma once

/// @file
/// The node that a command talks to: where it is, who logs in, and how what goes wrong there is told.

#include "application.h"
#include "secret.h"

#include <kxnet/transport.h>

#include <functional>
#include <string>

namespace CLI { // NOLINT(readability-identifier-naming): the parser's own
class App;
}

namespace kx {

/// What the command line says of the node.
struct node_options {
    std::string to;
    std::string cluster; ///< to be found first, in the place of `to`
    std::string user;
    secret_source password;
    kxnet::transport_options transport;
    unsigned int timeout_ms = 0; ///< 0 for 30 seconds
};

/// A node, and who logs in there.
struct node_access {
    std::string to; ///< as the user says it
    std::string host;
    std::string port;
    std::string user;
    std::string password;
    kxnet::transport_options transport;
    unsigned int timeout_ms = 0; ///< for each step; 0 for 30 seconds
};

/// Gives a command --to, --cluster, --user, --password-file, --tls, --ca and --timeout.
void add_node_options(CLI::App& command, node_options& chosen);

/// Where the node is, or that it is to be found yet, for people.
[[nodiscard]] std::string node_in_words(node_options const& chosen);

/// Finds a node of the cluster that is chosen, if one is: that becomes what `to` is. What hinders it becomes an error line
/// and the exit code for nodes.
///
/// @return whether there is a node to talk to
bool find_node(application& app, node_options& chosen);

/// What is needed to log in; the password is asked for where it is not given.
///
/// @throws es::arg, es::call as read_password()
[[nodiscard]] node_access access_to(application& app, node_options const& chosen);

/// Runs the work with the node. What the node or the way there is to blame for, an es::call, becomes an error line, with
/// the option that may help, and the exit code for it; any other error the line and exit code that it has everywhere.
///
/// @return whether there was no error
bool run_on_node(application& app, node_options const& chosen, std::function<void()> const& work);

} // namespace kx
