#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct task_transfer_options : task_options {
    std::string dest_dir;
    bool encoder_prefix = false;
};

void run(application& app, task_transfer_options const& chosen) {
    make_task(app, "transfer", chosen, [&](auto const& plugins, auto const& extra) {
        auto const urls = with_given_password(app, chosen.secret, {chosen.dest_dir});
        return kxclientutil::get_transfer_user_task(urls.front(), plugins, extra, chosen.encoder_prefix);
    });
}

} // namespace

void add_task_transfer_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_transfer_options>();
    auto* const command =
        parser.add_subcommand("transfer", "A task that copies what the task before wrote to a folder or a server");
    add_location(*command, "DEST_DIR", chosen->dest_dir,
                 "The folder, a path or URL with a separator at its end; SAS is the folder of the source file");
    command->add_flag("--encoder-prefix", chosen->encoder_prefix,
                      "Name the copy after the encoder and the source file, with a hyphen between them");
    add_task_options(*command, app, *chosen);
    add_password_option(*command, chosen->secret);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
