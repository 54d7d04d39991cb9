#include "node_access.h"

#include "arguments.h"

#include <kxbase/errors.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

/// Where the host ends: at the last colon, the brackets of an IPv6 address aside.
std::size_t colon_of(std::string const& to) {
    auto const colon = to.rfind(':');
    bool const has_both = colon != std::string::npos && colon != 0 && colon + 1 != to.size();
    bool const is_plain = has_both && to.find(':') == colon;
    bool const is_bracketed = has_both && colon > 2 && to.front() == '[' && to[colon - 1] == ']';
    return is_plain || is_bracketed ? colon : std::string::npos;
}

std::string refuse_no_address(std::string const& to) {
    return colon_of(to) != std::string::npos ? "" : "a node is HOST:PORT, or [ADDRESS]:PORT with an IPv6 address";
}

} // namespace

void add_node_options(CLI::App& command, node_options& chosen) {
    command.add_option("--to", chosen.to, "The node: a host name or an address, and a port")
        ->required()
        ->type_name("HOST:PORT")
        ->check(refuse_no_address);
    command.add_option("--user", chosen.user, "Who logs in")->required()->type_name("NAME")->check(refuse_empty);
    add_password_option(command, chosen.password);
    auto* const tls = command.add_flag("--tls", chosen.transport.tls, "Encrypt, and check who the node is");
    command
        .add_option("--ca", chosen.transport.ca_file,
                    "The certificates (PEM) to trust in place of those that the system trusts")
        ->type_name("FILE")
        ->needs(tls)
        ->check(CLI::ExistingFile);
}

node_access access_to(application& app, node_options const& chosen) {
    auto const colon = colon_of(chosen.to);
    std::string host = chosen.to.substr(0, colon);
    if (host.front() == '[') host = host.substr(1, host.size() - 2);
    return {host, chosen.to.substr(colon + 1), chosen.user,
            read_password(app, chosen.password, {chosen.user, chosen.to}), chosen.transport};
}

bool run_on_node(application& app, node_options const& chosen, std::function<void()> const& work) {
    try {
        work();
        return true;
    } catch (kxbase::es::call const& error) {
        app.tell_error(chosen.to, error.message());
        app.fail_for_node();
    } catch (kxbase::es::base const& error) {
        app.tell_error(chosen.to, error.message());
    }
    return false;
}

} // namespace kx
