#include "../application.h"
#include "../document.h"
#include "../shown.h"
#include "commands.h"

#include <kxclientutil/validation.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct options {
    std::vector<std::string> files;
};

std::string place_of(kxclientutil::document_problem const& problem) {
    return problem.line == 0 ? "" : fmt::format("{}:{}: ", problem.line, problem.column);
}

json to_json(kxclientutil::document_problem const& problem) {
    json out = {{"path", problem.path}, {"what", problem.what}};
    if (problem.line != 0) out.update({{"line", problem.line}, {"column", problem.column}});
    return out;
}

void tell(application& app, std::string const& file, std::vector<kxclientutil::document_problem> const& problems) {
    if (problems.empty()) {
        if (!app.wants_json) application::print(shown(file) + ": valid\n");
        return;
    }
    app.fail();
    if (app.wants_json) return;
    for (auto const& problem : problems) {
        application::print(fmt::format("{}: {}{}\n", shown(file), place_of(problem), on_one_line(problem.what)));
    }
}

void run(application& app, options const& chosen) {
    json all = json::array();
    for (auto const& file : chosen.files) {
        auto const add = [&](bool valid, json problems) {
            all.push_back({{"path", without_password(file)}, {"valid", valid}, {"problems", std::move(problems)}});
        };
        bool const done = app.run_on(file, [&] {
            auto const& installation = app.installation();
            auto const problems =
                kxclientutil::find_document_problems(file, installation.get_plugins(), installation.get_constraints());
            json list = json::array();
            for (auto const& problem : problems)
                list.push_back(to_json(problem));
            add(problems.empty(), std::move(list));
            tell(app, file, problems);
        });
        if (!done) add(false, json::array({{{"path", ""}, {"what", app.last_error()}}}));
    }
    if (app.wants_json) application::print_json(all);
}

} // namespace

void add_validate_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<options>();
    auto* const command = parser.add_subcommand("validate", "Tell everything that is wrong with each file");
    command->add_option("FILE", chosen->files, "Documents or presets")->required();
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
