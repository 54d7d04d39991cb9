#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct task_delete_options : task_options {
    std::string name;
    std::string source;
};

void run(application& app, task_delete_options const& chosen) {
    make_task(app, "delete", chosen, [&](auto const& plugins, auto const& extra) {
        auto const urls = with_given_password(app, chosen.secret, {chosen.source});
        return kxclientutil::get_delete_user_task(chosen.name, urls.front(), plugins, extra);
    });
}

} // namespace

void add_task_delete_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_delete_options>();
    auto* const command = parser.add_subcommand("delete", "A task that deletes a file");
    command->add_option("NAME", chosen->name, "The name of the task")->required()->check(refuse_password_here);
    add_location(*command, "SOURCE", chosen->source, "The file, a path or URL");
    add_task_options(*command, app, *chosen);
    add_password_option(*command, chosen->secret);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
