#include "../application.h"
#include "../arguments.h"
#include "../shown.h"
#include "../workflow_file.h"
#include "workflow.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/graph.h>
#include <kxclientutil/wf_connection.h>
#include <kxcore/nearest_text.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/ports.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace kx {
namespace {

struct workflow_connect_options {
    std::string workflow;
    std::string from;
    std::string to;
    std::string output;
    std::string input;
    std::string result;
    std::string out;
    bool force = false;
};

using port_list = std::span<kxcore::plugin_port const>;

std::string suggestion(port_list ports, std::string_view given) {
    kxcore::nearest_text nearest(given);
    for (auto const& port : ports)
        nearest.consider(port.name);
    auto const guess = nearest.good_guess();
    return guess.empty() ? "" : fmt::format(" (did you mean {}?)", in_quotes(guess));
}

kxbase::ptr_refcount<kxcore::plugin_info const> plugin_of(application& app, named_task const& task) {
    std::string plugin_id = task.tree.get_string_value("plugin-id", "");
    if (plugin_id.empty()) plugin_id = kxworkflow::wtid_plid(task.wtid);
    auto plugin = app.installation().get_plugins().describe_plugin(plugin_id);
    if (!plugin)
        kxbase::es::arg::raise(
            fmt::format("the task {} has the unknown plugin {}", task.shown(), in_quotes(plugin_id)));
    return plugin;
}

void check_ports(application& app, workflow_connect_options const& chosen, named_task const& from,
                 named_task const& to) {
    auto const from_plugin = plugin_of(app, from);
    if (!kxworkflow::is_output(*from_plugin, from.tree, chosen.output)) {
        kxbase::es::arg::raise(fmt::format("the task {} has no output {}{}", from.shown(), in_quotes(chosen.output),
                                           suggestion(from_plugin->get_outputs(), chosen.output)));
    }
    auto const to_plugin = plugin_of(app, to);
    auto const* const configuration = kxcore::property_cast<kxcore::properties>(to.tree.find("configuration"));
    kxcore::properties const empty(false);
    if (!kxworkflow::is_possible_input(*to_plugin, configuration == nullptr ? empty : *configuration, chosen.input)) {
        kxbase::es::arg::raise(fmt::format("the task {} has no input {}{}", to.shown(), in_quotes(chosen.input),
                                           suggestion(to_plugin->get_inputs(), chosen.input)));
    }
}

void check_cycle(application& app, kxcore::properties const& workflow, named_task const& from, named_task const& to) {
    auto const graph = kxclientutil::create_workflow_graph(workflow, app.installation().get_plugins());
    auto const way = kxclientutil::find_way(graph, to.index, from.index);
    if (way.empty()) return;
    std::string circle = from.shown();
    for (auto const index : way) {
        auto const& node = graph.nodes[index];
        circle += " \xE2\x86\x92 " + in_quotes(node.name.empty() ? node.id : node.name);
    }
    kxbase::es::arg::raise("each of these tasks would wait for the one before: " + circle);
}

bool is_there_already(kxcore::properties const& workflow, kxclientutil::wf_connection const& connection) {
    auto const* const list =
        kxcore::property_cast<kxcore::property_list>(workflow.find_referenced("workflow-meta{connections}"));
    kxcore::properties encoded(false);
    connection.encode(encoded);
    return list != nullptr && std::ranges::any_of(*list, [&](auto const& element) {
               auto const* const other = kxcore::property_cast<kxcore::properties>(element.get());
               return other != nullptr && *other == encoded;
           });
}

// What a node would stumble over, and what validation calls an error.
void check(application& app, workflow_connect_options const& chosen, kxcore::properties const& workflow,
           named_task const& from, named_task const& to, kxclientutil::wf_connection const& connection) {
    if (from.index == to.index) kxbase::es::arg::raise(fmt::format("the task {} cannot wait for itself", from.shown()));
    if (!chosen.output.empty()) check_ports(app, chosen, from, to);
    if (is_there_already(workflow, connection))
        kxbase::es::arg::raise(fmt::format("{} and {} are connected like this already", from.shown(), to.shown()));
    check_cycle(app, workflow, from, to);
}

kxclientutil::wf_connection connection_of(workflow_connect_options const& chosen, named_task const& from,
                                          named_task const& to) {
    if (!chosen.result.empty()) return {from.wtid, to.wtid, chosen.result};
    if (!chosen.output.empty()) return {from.wtid, chosen.output, to.wtid, chosen.input};
    return {from.wtid, to.wtid};
}

void tell(application const& app, std::string const& out, document const& workflow,
          workflow_connect_options const& chosen, named_task const& from, named_task const& to) {
    if (app.wants_json) {
        json told = {{"path", without_password(out)},
                     {"format", workflow.format},
                     {"from", kxbase::without_url_secrets(from.wtid)},
                     {"to", kxbase::without_url_secrets(to.wtid)}};
        if (!chosen.output.empty()) told.update({{"from-output", chosen.output}, {"to-input", chosen.input}});
        if (!chosen.result.empty()) told.update({{"result", chosen.result}});
        application::print_json(told);
        return;
    }
    std::string how;
    if (!chosen.output.empty()) how = on_one_line(fmt::format(", {} \xE2\x86\x92 {}", chosen.output, chosen.input));
    if (!chosen.result.empty()) how = ", result " + chosen.result;
    application::print(fmt::format("{}: {} \xE2\x86\x92 {}{}\n", shown(out), from.shown(), to.shown(), how));
}

void run(application& app, workflow_connect_options const& chosen) {
    document workflow;
    named_task from;
    named_task to;
    bool const done = app.run_on(chosen.workflow, [&] {
        workflow = read_workflow(app, chosen.workflow);
        from = find_task(workflow.tree, chosen.from);
        to = find_task(workflow.tree, chosen.to);
        auto const connection = connection_of(chosen, from, to);
        if (!chosen.force) check(app, chosen, workflow.tree, from, to, connection);
        kxclientutil::connect_task(connection, workflow.tree);
    });
    if (!done) return;
    std::string const& out = chosen.out.empty() ? chosen.workflow : chosen.out;
    app.run_on(out, [&] {
        write_document(app, workflow, out);
        tell(app, out, workflow, chosen, from, to);
    });
}

} // namespace

void add_workflow_connect_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<workflow_connect_options>();
    auto* const command = parser.add_subcommand("connect", "Draw a connection between two tasks of a workflow");
    takes_file(command->add_option("WORKFLOW", chosen->workflow, "The workflow document")->required(), app);
    command->add_option("FROM", chosen->from, "The task that comes first: its wtid, or its name")->required();
    command->add_option("TO", chosen->to, "The task that comes after it")->required();
    auto* const output = command->add_option("--from-output", chosen->output, "The output that is handed over")
                             ->type_name("NODE")
                             ->check(refuse_empty_node);
    auto* const input = command->add_option("--to-input", chosen->input, "The input that it feeds")
                            ->type_name("NODE")
                            ->check(refuse_empty_node);
    output->needs(input);
    input->needs(output);
    command->add_option("--result", chosen->result, "Run TO only when FROM has ended so: success, failure or any")
        ->check(CLI::IsMember({"success", "failure", "any"}))
        ->excludes(output)
        ->excludes(input);
    command->add_flag("--force", chosen->force, "Draw it even where a node would stumble over it");
    add_output_option(*command, chosen->out, app);
    command->footer("Examples:\n"
                    "  kx workflow connect news.xml 720p \"Web server\" --from-output dest-url --to-input source-url\n"
                    "  kx workflow connect news.xml \"Web server\" Desk --result failure\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
