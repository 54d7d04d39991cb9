#include "../application.h"
#include "../arguments.h"
#include "../child_process.h"
#include "../document.h"
#include "../shown.h"
#include "workflow.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxbase/report.h>
#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxclientutil/graph.h>
#include <kxclientutil/submission.h>
#include <kxcore/ioutil.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <array>

namespace kx {
namespace {

using kxclientutil::workflow_graph;

struct workflow_graph_options {
    std::string file;
    std::string out;
    bool dot = false;
    bool mermaid = false;
    bool legend = false;
    unsigned int time_limit = 60;
};

enum class e_language { dot, mermaid };

// What a file is, by its name.
struct output_kind {
    std::string_view suffix;
    e_language language;
    char const* drawn_as; // what Graphviz calls it; null where the language itself is written
};

constexpr std::array<output_kind, 7> output_kinds = {{
    {"svg", e_language::dot, "svg"},
    {"png", e_language::dot, "png"},
    {"pdf", e_language::dot, "pdf"},
    {"dot", e_language::dot, nullptr},
    {"gv", e_language::dot, nullptr},
    {"mmd", e_language::mermaid, nullptr},
    {"mermaid", e_language::mermaid, nullptr},
}};

output_kind kind_of_output(workflow_graph_options const& chosen) {
    output_kind const plain{"", chosen.mermaid ? e_language::mermaid : e_language::dot, nullptr};
    if (chosen.out.empty()) return plain;
    std::string const suffix = kxbase::url_path_suffix(chosen.out);
    auto const* const found = std::ranges::find_if(output_kinds, [&](output_kind const& each) {
        return kxbase::string_to_uppercase(each.suffix) == kxbase::string_to_uppercase(suffix);
    });
    if (found == output_kinds.end()) {
        if (chosen.dot || chosen.mermaid) return plain;
        throw CLI::ValidationError("--output", "the name ends in none of .svg, .png, .pdf, .dot, .gv, .mmd, .mermaid");
    }
    bool const contradicts = found->language == e_language::dot ? chosen.mermaid : chosen.dot;
    if (contradicts) throw CLI::ValidationError("--output", "." + suffix + " is no file of that language");
    return *found;
}

// Of a finalized job the original is at hand, so that the picture can tell what finalization added.
workflow_graph graph_of(application& app, document const& read) {
    auto const& plugins = app.installation().get_plugins();
    bool const is_job = read.type == "job";
    if (!is_job && read.config_type != kxclientutil::config_workflow &&
        read.config_type != kxclientutil::config_submission) {
        kxbase::es::arg::raise(fmt::format("{}, no workflow, submission or job", in_words(read)));
    }
    auto graph = kxclientutil::create_workflow_graph(read.tree, plugins);
    if (is_job && kxclientutil::submission_is_finalized(read.tree)) {
        auto const original = kxclientutil::submission_get_unfinalized_submission(read.tree);
        kxclientutil::mark_added(graph, kxclientutil::create_workflow_graph(*original, plugins));
    }
    return graph;
}

std::string drawing_of(workflow_graph const& graph, e_language language, bool legend) {
    kxclientutil::graph_drawing drawing;
    drawing.legend = legend;
    return language == e_language::dot ? kxclientutil::graph_to_dot(graph, drawing)
                                       : kxclientutil::graph_to_mermaid(graph, drawing);
}

// The first line of what Graphviz says; it names the place in our text, which nobody sees.
std::string complaint(filter_result const& result) {
    std::string const line = result.err.substr(0, result.err.find('\n'));
    if (line.empty()) return fmt::format("ended with {}", result.exit_code);
    return line;
}

std::string draw(std::string const& dot, char const* drawn_as, workflow_graph_options const& chosen) {
    filter_result result;
    try {
        result = run_filter({"dot", std::string("-T") + drawn_as}, dot, std::chrono::seconds(chosen.time_limit),
                            kxbase::limit_document);
    } catch (kxbase::es::unsupp const& error) {
        kxbase::es::unsupp::raise(std::string(error.message()) +
                                  "; it comes with the package graphviz. Without it .dot and .mmd can be written");
    }
    if (result.exit_code != 0 || result.out.empty()) {
        kxbase::es::call::raise("Graphviz cannot draw it: dot: " + complaint(result));
    }
    if (!result.err.empty()) kxbase::report(__FILE__, __LINE__, "graph", 0, 6, "dot: " + complaint(result));
    return std::move(result.out);
}

std::string shown_name(std::string const& text) {
    return kxbase::url_protected_output(text);
}

json graph_to_json(workflow_graph const& graph) {
    json tasks = json::array();
    for (auto const& node : graph.nodes) {
        json task = {{"id", shown_name(node.id)}, {"name", shown_name(node.name)}, {"kind", node.kind}};
        if (!node.problem.empty()) task["problem"] = node.problem;
        if (node.is_added) task["added"] = true;
        tasks.push_back(std::move(task));
    }
    json connections = json::array();
    for (auto const& edge : graph.edges) {
        json connection = {{"kind", kxclientutil::graph_edge_c_str(edge.kind)},
                           {"from", shown_name(graph.nodes[edge.from].id)},
                           {"to", shown_name(graph.nodes[edge.to].id)}};
        if (!edge.output.empty()) connection["output"] = edge.output;
        if (!edge.input.empty()) connection["input"] = edge.input;
        if (edge.is_added) connection["added"] = true;
        connections.push_back(std::move(connection));
    }
    return {{"name", shown_name(graph.name)},
            {"tasks", std::move(tasks)},
            {"connections", std::move(connections)},
            {"problems", graph.problems}};
}

void write(application& app, workflow_graph_options const& chosen, output_kind const& kind,
           workflow_graph const& graph) {
    std::string content = drawing_of(graph, kind.language, chosen.legend);
    if (kind.drawn_as != nullptr) content = draw(content, kind.drawn_as, chosen);
    kxbase::buffer bytes;
    bytes.append(content);
    kxcore::ioutil::set_file_content(kxbase::url_create_from_url_or_path(chosen.out, ""), bytes,
                                     app.installation().get_plugins());
    auto const tasks = graph.nodes.size();
    auto const connections = graph.edges.size();
    if (app.wants_json) {
        application::print_json(
            json{{"path", without_password(chosen.out)}, {"tasks", tasks}, {"connections", connections}});
    } else {
        application::print(fmt::format("{}: {} task{}, {} connection{}\n", shown(chosen.out), tasks,
                                       tasks == 1 ? "" : "s", connections, connections == 1 ? "" : "s"));
    }
}

void run(application& app, workflow_graph_options const& chosen) {
    auto const kind = kind_of_output(chosen);
    workflow_graph graph;
    bool const done = app.run_on(chosen.file, [&] { graph = graph_of(app, read_document(app, chosen.file)); });
    if (!done) return;
    for (auto const& problem : graph.problems)
        app.tell_warning(chosen.file, problem);
    if (!chosen.out.empty()) {
        app.run_on(chosen.out, [&] { write(app, chosen, kind, graph); });
    } else if (app.wants_json) {
        application::print_json(graph_to_json(graph));
    } else {
        application::print(drawing_of(graph, kind.language, chosen.legend));
    }
}

} // namespace

void add_workflow_graph_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<workflow_graph_options>();
    auto* const command = parser.add_subcommand("graph", "Draw the tasks of a workflow and what joins them");
    auto* const file = command->add_option("FILE", chosen->file, "A workflow, a submission or a finalized job");
    takes_file(file->required(), app);
    auto* const out = command->add_option("-o,--output", chosen->out,
                                          "Write a file: .svg, .png or .pdf through Graphviz, .dot or .mmd");
    takes_file(out->type_name("OUT"), app);
    auto* const dot = command->add_flag("--dot", chosen->dot, "The language of Graphviz, which is what you get anyway");
    command->add_flag("--mermaid", chosen->mermaid, "The language of Mermaid instead")->excludes(dot);
    command->add_flag("--legend", chosen->legend, "Explain the arrows");
    command
        ->add_option_function<std::string>(
            "--time-limit",
            [chosen](std::string const& text) {
                auto const seconds = whole_number("--time-limit", text);
                if (seconds < 1 || seconds > 86400)
                    throw CLI::ValidationError("--time-limit", "must be 1 to 86400 seconds");
                chosen->time_limit = static_cast<unsigned int>(seconds);
            },
            "How long Graphviz may draw, 60 without it")
        ->type_name("SECONDS");
    command->footer("Without -o the drawing goes to standard output; with --json what is in it.\n\nExamples:\n"
                    "  kx workflow graph news.xml -o news.svg\n"
                    "  kx workflow graph news.xml --mermaid\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
