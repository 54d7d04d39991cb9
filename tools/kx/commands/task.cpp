#include "task.h"

#include "../arguments.h"
#include "../shown.h"
#include "../workflow_file.h"
#include "commands.h"

#include <kxbase/urls.h>

#include <CLI/CLI.hpp>

#include <array>

namespace kx {
namespace {

constexpr std::array kinds = {
    add_task_delete_command, add_task_move_command, add_task_transfer_command, add_task_execute_command,
    add_task_mail_command,   add_task_mbr_command,  add_task_youtube_command,
};

} // namespace

void add_task_options(CLI::App& command, application& app, task_options& options) {
    add_set_option(command, options.document);
    auto* const out = command.add_option("-o,--output", options.document.out, "The task document to write");
    takes_file(out->type_name("FILE")->required(), app);
}

void add_location(CLI::App& command, char const* name, std::string& location, char const* description) {
    command.add_option(name, location, description)->required()->check(refuse_password)->check(refuse_missing_folder);
}

void make_task(application& app, char const* kind, task_options const& options, task_maker const& make) {
    auto const& out = options.document.out;
    kxcore::properties extra(false);
    if (!app.run_on("", [&] { extra = tree_of_settings(app, options.document); })) return;
    app.run_on(out, [&] {
        auto const task = make(app.installation().get_plugins(), extra);
        auto const name = task->get_string_value("name", "");
        write_made_document(
            app, out, kxclientutil::config_task, kxcore::configuration::format_xml, *task,
            std::string(kind) + " task " + in_quotes(name),
            {{"plugin-id", task->get_string_value("plugin-id")}, {"name", kxbase::without_url_secrets(name)}});
    });
}

void add_task_command(CLI::App& parser, application& app) {
    auto* const command = parser.add_subcommand("task", "Make a ready-made task");
    for (auto const add : kinds)
        add(*command, app);
    command->require_subcommand(0, 1);
    command->footer(
        "Passwords never stand on the command line: they come from --password-file or from KX_PASSWORD of the "
        "environment. Those of mail and of the video site are else asked for, those of URLs are not.\n\nExamples:\n"
        "  kx task transfer ftp://ftp.example.com/web/ -o web.xml\n"
        "  kx task mail --server mail.example.com --from encoding@example.com --to desk@example.com \\\n"
        "    --subject '$source.name$ is online' -o mail.xml\n");
    command->callback([command] {
        if (command->get_subcommands().empty()) throw CLI::RequiredError("A kind of task");
    });
}

} // namespace kx
