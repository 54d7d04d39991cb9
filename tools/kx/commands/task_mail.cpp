#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct options : task_options {
    std::string username;
    std::string server;
    std::string from;
    std::string to;
    std::string subject;
    std::string body;
};

void run(application& app, options const& chosen) {
    make_task(app, "mail", chosen, [&](auto const& plugins, auto const& extra) {
        bool const logs_in = !chosen.username.empty();
        if (!logs_in) refuse_unused_password_file(chosen.secret);
        auto const password =
            logs_in ? read_password(app, chosen.secret, chosen.username + " at " + chosen.server) : std::string();
        return kxclientutil::get_mail_user_task(chosen.username, password, chosen.server, chosen.from, chosen.to,
                                                chosen.subject, chosen.body, plugins, extra);
    });
}

} // namespace

void add_task_mail_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<options>();
    auto* const command = parser.add_subcommand("mail", "A task that sends a mail, named after its receiver");
    command->add_option("--username", chosen->username, "Who logs in at the server; nobody without it")
        ->type_name("USER");
    command->add_option("--server", chosen->server, "The mail server")->type_name("HOST")->required();
    command->add_option("--from", chosen->from, "The sender's address")->type_name("ADDRESS")->required();
    command->add_option("--to", chosen->to, "The receivers' addresses, a comma between them")
        ->type_name("ADDRESS")
        ->required();
    command->add_option("--subject", chosen->subject, "A text with variables, '$source.name$ is done'")
        ->type_name("TEXT");
    command->add_option("--body", chosen->body, "A text with variables, too")->type_name("TEXT");
    add_task_options(*command, *chosen);
    add_password_option(*command, chosen->secret);
    command->footer("kx variables lists what may stand between dollar signs.\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
