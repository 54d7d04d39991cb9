#include "graph/label.h"

#include "kxclientutil/graph/graph_fixture.h"

#include <kxbase/utf8.h>

#include <gtest/gtest.h>

#include <random>

namespace {

using kx_test::e_graph_edge;
using kxclientutil::edge_label;
using kxclientutil::node_title;
using kxclientutil::visible_text;

TEST(graph_label, shows_texts_on_one_line_without_what_misleads) {
    for (auto const& each : kx_test::hostile_names())
        EXPECT_EQ(visible_text(each.name, kxclientutil::most_of_name), each.shown) << each.name;
}

TEST(graph_label, keeps_beginning_and_end_of_a_long_text_by_characters) {
    EXPECT_EQ(visible_text("0123456789", 10), "0123456789");
    EXPECT_EQ(visible_text("0123456789A", 10), "012345\xE2\x80\xA6"
                                               "89A");
    std::string umlauts;
    for (int i = 0; i < 11; ++i)
        umlauts += "\xC3\xBC";
    EXPECT_EQ(visible_text(umlauts, 11), umlauts);
    auto const shortened = visible_text(umlauts, 10);
    EXPECT_TRUE(kxbase::is_valid_utf8(shortened));
    EXPECT_EQ(shortened, umlauts.substr(0, 12) + "\xE2\x80\xA6" + umlauts.substr(0, 6));
}

TEST(graph_label, gives_short_utf8_for_any_bytes) {
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same bytes in every run
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(random() % 200, ' ');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        auto const shown = visible_text(bytes, 20);
        ASSERT_TRUE(kxbase::is_valid_utf8(shown));
        ASSERT_LE(std::ranges::count_if(shown, [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80; }),
                  20);
        ASSERT_EQ(shown.find('\n'), std::string::npos);
    }
}

TEST(graph_label, names_a_box_by_what_there_is) {
    auto const title = [](char const* id, char const* name) { return node_title({id, name, "", "", false, false}); };
    EXPECT_EQ(title("wtid:p#a", "Name"), "Name");
    EXPECT_EQ(title("wtid:p#a", ""), "a");
    EXPECT_EQ(title("wtid:p#a", " \n"), "a");
    EXPECT_EQ(title("wtid:p#", ""), "wtid:p#");
    EXPECT_EQ(title("x", ""), "x");
    EXPECT_EQ(title("", ""), "(no name)");
}

TEST(graph_label, names_ports_and_results) {
    auto const label = [](e_graph_edge kind, char const* output, char const* input) {
        return edge_label({0, 1, kind, output, input, false});
    };
    EXPECT_EQ(label(e_graph_edge::value, "dest-url", "source-url"), "dest-url \xE2\x86\x92 source-url");
    EXPECT_EQ(label(e_graph_edge::order, "dest-url", ""), "dest-url \xE2\x86\x92");
    EXPECT_EQ(label(e_graph_edge::order, "", "source-url"), "\xE2\x86\x92 source-url");
    EXPECT_EQ(label(e_graph_edge::order, "", ""), "");
    EXPECT_EQ(label(e_graph_edge::success, "", ""), "on success");
    EXPECT_EQ(label(e_graph_edge::failure, "out", ""), "out \xE2\x86\x92, on failure");
    EXPECT_EQ(label(e_graph_edge::any, "", ""), "when ended");
    EXPECT_EQ(label(e_graph_edge::stop, "", ""), "stops");
}

} // namespace
