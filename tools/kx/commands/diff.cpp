#include "../application.h"
#include "../arguments.h"
#include "../difference.h"
#include "../document.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/errors.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct diff_options {
    std::string before;
    std::string after;
    bool whole = false;
};

json list_to_json(std::vector<difference> const& differences) {
    json lines = json::array();
    for (auto const& each : differences)
        lines.push_back(to_json(each));
    return lines;
}

void tell(application const& app, diff_options const& chosen, std::vector<difference> const& differences) {
    if (app.wants_json) {
        application::print_json(json{{"before", without_password(chosen.before)},
                                     {"after", without_password(chosen.after)},
                                     {"equal", differences.empty()},
                                     {"differences", list_to_json(differences)}});
        return;
    }
    for (auto const& each : differences)
        application::print(to_line(each) + '\n');
}

// A workflow is compared with the workflow of a submission or a job, where it is a part.
void take_common_part(document& left, document& right) {
    for (auto* const each : {&left, &right}) {
        auto const& other = each == &left ? right : left;
        if (other.config_type != kxclientutil::config_workflow || each->config_type == kxclientutil::config_workflow)
            continue;
        auto const* const workflow = kxcore::property_cast<kxcore::properties>(each->tree.find("workflow"));
        if (workflow == nullptr) continue;
        each->tree = kxcore::properties(*workflow);
        each->config_type = kxclientutil::config_workflow;
    }
}

// A job is no document and has no type; what is in it tells it from every other.
bool are_of_different_types(document const& before, document const& after) {
    return before.config_type != after.config_type && before.config_type != kxclientutil::config_unknown &&
           after.config_type != kxclientutil::config_unknown;
}

void compare(application& app, diff_options const& chosen, document& before, document& after) {
    take_common_part(before, after);
    auto differences = differences_of(before.tree, after.tree, chosen.whole);
    if (are_of_different_types(before, after))
        differences.insert(differences.begin(), difference_of_types(before.type, after.type));
    tell(app, chosen, differences);
    if (!differences.empty()) app.fail();
}

void run(application& app, diff_options const& chosen) {
    document before;
    document after;
    bool const is_read = app.run_on(chosen.before, [&] { before = read_document(app, chosen.before); });
    if (!app.run_on(chosen.after, [&] { after = read_document(app, chosen.after); }) || !is_read) return;
    app.run_on(chosen.after, [&] { compare(app, chosen, before, after); });
}

} // namespace

void add_diff_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<diff_options>();
    auto* const command = parser.add_subcommand("diff", "Compare two documents or jobs, member by member");
    takes_file(command->add_option("A", chosen->before, "A document, a preset or a job file")->required(), app);
    takes_file(command->add_option("B", chosen->after, "Another one")->required(), app);
    command->add_flag("--whole", chosen->whole, "Show all of a tree or list that only one of them has, line by line");
    command->footer(
        "A line for each difference: + only in B, - only in A, ~ in both, with the value of A and that of B. Lists are "
        "compared by index, documents as they are read, whatever version and format they are stored in. That two "
        "documents are of different types is a difference too. A workflow is compared with the workflow of a "
        "submission or a job, and of two jobs the submissions inside count as one value.\n\n"
        "The exit code is 0 when there is no difference, 1 when there is one or a file cannot be read, which is then "
        "told on standard error.\n\nExamples:\n  kx diff old.xml new.xml\n  kx diff news.xml news.job\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
