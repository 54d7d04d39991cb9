#include "task.h"

#include <kxclientutil/user_task.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>

#include <CLI/CLI.hpp>

#include <optional>

namespace kx {
namespace {

struct task_mail_options : task_options {
    std::string username;
    std::string server;
    std::string from;
    std::string to;
    std::optional<std::string> subject;
    std::optional<std::string> body;
};

// A text that nobody gave is left to the plugin, as all other settings are; the ready-made task would have it empty.
kxcore::properties with_default_texts(task_mail_options const& chosen, kxcore::plugin_db const& plugins,
                                      kxcore::properties const& extra) {
    kxcore::properties settings(false);
    if (auto const plugin = plugins.describe_plugin("task/regular/mail/1.0")) {
        auto const defaults = plugin->get_default_configuration();
        if (!chosen.subject) settings.set_property("subject", defaults->get_property("subject"));
        if (!chosen.body) settings.set_property("body", defaults->get_property("body"));
    }
    settings.merge_properties(extra);
    return settings;
}

void run(application& app, task_mail_options const& chosen) {
    make_task(app, "mail", chosen, [&](auto const& plugins, auto const& extra) {
        bool const logs_in = !chosen.username.empty();
        if (!logs_in) refuse_unused_password_file(chosen.secret);
        auto const password =
            logs_in ? read_password(app, chosen.secret, {chosen.username, chosen.server}) : std::string();
        return kxclientutil::get_mail_user_task(chosen.username, password, chosen.server, chosen.from, chosen.to,
                                                chosen.subject.value_or(""), chosen.body.value_or(""), plugins,
                                                with_default_texts(chosen, plugins, extra));
    });
}

} // namespace

void add_task_mail_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_mail_options>();
    auto* const command = parser.add_subcommand("mail", "A task that sends a mail, named after its receiver");
    command->add_option("--username", chosen->username, "Who logs in at the server; nobody without it")
        ->type_name("USER");
    command->add_option("--server", chosen->server, "The mail server")->type_name("HOST")->required();
    command->add_option("--from", chosen->from, "The sender's address")->type_name("ADDRESS")->required();
    command->add_option("--to", chosen->to, "The receivers' addresses, a comma between them")
        ->type_name("ADDRESS")
        ->required();
    command
        ->add_option("--subject", chosen->subject,
                     "A text with variables, '$source.name$ is done'; without it that of the plugin")
        ->type_name("TEXT");
    command->add_option("--body", chosen->body, "A text with variables, too")->type_name("TEXT");
    add_task_options(*command, app, *chosen);
    add_password_option(*command, chosen->secret);
    command->footer("kx variables lists what may stand between dollar signs.\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
