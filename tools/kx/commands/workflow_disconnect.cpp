#include "../application.h"
#include "../arguments.h"
#include "../shown.h"
#include "../workflow_file.h"
#include "workflow.h"

#include <kxbase/errors.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace kx {
namespace {

constexpr std::string_view connections_path = "workflow-meta{connections}";

struct workflow_disconnect_options {
    std::string workflow;
    std::string from;
    std::string to;
    std::string out;
};

kxcore::property_list connections_of(kxcore::properties const& workflow) {
    auto const* const list = kxcore::property_cast<kxcore::property_list>(workflow.find_referenced(connections_path));
    return list == nullptr ? kxcore::property_list() : *list;
}

std::string text_in(kxcore::property const& connection, std::string_view key) {
    auto const* const tree = kxcore::property_cast<kxcore::properties>(&connection);
    return tree == nullptr ? "" : tree->get_string_value(key, "");
}

// Also the wtid of a task that is not there: what joins it is what somebody wants to be rid of.
std::string wtid_of(kxcore::properties const& workflow, kxcore::property_list const& connections,
                    std::string const& name_or_wtid) {
    bool const is_named = std::ranges::any_of(connections, [&](auto const& each) {
        return text_in(*each, "from-wtid") == name_or_wtid || text_in(*each, "to-wtid") == name_or_wtid;
    });
    return is_named ? name_or_wtid : find_task(workflow, name_or_wtid).wtid;
}

std::size_t disconnect(workflow_disconnect_options const& chosen, kxcore::properties& workflow) {
    auto const connections = connections_of(workflow);
    std::string const from = wtid_of(workflow, connections, chosen.from);
    std::string const to = wtid_of(workflow, connections, chosen.to);
    kxcore::property_list kept;
    for (auto const& each : connections)
        if (text_in(*each, "from-wtid") != from || text_in(*each, "to-wtid") != to) kept.push_back(each);
    if (kept.size() == connections.size()) {
        kxbase::es::arg::raise(
            fmt::format("no connection leads from {} to {}", in_quotes(chosen.from), in_quotes(chosen.to)));
    }
    workflow.set_referenced_property(connections_path, kxbase::make_refcount<kxcore::property_list>(kept));
    return connections.size() - kept.size();
}

void run(application& app, workflow_disconnect_options const& chosen) {
    document workflow;
    std::size_t removed = 0;
    bool const done = app.run_on(chosen.workflow, [&] {
        workflow = read_workflow(app, chosen.workflow);
        removed = disconnect(chosen, workflow.tree);
    });
    if (!done) return;
    std::string const& out = chosen.out.empty() ? chosen.workflow : chosen.out;
    app.run_on(out, [&] {
        write_document(app, workflow, out);
        if (app.wants_json) {
            application::print_json(
                json{{"path", without_password(out)}, {"format", workflow.format}, {"removed", removed}});
        } else {
            application::print(fmt::format("{}: {} connection{} removed, {} \xE2\x86\x92 {}\n", shown(out), removed,
                                           removed == 1 ? "" : "s", in_quotes(chosen.from), in_quotes(chosen.to)));
        }
    });
}

} // namespace

void add_workflow_disconnect_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<workflow_disconnect_options>();
    auto* const command =
        parser.add_subcommand("disconnect", "Remove all connections from one task of a workflow to another");
    takes_file(command->add_option("WORKFLOW", chosen->workflow, "The workflow document")->required(), app);
    command->add_option("FROM", chosen->from, "The task that they leave from: its wtid, or its name")->required();
    command->add_option("TO", chosen->to, "The task that they lead to; the wtid of one that is not there will do")
        ->required();
    add_output_option(*command, chosen->out, app);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
