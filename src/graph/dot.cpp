#include "graph/label.h"
#include "graph/look.h"

#include <kxclientutil/graph.h>

namespace kxclientutil {

namespace {

// Texts stand in Graphviz's labels of markup, where the characters below are all that has a meaning; the names of boxes
// are ours ("n7"), so that nothing of a document stands anywhere else.

constexpr std::size_t room_for_head = 1024;
constexpr std::size_t room_for_node = 128;
constexpr std::size_t room_for_edge = 192;

void write_head(workflow_graph const& graph, std::string& out);
void write_node(graph_node const& node, std::size_t index, std::string& out);
void write_edge(graph_edge const& edge, std::string& out);
void write_legend(workflow_graph const& graph, std::string& out);
void write_legend_row(char const* color, std::string_view sample, std::string_view meaning, std::string& out);
void write_small(std::string_view text, char const* color, std::string& out);
void write_text(std::string_view text, std::string& out);

} // namespace

std::string graph_to_dot(workflow_graph const& graph, graph_drawing const& drawing) {
    std::string out;
    out.reserve(room_for_head + graph.nodes.size() * room_for_node + graph.edges.size() * room_for_edge);
    write_head(graph, out);
    for (std::size_t index = 0; index < graph.nodes.size(); ++index)
        write_node(graph.nodes[index], index, out);
    for (graph_edge const& edge : graph.edges)
        write_edge(edge, out);
    if (drawing.legend) write_legend(graph, out);
    out += "}\n";
    return out;
}

namespace {

void write_head(workflow_graph const& graph, std::string& out) {
    constexpr char const* font = "fontname=\"Helvetica,Arial,sans-serif\"";
    out += "digraph workflow {\n  graph [rankdir=LR, nodesep=0.35, ranksep=0.7, pad=0.2, ";
    out += font;
    std::string const title = visible_text(graph.name, most_of_name);
    if (!title.empty()) {
        out += ", fontsize=14, labelloc=t, label=<<b>";
        write_text(title, out);
        out += "</b><br/> >";
    }
    out += "];\n";
    out += R"(  node [shape=box, style="rounded,filled", margin="0.18,0.1", fontsize=11, penwidth=1.2, )";
    out += font;
    out.append(", color=\"").append(look::faint).append("\", fillcolor=\"").append(look::box);
    out.append("\", fontcolor=\"").append(look::ink).append("\"];\n  edge [arrowsize=0.7, fontsize=8, ").append(font);
    out += "];\n";
}

void write_node(graph_node const& node, std::size_t index, std::string& out) {
    out.append("  n").append(std::to_string(index)).append(" [label=<<b>");
    write_text(node_title(node), out);
    out += "</b>";
    std::string const kind = visible_text(node.kind, most_of_rest);
    if (!kind.empty()) write_small(kind, look::faint, out);
    if (!node.problem.empty()) write_small(visible_text(node.problem, most_of_rest), look::wrong, out);
    out += '>';
    if (!node.problem.empty()) {
        out.append(R"(, style="rounded,dashed,filled", fillcolor=white, color=")").append(look::wrong).append("\"");
    } else if (node.is_added) {
        out.append(", penwidth=2.4, fillcolor=\"").append(look::added_box).append("\", color=\"");
        out.append(look::added).append("\"");
    }
    out += "];\n";
}

void write_edge(graph_edge const& edge, std::string& out) {
    look::arrow const& arrow = look::of(edge.kind);
    out.append("  n").append(std::to_string(edge.from)).append(" -> n").append(std::to_string(edge.to));
    out.append(" [").append(arrow.dot).append(", color=\"").append(edge.is_added ? look::added : arrow.color);
    out += '"';
    std::string const label = edge_label(edge);
    if (!label.empty()) {
        out.append(", fontcolor=\"").append(arrow.color).append("\", label=< ");
        write_text(label, out);
        out += " >";
    }
    out += "];\n";
}

void write_legend(workflow_graph const& graph, std::string& out) {
    look::used const used(graph);
    std::string rows;
    for (std::size_t kind = 0; kind < look::arrows.size(); ++kind) {
        look::arrow const& arrow = look::arrows[kind];
        if (used.arrow[kind]) write_legend_row(arrow.color, arrow.sample, arrow.meaning, rows);
    }
    if (used.added) write_legend_row(look::added, "\xE2\x96\xA0", "added", rows);
    if (used.wrong) write_legend_row(look::wrong, "\xE2\x96\xA1", "something is wrong", rows);
    if (rows.empty()) return;
    out +=
        R"(  legend [shape=plain, style="", label=<<table border="0" cellborder="0" cellspacing="0" cellpadding="2">)";
    out += '\n';
    out += rows;
    out += "    </table>>];\n";
}

void write_legend_row(char const* color, std::string_view sample, std::string_view meaning, std::string& out) {
    out.append(R"(    <tr><td align="left"><font point-size="9" color=")").append(color).append("\">").append(sample);
    out.append(R"(</font></td><td align="left"><font point-size="9">)").append(meaning);
    out.append("</font></td></tr>\n");
}

void write_small(std::string_view text, char const* color, std::string& out) {
    out.append(R"(<br/><font point-size="9" color=")").append(color).append("\">");
    write_text(text, out);
    out += "</font>";
}

void write_text(std::string_view text, std::string& out) {
    for (char const ch : text) {
        switch (ch) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        // Also in markup "\N" is the name of the box, and "\G" that of the graph.
        case '\\': out += "\\\\"; break;
        default: out += ch;
        }
    }
}

} // namespace

} // namespace kxclientutil
