// Drawings as the real Graphviz reads them: its JSON output tells boxes, arrows and every text that it draws.

#include "graph/label.h"

#include "kxclientutil/graph/graph_fixture.h"
#include "support/scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <random>
#include <set>

namespace {

using kx_test::e_graph_edge;
using kx_test::workflow_graph;
using kxclientutil::graph_to_dot;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// What Graphviz makes of a drawing. The test fails when it has a word to say about it.
json drawn(std::string const& dot) {
    kx_test::scratch_folder const folder;
    auto const in = folder.write("in.dot", dot);
    auto const out = folder.write("out.json", "");
    auto const err = folder.write("err.txt", "");
    std::string const command = "dot -Tjson '" + in + "' -o '" + out + "' 2>'" + err + "'";
    EXPECT_EQ(std::system(command.c_str()), 0)
        << "the package graphviz is needed; " << folder.read("err.txt"); // NOLINT
    EXPECT_EQ(folder.read("err.txt"), "");
    return json::parse(folder.read("out.json"));
}

/// The texts of a box, line by line, or of an arrow.
std::vector<std::string> texts_of(json const& object, char const* draw) {
    std::vector<std::string> texts;
    if (!object.contains(draw)) return texts;
    for (auto const& operation : object[draw])
        if (operation["op"] == "T") texts.push_back(operation["text"]);
    return texts;
}

std::string trimmed(std::string const& text) {
    auto const first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// No attribute but those that we write and those that Graphviz adds itself.
void expect_our_attributes(json const& object) {
    static std::set<std::string> const known = {"_gvid",     "name",      "_draw_",   "_ldraw_",   "_hdraw_",  "color",
                                                "fillcolor", "fontcolor", "fontname", "fontsize",  "height",   "label",
                                                "margin",    "penwidth",  "pos",      "shape",     "style",    "width",
                                                "head",      "tail",      "lp",       "arrowsize", "arrowhead"};
    for (auto const& [key, value] : object.items())
        EXPECT_TRUE(known.contains(key)) << key << ": " << value;
}

class graph_dot : public kx_test::graph_fixture {};

TEST_F(graph_dot, is_drawn_by_graphviz_whatever_the_names_are_and_shows_them) {
    auto const graph = hostile_graph();
    auto const names = kx_test::hostile_names();
    auto const result = drawn(graph_to_dot(graph));
    ASSERT_EQ(result["objects"].size(), graph.nodes.size());
    ASSERT_EQ(result["edges"].size(), graph.edges.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto const& box = result["objects"][i];
        expect_our_attributes(box);
        auto const kind = kxclientutil::visible_text(names[i].name, kxclientutil::most_of_rest);
        EXPECT_THAT(texts_of(box, "_ldraw_"), ElementsAre(names[i].shown, kind));
    }
    for (std::size_t i = 0; i < graph.edges.size(); ++i) {
        auto const& arrow = result["edges"][i];
        expect_our_attributes(arrow);
        EXPECT_EQ(arrow["tail"], i);
        EXPECT_EQ(arrow["head"], i + 1);
        auto const texts = texts_of(arrow, "_ldraw_");
        ASSERT_EQ(texts.size(), 1U);
        EXPECT_EQ(trimmed(texts[0]), kxclientutil::edge_label(graph.edges[i]));
    }
    EXPECT_EQ(result["name"], "workflow");
    EXPECT_THAT(texts_of(result, "_ldraw_"), testing::Contains(graph.name));
}

TEST_F(graph_dot, is_drawn_whatever_bytes_the_names_are_made_of) {
    constexpr std::string_view alphabet = "<>&\"'\\#;|{}[]$%`ab \n\x01\xff\xc3\xa9-/";
    std::mt19937 random(11); // NOLINT(cert-msc51-cpp): the same bytes in every run
    workflow_graph graph;
    for (int i = 0; i < 150; ++i) {
        std::string name(random() % 40, ' ');
        for (char& byte : name)
            byte = random() % 4 == 0 ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
        graph.nodes.push_back({name, name, name, name.substr(name.size() / 2), false, i % 3 == 0});
        if (i > 0)
            graph.edges.push_back(
                {0, static_cast<std::size_t>(i), static_cast<e_graph_edge>(i % 6), name, name, i % 5 == 0});
    }
    auto const result = drawn(graph_to_dot(graph));
    ASSERT_EQ(result["objects"].size(), graph.nodes.size());
    ASSERT_EQ(result["edges"].size(), graph.edges.size());
    for (std::size_t i = 0; i < graph.nodes.size(); ++i) {
        expect_our_attributes(result["objects"][i]);
        EXPECT_EQ(texts_of(result["objects"][i], "_ldraw_").at(0), kxclientutil::node_title(graph.nodes[i]));
    }
}

TEST_F(graph_dot, tells_kinds_of_arrows_apart_by_colour_and_by_style) {
    workflow_graph graph;
    for (auto const* id : {"a", "b"})
        graph.nodes.push_back({id, "", "", "", false, false});
    for (int kind = 0; kind < 6; ++kind)
        graph.edges.push_back({0, 1, static_cast<e_graph_edge>(kind), "", "", false});
    std::set<std::string> looks;
    std::set<std::string> styles;
    auto const result = drawn(graph_to_dot(graph));
    for (auto const& arrow : result["edges"]) {
        looks.insert(arrow["color"].get<std::string>() + arrow["style"].get<std::string>());
        styles.insert(arrow["style"].get<std::string>() + arrow.value("penwidth", "") + arrow.value("arrowhead", "") +
                      arrow.value("label", ""));
    }
    EXPECT_EQ(looks.size(), 6U);
    EXPECT_EQ(styles.size(), 6U); // as on a grey print
}

TEST_F(graph_dot, shows_what_is_wrong_and_what_was_added) {
    workflow_graph graph;
    graph.nodes = {{"a", "A", "mail", "", false, false},
                   {"b", "B", "mail", "", false, true},
                   {"c", "", "", "no such task", true, true}};
    graph.edges = {{0, 1, e_graph_edge::success, "", "", true}, {0, 1, e_graph_edge::success, "", "", false}};
    auto const result = drawn(graph_to_dot(graph));
    auto const& boxes = result["objects"];
    EXPECT_NE(boxes[0]["fillcolor"], boxes[1]["fillcolor"]);
    EXPECT_NE(boxes[0]["penwidth"], boxes[1]["penwidth"]);
    EXPECT_THAT(boxes[2]["style"].get<std::string>(), HasSubstr("dashed"));
    EXPECT_THAT(texts_of(boxes[2], "_ldraw_"), ElementsAre("c", "no such task"));
    EXPECT_NE(result["edges"][0]["color"], result["edges"][1]["color"]);
    EXPECT_EQ(result["edges"][0]["style"], result["edges"][1]["style"]);
}

TEST_F(graph_dot, explains_what_it_has_when_asked_for_a_legend) {
    workflow_graph graph;
    graph.nodes = {{"a", "A", "mail", "", false, false}, {"b", "B", "mail", "unknown plugin", false, true}};
    graph.edges = {{0, 1, e_graph_edge::failure, "", "", false}};
    kxclientutil::graph_drawing with_legend;
    with_legend.legend = true;
    auto const result = drawn(graph_to_dot(graph, with_legend));
    ASSERT_EQ(result["objects"].size(), 3U);
    auto const texts = texts_of(result["objects"][2], "_ldraw_");
    EXPECT_THAT(texts, testing::IsSupersetOf({"runs when the other has failed", "added", "something is wrong"}));
    EXPECT_THAT(texts, Not(testing::Contains("runs when the other has succeeded")));

    graph.nodes.clear();
    graph.edges.clear();
    EXPECT_THAT(graph_to_dot(graph, with_legend), Not(HasSubstr("legend")));
}

TEST_F(graph_dot, draws_a_workflow_without_anything) {
    auto const result = drawn(graph_to_dot({}));
    EXPECT_FALSE(result.contains("objects") && !result["objects"].empty());
}

TEST_F(graph_dot, is_the_same_for_the_same_graph_to_the_byte) {
    EXPECT_EQ(graph_to_dot(hostile_graph()), graph_to_dot(hostile_graph()));
}

TEST_F(graph_dot, looks_like_this) {
    workflow_graph graph;
    graph.nodes = {{"wtid:e#a", "720p", "encoder", "", false, false},
                   {"wtid:u#b", "Server", "upload", "", false, false}};
    graph.edges = {{0, 1, e_graph_edge::value, "dest-url", "source-url", false}};
    auto const dot = graph_to_dot(graph);
    EXPECT_THAT(dot, testing::StartsWith("digraph workflow {\n  graph [rankdir=LR, "));
    EXPECT_THAT(dot, testing::EndsWith(
                         "  n0 [label=<<b>720p</b><br/><font point-size=\"9\" color=\"#57606a\">encoder</font>>];\n"
                         "  n1 [label=<<b>Server</b><br/><font point-size=\"9\" color=\"#57606a\">upload</font>>];\n"
                         "  n0 -> n1 [style=solid, color=\"#24292f\", fontcolor=\"#24292f\", "
                         "label=< dest-url \xE2\x86\x92 source-url >];\n}\n"));
}

TEST_F(graph_dot, holds_no_password) {
    EXPECT_THAT(graph_to_dot(hostile_graph()), Not(HasSubstr("sesame")));
}

} // namespace
