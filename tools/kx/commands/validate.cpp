#include "../application.h"
#include "../document.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxclientutil/validation.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct options {
    std::vector<std::string> files;
};

std::string_view severity_name(kxclientutil::e_problem_severity severity) {
    return severity == kxclientutil::e_problem_severity::error ? "error" : "warning";
}

/// Always the same members, so that nobody has to ask which ones are there; without a place line and column are null.
json to_json(kxclientutil::document_problem const& problem) {
    json out = {{"severity", severity_name(problem.severity)}, {"line", nullptr}, {"column", nullptr}};
    if (problem.line != 0) out.update({{"line", problem.line}, {"column", problem.column}});
    out.update({{"task", problem.task},
                {"path", problem.path},
                {"found", problem.found},
                {"allowed", problem.allowed},
                {"suggestion", problem.suggestion},
                {"what", problem.message()}});
    return out;
}

/// An error that no problem stands for: the file cannot even be looked at.
json to_json(std::string const& error) {
    json out = to_json(kxclientutil::document_problem{.found = error});
    out["what"] = error; // not "found" and then the error
    return out;
}

std::vector<kxclientutil::document_problem> find_problems(application& app, std::string const& file) {
    auto const& installation = app.installation();
    auto problems =
        kxclientutil::find_document_problems(file, installation.get_plugins(), installation.get_constraints());
    // Only now, so that a good document is opened once.
    if (has_errors(problems) && is_job_file(app, file)) {
        static_cast<void>(app.get_log().settle()); // which says that it is no document either
        kxbase::es::arg::raise("a finalized job is no document; see kx original");
    }
    return problems;
}

/// One line per problem, "FILE:LINE:COLUMN: error: ...", as compilers write and editors read it.
void tell(application& app, std::string const& file, std::vector<kxclientutil::document_problem> const& problems) {
    bool const valid = !has_errors(problems);
    if (!valid) app.fail();
    if (app.wants_json) return;
    for (auto const& problem : problems) {
        std::string_view const separator = problem.line == 0 ? ": " : ":";
        application::print(fmt::format("{}{}{}\n", shown(file), separator, on_one_line(problem.to_string())));
    }
    if (valid) application::print(shown(file) + ": valid\n");
}

void run(application& app, options const& chosen) {
    json all = json::array();
    for (auto const& file : chosen.files) {
        auto const add = [&](bool valid, json problems) {
            all.push_back({{"path", without_password(file)}, {"valid", valid}, {"problems", std::move(problems)}});
        };
        bool const done = app.run_on(file, [&] {
            auto const problems = find_problems(app, file);
            json list = json::array();
            for (auto const& problem : problems)
                list.push_back(to_json(problem));
            add(!has_errors(problems), std::move(list));
            tell(app, file, problems);
        });
        if (!done) add(false, json::array({to_json(app.last_error())}));
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
