#include "node_access.h"

#include "arguments.h"
#include "found_nodes.h"
#include "interruption.h"

#include <kxbase/errors.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace kx {
namespace {

/// Where the host ends: at the last colon, the brackets of an IPv6 address aside.
std::size_t colon_of(std::string const& to) {
    auto const colon = to.rfind(':');
    bool const has_both = colon != std::string::npos && colon != 0 && colon + 1 != to.size();
    bool const is_plain = has_both && to.find(':') == colon && to.front() != '[';
    bool const is_bracketed = has_both && colon > 2 && to.front() == '[' && to[colon - 1] == ']';
    return is_plain || is_bracketed ? colon : std::string::npos;
}

std::string refuse_no_address(std::string const& to) {
    return colon_of(to) != std::string::npos ? "" : "a node is HOST:PORT, or [ADDRESS]:PORT with an IPv6 address";
}

struct hint_about_tls {
    std::string_view error;
    bool has_tls;
    char const* hint;
};

/// The option that may help; empty when there is none.
std::string hint_about(std::string_view error, bool has_tls) {
    constexpr hint_about_tls hints[] = {
        {"wants TLS", false, ": try --tls"},
        {"does not speak TLS", true, ": without --tls?"},
        {"issuer certificate", true, ": see --ca"},
        {"self-signed certificate", true, ": see --ca"},
    };
    for (auto const& each : hints)
        if (each.has_tls == has_tls && error.find(each.error) != std::string_view::npos) return each.hint;
    return {};
}

} // namespace

void add_node_options(CLI::App& command, node_options& chosen) {
    auto* const way = command.add_option_group("node");
    way->add_option("--to", chosen.to, "The node: a host name or an address, and a port")
        ->type_name("HOST:PORT")
        ->check(refuse_no_address);
    way->add_option(
           "--cluster", chosen.cluster,
           "The cluster, of which a node is searched for on the local network: whoever announces one is trusted")
        ->type_name("NAME")
        ->check(refuse_empty);
    way->require_option(1);
    command.add_option("--user", chosen.user, "Who logs in")->required()->type_name("NAME")->check(refuse_empty);
    add_password_option(command, chosen.password);
    auto* const tls = command.add_flag("--tls", chosen.transport.tls,
                                       "Encrypt, and check who the node is by the authorities that the system trusts");
    command
        .add_option("--ca", chosen.transport.ca_file,
                    "The certificates (PEM) to trust in place of those that the system trusts")
        ->type_name("FILE")
        ->needs(tls)
        ->check(CLI::ExistingFile);
    command
        .add_option_function<std::string>(
            "--timeout",
            [&chosen](std::string const& text) {
                constexpr std::int64_t longest = 86400;
                constexpr std::int64_t second_in_ms = 1000;
                auto const seconds = whole_number("--timeout", text);
                if (seconds < 1 || seconds > longest)
                    throw CLI::ValidationError("--timeout", "must be 1 to 86400 seconds");
                chosen.timeout_ms = static_cast<unsigned int>(seconds * second_in_ms);
            },
            "How long each step may take: connecting, logging in, waiting for an answer; without it 30 s")
        ->type_name("SECONDS");
}

std::string node_in_words(node_options const& chosen) {
    return chosen.to.empty() ? "the cluster \"" + chosen.cluster + "\"" : chosen.to;
}

bool find_node(application& app, node_options& chosen) {
    if (!chosen.to.empty()) return true;
    interruption signals;
    try {
        auto const found = find_cluster(chosen.cluster);
        chosen.to = found.place;
        // Nobody makes out a certificate for an address that the network may change.
        chosen.transport.certificate_name = found.host;
        return true;
    } catch (interrupted const&) {
        signals.end_if_asked();
    } catch (kxbase::es::call const& error) {
        app.tell_error(node_in_words(chosen), error.message());
        app.fail_for_node();
    }
    return false;
}

node_access access_to(application& app, node_options const& chosen) {
    auto const colon = colon_of(chosen.to);
    std::string host = chosen.to.substr(0, colon);
    if (host.front() == '[') host = host.substr(1, host.size() - 2);
    return {chosen.to,
            host,
            chosen.to.substr(colon + 1),
            chosen.user,
            read_password(app, chosen.password, {chosen.user, chosen.to}),
            chosen.transport,
            chosen.timeout_ms};
}

bool run_on_node(application& app, node_options const& chosen, std::function<void()> const& work) {
    try {
        work();
        return true;
    } catch (kxbase::es::call const& error) {
        std::string const what = error.message() + hint_about(error.message(), chosen.transport.tls);
        // The library's own texts name the node already.
        bool const names_node = what.find(chosen.to) != std::string::npos;
        app.tell_error(names_node ? "" : chosen.to, what);
        app.fail_for_node();
    } catch (kxbase::es::base const& error) {
        app.tell_error(chosen.to, error.message());
    }
    return false;
}

} // namespace kx
