#include "../application.h"
#include "../arguments.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/buffer.h>
#include <kxbase/urls.h>
#include <kxclientutil/schema.h>
#include <kxcore/ioutil.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <array>

namespace kx {
namespace {

using kxclientutil::e_schema_form;

struct form_option {
    char const* name;
    e_schema_form form;
    char const* description;
};

constexpr std::array form_options = {
    form_option{"rng", e_schema_form::rng, "A RELAX NG grammar (what is written without any of these)"},
    form_option{"xsd", e_schema_form::xsd, "An XML Schema 1.0, which says less"},
    form_option{"html", e_schema_form::html, "A page for people"},
};

struct schema_options {
    std::string type;
    std::string out;
    std::array<bool, form_options.size()> wants_form{};
};

void list_types() {
    for (auto const& each : kxclientutil::schema_types())
        application::print(fmt::format("{:<16}{}\n", each.identifier, each.constraint));
}

json types_as_json() {
    json all = json::array();
    for (auto const& each : kxclientutil::schema_types())
        all.push_back({{"type", each.identifier}, {"constraint", each.constraint}});
    return all;
}

void write_file(application& app, std::string const& file, std::string_view text) {
    kxbase::buffer content;
    content.append(text);
    kxcore::ioutil::set_file_content(kxbase::url_create_from_url_or_path(file, ""), content,
                                     app.installation().get_plugins());
}

void write(application& app, schema_options const& chosen, form_option const& form) {
    auto const& installation = app.installation();
    std::string text;
    bool const done = app.run_on("", [&] {
        kxclientutil::write_schema(chosen.type, form.form, installation.get_constraints(), installation.get_plugins(),
                                   text);
    });
    if (!done) return;
    if (chosen.out.empty()) {
        if (app.wants_json)
            application::print_json({{"type", chosen.type}, {"form", form.name}, {"schema", text}});
        else
            application::print(text);
        return;
    }
    app.run_on(chosen.out, [&] {
        write_file(app, chosen.out, text);
        if (app.wants_json)
            application::print_json(
                {{"path", without_password(chosen.out)}, {"type", chosen.type}, {"form", form.name}});
        else
            application::print(fmt::format("{}: {}, {}\n", shown(chosen.out), shown(chosen.type), form.name));
    });
}

void run(application& app, schema_options const& chosen) {
    if (chosen.type.empty()) {
        if (app.wants_json)
            application::print_json(types_as_json());
        else
            list_types();
        return;
    }
    auto const wanted = std::ranges::find(chosen.wants_form, true);
    auto const index = wanted == chosen.wants_form.end() ? 0 : wanted - chosen.wants_form.begin();
    write(app, chosen, form_options[static_cast<std::size_t>(index)]);
}

} // namespace

void add_schema_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<schema_options>();
    auto* const command = parser.add_subcommand("schema", "Write what documents of a type may hold, as a schema");
    auto* const type = command->add_option(
        "TYPE", chosen->type, R"(A type ("workflow") or its constraint ("node.workflow"); without it all are listed)");
    auto* const forms = command->add_option_group("form", "At most one of");
    for (std::size_t i = 0; i < form_options.size(); ++i)
        forms->add_flag(fmt::format("--{}", form_options[i].name), chosen->wants_form[i], form_options[i].description)
            ->needs(type);
    forms->require_option(0, 1);
    auto* const out =
        command->add_option("-o,--output", chosen->out, "Write it to this file instead of standard output");
    takes_file(out->needs(type), app);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
