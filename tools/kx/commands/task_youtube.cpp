#include "task.h"

#include <kxclientutil/user_task.h>

#include <CLI/CLI.hpp>

#include <list>

namespace kx {
namespace {

struct task_youtube_options : task_options {
    std::string username;
    std::string title;
    std::string description;
    std::string category;
    std::vector<std::string> keywords;
};

void run(application& app, task_youtube_options const& chosen) {
    make_task(app, "youtube", chosen, [&](auto const& plugins, auto const& extra) {
        auto const password = read_password(app, chosen.secret, {chosen.username, "the video site"});
        return kxclientutil::get_youtube_user_task(
            chosen.username, password, chosen.title, chosen.description, chosen.category,
            std::list<std::string>(chosen.keywords.begin(), chosen.keywords.end()), plugins, extra);
    });
}

} // namespace

void add_task_youtube_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<task_youtube_options>();
    auto* const command = parser.add_subcommand("youtube", "A task that publishes a film on the video site");
    command->add_option("--username", chosen->username, "The account")->type_name("USER")->required();
    command->add_option("--title", chosen->title, "A text with variables, '$source.filename$'")
        ->type_name("TEXT")
        ->required();
    command->add_option("--description", chosen->description, "A text with variables, too")->type_name("TEXT");
    command->add_option("--category", chosen->category, "One of the site's categories")->type_name("TEXT")->required();
    command->add_option("--keyword", chosen->keywords, "A keyword, given as often as needed")
        ->type_name("TEXT")
        ->allow_extra_args(false);
    add_task_options(*command, app, *chosen);
    add_password_option(*command, chosen->secret);
    command->footer("kx variables lists what may stand between dollar signs.\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
