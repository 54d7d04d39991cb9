#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct task_execute_options : task_options {
    std::string script;
    bool content = false;
    bool pre_execute = false;
};

void run(application& app, task_execute_options const& chosen) {
    make_task(app, chosen.pre_execute ? "pre-execute" : "execute", chosen, [&](auto const& plugins, auto const& extra) {
        if (!chosen.content) {
            refuse_unused_password_file(chosen.secret);
            return kxclientutil::get_execute_task_with_path(chosen.script, plugins, extra, chosen.pre_execute);
        }
        auto const urls = with_given_password(app, chosen.secret, {chosen.script});
        return kxclientutil::get_execute_task_with_content(urls.front(), plugins, extra, chosen.pre_execute);
    });
}

} // namespace

void add_task_execute_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_execute_options>();
    auto* const command = parser.add_subcommand("execute", "A task that runs a script");
    command
        ->add_option("SCRIPT", chosen->script, "The script: a path of the node, or with --content one of this machine")
        ->required()
        ->check(refuse_password);
    command->add_flag("--content", chosen->content, "Read the script, a path or URL, and let it travel with the task");
    command->add_flag("--pre", chosen->pre_execute,
                      "Run it after an encoder and before what follows, with the encoder's result as its source");
    add_task_options(*command, app, *chosen);
    add_password_option(*command, chosen->secret);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
