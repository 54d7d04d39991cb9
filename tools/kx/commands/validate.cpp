#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxclientutil/validation.h>
#include <kxcore/sealed_file.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct validate_options {
    std::vector<std::string> files;
};

std::string_view severity_name(kxclientutil::e_problem_severity severity) {
    return severity == kxclientutil::e_problem_severity::error ? "error" : "warning";
}

/// Always the same members, so that nobody has to ask which ones are there; without a place line and column are null.
json problem_to_json(kxclientutil::document_problem const& problem) {
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

/// An error that no problem stands for: the file cannot even be looked at, or not as a whole.
json error_to_json(std::string const& error) {
    json out = problem_to_json(kxclientutil::document_problem{.found = error});
    out["what"] = error; // not "found" and then the error
    return out;
}

/// What of a file could be looked at.
struct judgement {
    std::vector<kxclientutil::document_problem> problems = {};
    std::string limit_met = {}; ///< what ended the look before anything was found
};

judgement judge(application& app, std::string const& file) {
    auto const& plugins = app.installation().get_plugins();
    auto const& constraints = app.installation().get_constraints();
    judgement found;
    kxbase::buffer content;
    try {
        if (is_preset(file)) return {kxclientutil::find_document_problems(file, plugins, constraints)};
        content = content_of(app, file);
        found.problems = kxclientutil::find_document_problems(content, plugins, constraints);
    } catch (kxbase::es::arg const& error) {
        static_cast<void>(app.get_log().settle()); // which says the same
        return {.limit_met = error.message()};
    }
    if (has_errors(found.problems) && kxcore::is_sealed(content.text())) {
        static_cast<void>(app.get_log().settle()); // which says that it is no document either
        kxbase::es::arg::raise("a finalized job is no document; see kx original");
    }
    return found;
}

bool is_valid(judgement const& found) {
    return found.limit_met.empty() && !has_errors(found.problems);
}

json judgement_to_json(judgement const& found) {
    json list = json::array();
    if (!found.limit_met.empty()) list.push_back(error_to_json(found.limit_met));
    for (auto const& problem : found.problems)
        list.push_back(problem_to_json(problem));
    return list;
}

/// One line per problem, "FILE:LINE:COLUMN: error: ...", as compilers write and editors read it.
void tell(application& app, std::string const& file, judgement const& found) {
    bool const valid = is_valid(found);
    if (!valid) app.fail();
    if (app.wants_json) return;
    if (!found.limit_met.empty())
        application::print(fmt::format("{}: error: {}\n", shown(file), on_one_line(found.limit_met)));
    for (auto const& problem : found.problems) {
        std::string_view const separator = problem.line == 0 ? ": " : ":";
        application::print(fmt::format("{}{}{}\n", shown(file), separator, on_one_line(problem.to_string())));
    }
    if (valid) application::print(shown(file) + ": valid\n");
}

void run(application& app, validate_options const& chosen) {
    json all = json::array();
    for (auto const& file : chosen.files) {
        auto const add = [&](bool valid, json problems) {
            all.push_back({{"path", without_password(file)}, {"valid", valid}, {"problems", std::move(problems)}});
        };
        bool const done = app.run_on(file, [&] {
            auto const found = judge(app, file);
            add(is_valid(found), judgement_to_json(found));
            tell(app, file, found);
        });
        if (!done) add(false, json::array({error_to_json(app.last_error())}));
    }
    if (app.wants_json) application::print_json(all);
}

} // namespace

void add_validate_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<validate_options>();
    auto* const command = parser.add_subcommand("validate", "Tell everything that is wrong with each file");
    auto* const files = command->add_option("FILE", chosen->files, "Documents or presets; - for standard input");
    takes_file_or_stream(files->required(), app);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
