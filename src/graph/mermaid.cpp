#include "graph/label.h"
#include "graph/look.h"

#include <kxclientutil/graph.h>

#include <vector>

namespace kxclientutil {

namespace {

// Texts stand between double quotes, where everything that Mermaid could take for something else (entities, markup,
// directives, icons, formulas, Markdown) is a character number; the names of boxes are ours ("n7").

constexpr std::size_t room_for_head = 1024;
constexpr std::size_t room_for_node = 64;
constexpr std::size_t room_for_edge = 64;

void write_node(graph_node const& node, std::size_t index, std::string& out);
void write_edge(graph_edge const& edge, std::string& out);
void write_classes(workflow_graph const& graph, std::string& out);
void write_class(char const* name, std::vector<std::size_t> const& nodes, std::string& out);
void write_strokes(workflow_graph const& graph, bool legend, std::string& out);
void write_stroke(look::arrow const& arrow, char const* color, std::vector<std::size_t> const& edges, std::string& out);
void write_legend(workflow_graph const& graph, std::string& out);
void write_numbers(std::vector<std::size_t> const& numbers, char const* prefix, std::string& out);
void write_text(std::string_view text, std::string& out);
bool stands_for_itself(char ch);

} // namespace

std::string graph_to_mermaid(workflow_graph const& graph, graph_drawing const& drawing) {
    std::string out;
    out.reserve(room_for_head + graph.nodes.size() * room_for_node + graph.edges.size() * room_for_edge);
    out += "flowchart LR\n";
    for (std::size_t index = 0; index < graph.nodes.size(); ++index)
        write_node(graph.nodes[index], index, out);
    for (graph_edge const& edge : graph.edges)
        write_edge(edge, out);
    if (drawing.legend) write_legend(graph, out);
    write_classes(graph, out);
    write_strokes(graph, drawing.legend, out);
    return out;
}

namespace {

void write_node(graph_node const& node, std::size_t index, std::string& out) {
    out.append("  n").append(std::to_string(index)).append("(\"<b>");
    write_text(node_title(node), out);
    out += "</b>";
    for (std::string const* const line : {&node.kind, &node.problem}) {
        std::string const text = visible_text(*line, most_of_rest);
        if (text.empty()) continue;
        out += "<br/>";
        write_text(text, out);
    }
    out += "\")\n";
}

void write_edge(graph_edge const& edge, std::string& out) {
    out.append("  n").append(std::to_string(edge.from)).append(" ").append(look::of(edge.kind).mermaid);
    std::string const label = edge_label(edge);
    if (!label.empty()) {
        out += "|\"";
        write_text(label, out);
        out += "\"|";
    }
    out.append(" n").append(std::to_string(edge.to)).append("\n");
}

void write_classes(workflow_graph const& graph, std::string& out) {
    std::vector<std::size_t> wrong;
    std::vector<std::size_t> added;
    for (std::size_t index = 0; index < graph.nodes.size(); ++index) {
        graph_node const& node = graph.nodes[index];
        if (!node.problem.empty()) {
            wrong.push_back(index);
        } else if (node.is_added) {
            added.push_back(index);
        }
    }
    out.append("  classDef default fill:").append(look::box).append(",stroke:").append(look::faint);
    out.append(",color:").append(look::ink).append("\n");
    out.append("  classDef wrong fill:#ffffff,stroke:").append(look::wrong).append(",stroke-dasharray:5 4,color:");
    out.append(look::wrong).append("\n");
    out.append("  classDef added fill:").append(look::added_box).append(",stroke:").append(look::added);
    out.append(",stroke-width:3px,color:").append(look::ink).append("\n");
    write_class("wrong", wrong, out);
    write_class("added", added, out);
}

void write_class(char const* name, std::vector<std::size_t> const& nodes, std::string& out) {
    if (nodes.empty()) return;
    out += "  class ";
    write_numbers(nodes, "n", out);
    out.append(" ").append(name).append("\n");
}

// Arrows have numbers in the order in which they are written, those of the legend behind all others.
void write_strokes(workflow_graph const& graph, bool legend, std::string& out) {
    std::array<std::vector<std::size_t>, look::arrows.size()> edges;
    std::array<std::vector<std::size_t>, look::arrows.size()> added;
    for (std::size_t index = 0; index < graph.edges.size(); ++index) {
        graph_edge const& edge = graph.edges[index];
        (edge.is_added ? added : edges)[static_cast<std::size_t>(edge.kind)].push_back(index);
    }
    look::used const used(graph);
    std::size_t next = graph.edges.size();
    for (std::size_t kind = 0; kind < look::arrows.size(); ++kind) {
        if (legend && used.arrow[kind]) edges[kind].push_back(next++);
        write_stroke(look::arrows[kind], look::arrows[kind].color, edges[kind], out);
        write_stroke(look::arrows[kind], look::added, added[kind], out);
    }
}

void write_stroke(look::arrow const& arrow, char const* color, std::vector<std::size_t> const& edges,
                  std::string& out) {
    if (edges.empty()) return;
    out += "  linkStyle ";
    write_numbers(edges, "", out);
    out.append(" stroke:").append(color).append(",").append(arrow.mermaid_stroke).append("\n");
}

void write_legend(workflow_graph const& graph, std::string& out) {
    look::used const used(graph);
    std::string rows;
    for (std::size_t kind = 0; kind < look::arrows.size(); ++kind) {
        if (!used.arrow[kind]) continue;
        std::string const box = "    l" + std::to_string(kind);
        rows.append(box).append("a(\" \") ").append(look::arrows[kind].mermaid).append("|\"");
        rows.append(look::arrows[kind].meaning).append("\"|").append(box.substr(3)).append("b(\" \")\n");
    }
    if (used.added) rows += "    ladded(\"added\"):::added\n";
    if (used.wrong) rows += "    lwrong(\"something is wrong\"):::wrong\n";
    if (!rows.empty()) out.append("  subgraph legend [\" \"]\n").append(rows).append("  end\n");
}

void write_numbers(std::vector<std::size_t> const& numbers, char const* prefix, std::string& out) {
    for (std::size_t i = 0; i < numbers.size(); ++i)
        out.append(i == 0 ? "" : ",").append(prefix).append(std::to_string(numbers[i]));
}

void write_text(std::string_view text, std::string& out) {
    for (char const ch : text) {
        if (stands_for_itself(ch)) {
            out += ch;
        } else {
            out.append("#").append(std::to_string(static_cast<unsigned char>(ch))).append(";");
        }
    }
}

bool stands_for_itself(char ch) {
    constexpr std::string_view harmless = " .,/()+=[]-_";
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') ||
           static_cast<unsigned char>(ch) >= 0x80 || harmless.find(ch) != std::string_view::npos;
}

} // namespace

} // namespace kxclientutil
