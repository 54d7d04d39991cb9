// Mermaid itself runs in browsers alone, so what is written is held to a grammar that is narrower than its own.

#include "graph/label.h"

#include "kxclientutil/graph/graph_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <sstream>

namespace {

using kx_test::e_graph_edge;
using kx_test::workflow_graph;
using kxclientutil::graph_to_mermaid;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> lines_of(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/// Texts hold no ASCII but these, and character numbers.
#define KX_TEXT R"((?:[A-Za-z0-9 .,/()+=\[\]_\x80-\xff-]|#[0-9]+;)*)"

struct counted {
    std::size_t boxes = 0;
    std::size_t arrows = 0;
    std::vector<std::string> titles;
};

/// Fails the test at a line of any other form.
counted parsed(std::string const& mermaid) {
    std::regex const box("  n([0-9]+)\\(\"<b>(" KX_TEXT ")</b>((?:<br/>" KX_TEXT ")*)\"\\)");
    std::regex const arrow(R"re(  n[0-9]+ (-->|-\.->|==>|-\.-x)(\|")re" KX_TEXT R"re("\|)? n[0-9]+)re");
    std::regex const style("  (classDef|class|linkStyle) [-A-Za-z0-9,:# .]*");
    counted found;
    auto const lines = lines_of(mermaid);
    EXPECT_EQ(lines.at(0), "flowchart LR");
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::smatch match;
        if (std::regex_match(lines[i], match, box)) {
            EXPECT_EQ(match[1], std::to_string(found.boxes++));
            found.titles.push_back(match[2]);
        } else if (std::regex_match(lines[i], arrow)) {
            ++found.arrows;
        } else {
            EXPECT_TRUE(std::regex_match(lines[i], style)) << lines[i];
        }
    }
    return found;
}

#undef KX_TEXT

/// The text with its character numbers turned back.
std::string decoded(std::string const& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '#') {
            out += text[i];
            continue;
        }
        auto const end = text.find(';', i);
        out += static_cast<char>(std::stoi(text.substr(i + 1, end - i - 1)));
        i = end;
    }
    return out;
}

class graph_mermaid : public kx_test::graph_fixture {};

TEST_F(graph_mermaid, keeps_its_grammar_whatever_the_names_are) {
    auto const graph = hostile_graph();
    auto const found = parsed(graph_to_mermaid(graph));
    EXPECT_EQ(found.boxes, graph.nodes.size());
    EXPECT_EQ(found.arrows, graph.edges.size());
    auto const names = kx_test::hostile_names();
    ASSERT_EQ(found.titles.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(decoded(found.titles[i]), names[i].shown);
}

TEST_F(graph_mermaid, keeps_its_grammar_whatever_bytes_the_names_are_made_of) {
    std::mt19937 random(13); // NOLINT(cert-msc51-cpp): the same bytes in every run
    workflow_graph graph;
    for (std::size_t i = 0; i < 500; ++i) {
        std::string name(random() % 30, ' ');
        for (char& byte : name)
            byte = static_cast<char>(random());
        graph.nodes.push_back({name, name, name, name, false, false});
        graph.edges.push_back({i, i, static_cast<e_graph_edge>(i % 6), name, name, i % 2 == 0});
    }
    auto const found = parsed(graph_to_mermaid(graph));
    EXPECT_EQ(found.boxes, graph.nodes.size());
    EXPECT_EQ(found.arrows, graph.edges.size());
}

TEST_F(graph_mermaid, looks_like_this) {
    workflow_graph graph;
    graph.nodes = {{"wtid:e#a", "720p", "encoder", "", false, false},
                   {"wtid:u#b", "Server", "upload", "", false, true},
                   {"wtid:p#gone", "", "", "no such task", true, false}};
    graph.edges = {{0, 1, e_graph_edge::value, "dest-url", "source-url", false},
                   {1, 2, e_graph_edge::failure, "", "", false},
                   {0, 2, e_graph_edge::order, "", "", true}};
    EXPECT_THAT(lines_of(graph_to_mermaid(graph)),
                ElementsAre("flowchart LR", R"(  n0("<b>720p</b><br/>encoder"))", R"(  n1("<b>Server</b><br/>upload"))",
                            R"(  n2("<b>gone</b><br/>no such task"))",
                            "  n0 -->|\"dest-url \xE2\x86\x92 source-url\"| n1", R"(  n1 -.->|"on failure"| n2)",
                            "  n0 -.-> n2", "  classDef default fill:#f6f8fa,stroke:#57606a,color:#24292f",
                            "  classDef wrong fill:#ffffff,stroke:#b3261e,stroke-dasharray:5 4,color:#b3261e",
                            "  classDef added fill:#fff4d6,stroke:#9a6700,stroke-width:3px,color:#24292f",
                            "  class n2 wrong", "  class n1 added", "  linkStyle 0 stroke:#24292f,stroke-width:1.5px",
                            "  linkStyle 2 stroke:#9a6700,stroke-width:1.5px",
                            "  linkStyle 1 stroke:#c0262d,stroke-width:2.5px"));
}

TEST_F(graph_mermaid, explains_what_it_has_when_asked_for_a_legend) {
    workflow_graph graph;
    graph.nodes = {{"a", "A", "mail", "", false, false}, {"b", "B", "mail", "", false, true}};
    graph.edges = {{0, 1, e_graph_edge::success, "", "", false}};
    kxclientutil::graph_drawing with_legend;
    with_legend.legend = true;
    auto const mermaid = graph_to_mermaid(graph, with_legend);
    EXPECT_THAT(mermaid, HasSubstr("  subgraph legend [\" \"]\n"
                                   "    l2a(\" \") ==>|\"runs when the other has succeeded\"| l2b(\" \")\n"
                                   "    ladded(\"added\"):::added\n  end\n"));
    // The arrow of the legend is the second one of all.
    EXPECT_THAT(mermaid, HasSubstr("  linkStyle 0,1 stroke:#1a7f37"));
    EXPECT_THAT(graph_to_mermaid({}, with_legend), Not(HasSubstr("legend")));
}

TEST_F(graph_mermaid, is_the_same_for_the_same_graph_and_holds_no_password) {
    EXPECT_EQ(graph_to_mermaid(hostile_graph()), graph_to_mermaid(hostile_graph()));
    EXPECT_THAT(graph_to_mermaid(hostile_graph()), Not(HasSubstr("sesame")));
}

} // namespace
