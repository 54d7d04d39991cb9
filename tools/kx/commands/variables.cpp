#include "../application.h"
#include "commands.h"

#include <kxclientutil/config.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace kx {
namespace {

struct variables_options {
    std::optional<std::string> text;
};

void print_table(application const& app) {
    auto const& variables = kxclientutil::get_variable_map();
    if (app.wants_json) {
        application::print_json(json(variables));
        return;
    }
    std::size_t width = 0;
    for (auto const& [name, uri] : variables)
        width = std::max(width, name.size());
    for (auto const& [name, uri] : variables)
        application::print(fmt::format("{:{}}  {}\n", name, width, uri));
}

// A text from the command line need not be UTF-8.
std::string quoted(std::string const& text) {
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

void print_split(application const& app, std::string const& text) {
    json pieces = json::array();
    auto const list = kxclientutil::get_dollar_variable_list(text);
    for (auto const& element : *list) {
        auto const* const string = kxcore::property_cast<kxcore::property_string>(element.get());
        if (string == nullptr) continue;
        std::string const piece(string->value());
        bool const is_variable = piece.size() > 1 && piece.front() == '$' && piece.back() == '$';
        json entry = {{"text", piece}};
        if (is_variable) entry["uri"] = kxclientutil::get_variable(piece);
        pieces.push_back(std::move(entry));
        if (app.wants_json) continue;
        application::print(is_variable ? fmt::format("variable  {}  {}\n", piece, kxclientutil::get_variable(piece))
                                       : fmt::format("text      {}\n", quoted(piece)));
    }
    if (app.wants_json) application::print_json(pieces);
}

void run(application& app, variables_options const& chosen) {
    app.run_on("", [&] {
        if (chosen.text) {
            print_split(app, *chosen.text);
        } else {
            print_table(app);
        }
    });
}

} // namespace

void add_variables_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<variables_options>();
    auto* const command = parser.add_subcommand(
        "variables", "List the workflow variables, or tell how a text with variables between dollar signs is split");
    command->add_option("TEXT", chosen->text, "For example '$source.filename$_$dynamic.year.YYYY$.mov'");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
