#include "config/schema_page.h"

#include <kxcore/constraint_db.h>
#include <kxcore/xml_writer.h>

#include <array>
#include <set>

namespace kxclientutil {

namespace {

using kxcore::xml::writer;

constexpr std::string_view style = R"(
body { font-family: sans-serif; max-width: 70em; margin: 2em auto; padding: 0 1em; line-height: 1.4; }
table { border-collapse: collapse; margin: 0.3em 0; }
td, th { border: 1px solid #bbb; padding: 0.2em 0.6em; text-align: left; vertical-align: top; }
code, pre { background: #f2f2f2; }
pre { padding: 0.6em; }
.db_required { color: #555; }
)";

struct written_kind {
    std::string_view kind;
    std::string_view example;
};

constexpr std::array written_kinds = {
    written_kind{"a string", R"(<string key="name">News</string>)"},
    written_kind{"a bool", R"(<bool key="enabled">true</bool>)"},
    written_kind{"an int", R"(<int key="priority">5</int>)"},
    written_kind{"a binary value", R"(<binary key="thumbnail">BASE64</binary>)"},
    written_kind{"a tree", R"(<properties key="ext-meta">MEMBERS</properties>)"},
    written_kind{"a list", R"(<list key="tasks">ELEMENTS, WITHOUT KEYS</list>)"},
    written_kind{"a constraint", R"(<constraint key="requirements">MEMBERS</constraint>)"},
    written_kind{"a value that is filled in later",
                 R"(<special key="source-url" type="deferred" sub-type="plain" kind="string"/>)"},
};

void write_head(writer& out, std::string const& title);
void write_introduction(writer& out, std::span<document_type const* const> types);
void write_written_kinds(writer& out);
void write_plugins(writer& out, std::span<configured_plugin const> plugins, std::set<std::string>& documented);
std::string identifiers(std::span<document_type const* const> types, std::string_view between);
std::string rendered(std::string_view page);

} // namespace

void write_schema_page(std::span<document_type const* const> types, kxcore::constraint_db const& constraint,
                       std::span<configured_plugin const> plugins, std::string& out) {
    std::string page;
    writer html(page, 0);
    html.start_node("html", {{"xmlns", "http://www.w3.org/1999/xhtml"}, {"lang", "en"}});
    write_head(html,
               "Documents of the type " + identifiers(types, ", ") + ", version " + std::to_string(current_version));
    html.start_node("body");
    write_introduction(html, types);
    html.text_node("h2", "Members");
    std::set<std::string> documented;
    html.start_node("div");
    constraint.to_documentation_html_xmlrpc(html, documented);
    html.end_node();
    write_plugins(html, plugins, documented);
    write_written_kinds(html);
    html.end_node();
    html.end_node();
    out += "<!DOCTYPE html>\n" + rendered(page) + '\n';
}

namespace {

void write_head(writer& out, std::string const& title) {
    out.start_node("head");
    out.empty_node("meta", "charset", "UTF-8");
    out.text_node("title", title);
    out.text_node("style", style);
    out.end_node();
}

void write_introduction(writer& out, std::span<document_type const* const> types) {
    out.text_node("h1", "Documents of the type " + identifiers(types, ", "));
    out.text_node("p", "A document is a tree of named values. This is its frame:");
    out.text_node("pre", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<document identifier=\"" +
                             identifiers(types, "|") + "\" version=\"" + std::to_string(current_version) +
                             "\">\n  MEMBERS, IN THE ORDER OF THEIR KEYS\n</document>");
    out.text_node("p",
                  "The table names the members, says which of them are required, and what each may be. In place of "
                  "any value may stand one that is filled in later. How the kinds of values are written is shown "
                  "at the end.");
}

void write_plugins(writer& out, std::span<configured_plugin const> plugins, std::set<std::string>& documented) {
    if (plugins.empty()) return;
    out.text_node("h2", "Configurations");
    out.text_node("p", "What a configuration may hold depends on the plugin that is named beside it.");
    for (configured_plugin const& plugin : plugins) {
        out.text_node("h3", plugin.title.empty() ? plugin.id : plugin.title + " (" + plugin.id + ')');
        if (!plugin.description.empty()) out.text_node("p", plugin.description);
        out.start_node("div");
        if (plugin.configuration)
            plugin.configuration->to_documentation_html_xmlrpc(out, documented);
        else
            out.append("Any tree");
        out.end_node();
    }
}

void write_written_kinds(writer& out) {
    out.text_node("h2", "How values are written");
    out.start_node("table");
    for (written_kind const& each : written_kinds) {
        out.start_node("tr");
        out.text_node("td", each.kind);
        out.start_node("td");
        out.text_node("code", each.example);
        out.end_node();
        out.end_node();
    }
    out.end_node();
}

std::string identifiers(std::span<document_type const* const> types, std::string_view between) {
    std::string text;
    for (document_type const* each : types) {
        if (!text.empty()) text += between;
        text += each->identifier;
    }
    return text;
}

/// Constraints mark literal texts by "!S!" and "!SE!", which become code here. And what XML may write as one tag without
/// content, HTML wants as two.
std::string rendered(std::string_view page) {
    constexpr std::string_view begin = "!S!";
    constexpr std::string_view end = "!SE!";
    std::string out;
    while (!page.empty()) {
        if (page.starts_with(begin)) {
            // The text is escaped, so the next tag begins with the next angle bracket.
            std::string_view const inside = page.substr(begin.size(), page.find('<') - begin.size());
            if (std::size_t const length = inside.rfind(end); length != std::string_view::npos) {
                out.append("<code>").append(inside.substr(0, length)).append("</code>");
                page.remove_prefix(begin.size() + length + end.size());
                continue;
            }
        }
        if (page.front() == '<') {
            std::string_view const tag = page.substr(0, page.find('>') + 1);
            std::string_view const name = tag.substr(1, tag.find_first_of(" />", 1) - 1);
            if (tag.ends_with("/>") && name != "meta")
                out.append(tag.substr(0, tag.size() - 2)).append("></").append(name).append(">");
            else
                out += tag;
            page.remove_prefix(tag.size());
            continue;
        }
        out += page.front();
        page.remove_prefix(1);
    }
    return out;
}

} // namespace

} // namespace kxclientutil
