// What a picture of a workflow looks like, for all languages that it is written in: one table of arrows, one of colours.
#pragma once

#include <kxclientutil/graph.h>

#include <array>
#include <cstddef>

namespace kxclientutil::look {

// Dark enough on white, and no two of them are told apart by the colour alone: lines differ in style and bear words, boxes
// in their borders.
inline constexpr char const* ink = "#24292f";
inline constexpr char const* faint = "#57606a";
inline constexpr char const* box = "#f6f8fa";
inline constexpr char const* wrong = "#b3261e";
inline constexpr char const* added = "#9a6700";
inline constexpr char const* added_box = "#fff4d6";

struct arrow {
    char const* word;    ///< what graph_edge_c_str() gives
    char const* label;   ///< what it bears beside the names of ports; may be empty
    char const* meaning; ///< for the legend
    char const* color;
    char const* dot;            ///< attributes for Graphviz but for the colour
    char const* sample;         ///< a piece of such a line, for the legend
    char const* mermaid;        ///< the arrow in Mermaid
    char const* mermaid_stroke; ///< what a line of it adds to its colour
};

/// By the value of e_graph_edge.
inline constexpr std::array<arrow, 6> arrows = {{
    {"value", "", "an output feeds an input", ink, "style=solid", "━━▶", "-->", "stroke-width:1.5px"},
    {"order", "", "a connection without ports", faint, "style=dashed", "╌╌▶", "-.->", "stroke-width:1.5px"},
    {"success", "on success", "runs when the other has succeeded", "#1a7f37", "style=solid, penwidth=2", "━━▶", "==>",
     "stroke-width:2.5px"},
    {"failure", "on failure", "runs when the other has failed", "#c0262d", "style=dashed, penwidth=2", "╍╍▶", "-.->",
     "stroke-width:2.5px"},
    {"any", "when ended", "runs when the other has ended", "#6639ba", "style=dotted, penwidth=2", "┅┅▶", "-.->",
     "stroke-width:2.5px,stroke-dasharray:2 3"},
    {"stop", "stops", "its end stops the other", "#c0262d", "style=dotted, arrowhead=tee", "┅┅┫", "-.-x",
     "stroke-width:1.5px"},
}};

[[nodiscard]] constexpr arrow const& of(e_graph_edge kind) {
    return arrows[static_cast<std::size_t>(kind)];
}

/// Which kinds of arrows and boxes a picture has, for its legend.
struct used {
    explicit used(workflow_graph const& graph);

    std::array<bool, arrows.size()> arrow{};
    bool added = false;
    bool wrong = false;
};

} // namespace kxclientutil::look
