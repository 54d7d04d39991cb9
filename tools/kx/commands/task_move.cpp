#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct task_move_options : task_options {
    std::string source;
    std::string dest_dir;
};

void run(application& app, task_move_options const& chosen) {
    make_task(app, "move", chosen, [&](auto const& plugins, auto const& extra) {
        auto const urls = with_given_password(app, chosen.secret, {chosen.source, chosen.dest_dir});
        return kxclientutil::get_move_user_task(urls[0], urls[1], plugins, extra);
    });
}

} // namespace

void add_task_move_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_move_options>();
    auto* const command = parser.add_subcommand("move", "A task that moves a file, named after the folder it goes to");
    add_location(*command, "SOURCE", chosen->source, "The file, a path or URL");
    add_location(*command, "DEST_DIR", chosen->dest_dir, "The folder, a path or URL");
    add_task_options(*command, app, *chosen);
    add_password_option(*command, chosen->secret);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
