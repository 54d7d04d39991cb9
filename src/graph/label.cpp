#include "graph/label.h"

#include "graph/look.h"

#include <kxbase/text.h>
#include <kxbase/urls.h>
#include <kxbase/utf8.h>

#include <algorithm>

namespace kxclientutil {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::string_view ellipsis = "\xE2\x80\xA6";    // U+2026

std::string one_line(std::string_view text);
std::string shortened(std::string text, std::size_t most);
std::string_view shown_character(std::string_view character);
bool misleads(char32_t code);
std::size_t length_of(unsigned char lead);
char32_t code_of(std::string_view character);
bool is_plain(unsigned char byte);
bool begins_character(char byte);

} // namespace

std::string visible_text(std::string_view text, std::size_t most) {
    // Nearly every text there is.
    if (text.size() <= most && std::ranges::all_of(text, is_plain) && !text.starts_with(' ') && !text.ends_with(' ') &&
        text.find_first_of("@=") == std::string_view::npos)
        return std::string(text);
    return shortened(kxbase::trimmed(one_line(kxbase::url_protected_output(text)), ' '), most);
}

std::string node_title(graph_node const& node) {
    std::string title = visible_text(node.name, most_of_name);
    if (!title.empty()) return title;
    auto const instance = node.id.rfind('#');
    if (instance != std::string::npos) title = visible_text(node.id.substr(instance + 1), most_of_name);
    if (title.empty()) title = visible_text(node.id, most_of_name);
    return title.empty() ? "(no name)" : title;
}

std::string edge_label(graph_edge const& edge) {
    std::string label = visible_text(edge.output, most_of_rest);
    if (!edge.output.empty() || !edge.input.empty()) {
        if (!label.empty()) label += ' ';
        label += "\xE2\x86\x92"; // an arrow to the right
        std::string const input = visible_text(edge.input, most_of_rest);
        if (!input.empty()) label += ' ' + input;
    }
    std::string_view const word = look::of(edge.kind).label;
    if (!word.empty() && !label.empty()) label += ", ";
    return label.append(word);
}

look::used::used(workflow_graph const& graph) {
    for (graph_edge const& edge : graph.edges) {
        arrow[static_cast<std::size_t>(edge.kind)] = true;
        added = added || edge.is_added;
    }
    for (graph_node const& node : graph.nodes) {
        added = added || node.is_added;
        wrong = wrong || !node.problem.empty();
    }
}

namespace {

std::string one_line(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        std::string_view valid = text.substr(0, kxbase::valid_utf8_prefix(text));
        text.remove_prefix(valid.size());
        while (!valid.empty()) {
            auto const length = length_of(static_cast<unsigned char>(valid.front()));
            out += shown_character(valid.substr(0, length));
            valid.remove_prefix(length);
        }
        if (text.empty()) break;
        out += replacement;
        text.remove_prefix(1);
    }
    return out;
}

/// Two thirds of what is kept come from the beginning, the rest from the end, where names of a series differ.
std::string shortened(std::string text, std::size_t most) {
    auto const characters = static_cast<std::size_t>(std::ranges::count_if(text, begins_character));
    if (characters <= most) return text;
    std::size_t const head = most * 2 / 3;
    std::size_t const tail = most - head - 1;
    std::size_t seen = 0;
    std::size_t cut_begin = 0;
    std::size_t cut_end = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!begins_character(text[i])) continue;
        if (seen == head) cut_begin = i;
        if (seen == characters - tail) cut_end = i;
        ++seen;
    }
    return text.replace(cut_begin, cut_end - cut_begin, ellipsis);
}

std::string_view shown_character(std::string_view character) {
    char32_t const code = code_of(character);
    if (code == '\n' || code == '\r' || code == '\t' || code == 0x85 || code == 0x2028 || code == 0x2029) return " ";
    return misleads(code) ? replacement : character;
}

/// Controls, what turns the direction of writing for all that follows, and what XML cannot hold.
bool misleads(char32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x61c || code == 0x200e || code == 0x200f ||
           (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) || code == 0xfeff ||
           (code & 0xfffeU) == 0xfffe;
}

std::size_t length_of(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xe0) return 2;
    return lead < 0xf0 ? 3 : 4;
}

char32_t code_of(std::string_view character) {
    constexpr unsigned char masks[] = {0x7f, 0x1f, 0x0f, 0x07};
    char32_t code = static_cast<unsigned char>(character.front()) & masks[character.size() - 1];
    for (char const byte : character.substr(1))
        code = (code << 6U) | (static_cast<unsigned char>(byte) & 0x3fU);
    return code;
}

bool is_plain(unsigned char byte) {
    return byte >= 0x20 && byte < 0x7f;
}

bool begins_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80;
}

} // namespace

} // namespace kxclientutil
