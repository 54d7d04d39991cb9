#include "../application.h"
#include "../found_nodes.h"
#include "../interruption.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/errors.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace kx {
namespace {

using node_table = std::map<std::string, kxclientutil::bonjour_node>;

constexpr double usual_patience = 3;
constexpr double longest_patience = 86'400;

struct nodes_options {
    bool is_watching = false;
    std::optional<double> timeout = std::nullopt;
    std::optional<std::string> cluster = std::nullopt;
};

std::chrono::milliseconds milliseconds_of(double seconds) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

std::string line_of(std::string const& name, kxclientutil::bonjour_node const& node) {
    std::string line = on_one_line(name) + "  " + on_one_line(place_of(node));
    line += node.cluster.empty() ? "  no cluster" : "  cluster " + on_one_line(node.cluster);
    if (!node.id.empty()) line += "  id " + on_one_line(node.id);
    return line + "\n";
}

json node_to_json(std::string const& name, kxclientutil::bonjour_node const& node) {
    json addresses = json::array();
    for (auto const& [interface_index, address] : node.addresses)
        if (!address.empty()) addresses.push_back(address);
    json txt = json::object();
    for (auto const& [key, value] : node.txt)
        txt[key] = value;
    return {
        {"name", name},  {"host", node.host}, {"port", node.port}, {"addresses", addresses}, {"cluster", node.cluster},
        {"id", node.id}, {"uc", node.uc},     {"txt", txt}};
}

bool is_wanted(nodes_options const& chosen, kxclientutil::bonjour_node const& node) {
    return !chosen.cluster || node.cluster == *chosen.cluster;
}

/// @throws es::call that there is none, but `others` of other clusters
[[noreturn]] void raise_none(nodes_options const& chosen, std::size_t others) {
    if (!chosen.cluster || others == 0)
        kxbase::es::call::raise("no node announced itself within " +
                                fmt::format("{} s", chosen.timeout.value_or(usual_patience)));
    kxbase::es::call::raise(
        fmt::format("none of the {} nodes found is of the cluster \"{}\"", others, chosen.cluster.value_or("")));
}

/// @throws es::call when there is none, which JSON says, too
void tell_nodes(application const& app, nodes_options const& chosen, node_table const& nodes) {
    json all = json::array();
    std::string lines;
    for (auto const& [name, node] : nodes) {
        if (!is_wanted(chosen, node)) continue;
        all.push_back(node_to_json(name, node));
        lines += line_of(name, node);
    }
    if (app.wants_json) {
        application::print_json({{"nodes", all}});
    } else {
        application::print(lines);
    }
    if (all.empty()) raise_none(chosen, nodes.size());
}

void list(application const& app, nodes_options const& chosen) {
    found_nodes search;
    auto const end = found_nodes::clock::now() + milliseconds_of(chosen.timeout.value_or(usual_patience));
    while (search.next(end)) {
    }
    node_table nodes;
    search.browser().get_nodes(nodes);
    tell_nodes(app, chosen, nodes);
}

/// @return whether it could be written
bool tell_event(application const& app, nodes_options const& chosen, node_table& shown_nodes, node_event const& event) {
    bool const was_shown = shown_nodes.erase(event.name) != 0;
    bool const is_shown = event.node && is_wanted(chosen, *event.node);
    if (!was_shown && !is_shown) return true;
    if (is_shown) shown_nodes[event.name] = *event.node;
    char const* const what = !is_shown ? "removed" : was_shown ? "updated" : "added";
    if (app.wants_json) {
        json told = {{"event", what}};
        told.update(is_shown ? node_to_json(event.name, *event.node) : json{{"name", event.name}});
        application::print(told.dump(-1, ' ', false, json::error_handler_t::replace) + "\n");
    } else {
        application::print(std::string(what) + "  " +
                           (is_shown ? line_of(event.name, *event.node) : on_one_line(event.name) + "\n"));
    }
    return std::fflush(stdout) == 0;
}

/// @throws es::call when the time is over and there was none
void watch(application const& app, nodes_options const& chosen) {
    found_nodes search;
    node_table shown_nodes;
    bool has_shown = false;
    std::optional<found_nodes::clock::time_point> end;
    if (chosen.timeout) end = found_nodes::clock::now() + milliseconds_of(*chosen.timeout);
    while (auto const event = search.next(end)) {
        // What cannot be written is told of at the end of the run.
        if (!tell_event(app, chosen, shown_nodes, *event)) return;
        has_shown = has_shown || !shown_nodes.empty();
    }
    if (has_shown) return;
    node_table nodes;
    search.browser().get_nodes(nodes);
    raise_none(chosen, nodes.size());
}

/// Which is in every range, as the parser sees it.
std::string refuse_not_a_number(std::string const& text) {
    return std::isnan(std::strtod(text.c_str(), nullptr)) ? "must be 0 to 86400 seconds" : "";
}

void run(application& app, nodes_options const& chosen) {
    interruption signals;
    try {
        chosen.is_watching ? watch(app, chosen) : list(app, chosen);
    } catch (interrupted const&) {
        signals.end_if_asked();
    } catch (kxbase::es::call const& error) {
        app.tell_error("nodes", error.message());
        app.fail_for_node();
    }
}

} // namespace

void add_nodes_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<nodes_options>();
    auto* const command =
        parser.add_subcommand("nodes", "List the nodes that announce themselves on the local network");
    command->add_flag("--watch", chosen->is_watching,
                      "Tell what comes, changes and goes, until Ctrl-C or for as long as --timeout says");
    command->add_option("--timeout", chosen->timeout, "How long to look, 3 when not given")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, longest_patience))
        ->check(refuse_not_a_number);
    command->add_option("--cluster", chosen->cluster, "Only nodes of this cluster")->type_name("NAME");
    command->footer(
        "A line for each node: its name, where it is, its cluster and its id. These are the nodes' own words: "
        "anybody on the local network may announce one.\nWith --watch, --json writes a document on each "
        "line. Nodes that keep their cluster to themselves have none.\n\nThe exit code is 3 when none is "
        "found, or none can be searched for, with --json and --watch, too.\n\nExamples:\n  kx nodes\n  kx nodes "
        "--watch --cluster "
        "news\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
