#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct task_mbr_options : task_options {
    std::string package_type;
};

void run(application& app, task_mbr_options const& chosen) {
    make_task(app, "mbr", chosen, [&](auto const& plugins, auto const& extra) {
        return kxclientutil::get_mbr_user_task(chosen.package_type, plugins, extra);
    });
}

} // namespace

void add_task_mbr_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_mbr_options>();
    auto* const command =
        parser.add_subcommand("mbr", "A task that packages what encoders wrote as one multi-bit-rate stream");
    command->add_option("PACKAGE_TYPE", chosen->package_type, "A type that the plugin knows: dash, hls, ...")
        ->required();
    add_task_options(*command, app, *chosen);
    command->footer("The task is named after the package: --set package-name=films.\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
