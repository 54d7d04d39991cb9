#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../tree_json.h"
#include "../tree_text.h"
#include "commands.h"

#include <CLI/CLI.hpp>

namespace kx {
namespace {

struct show_options {
    std::string file;
    bool reveal = false;
};

void run(application& app, show_options const& chosen) {
    app.run_on(chosen.file, [&] {
        auto tree = read_document(app, chosen.file).tree;
        if (!chosen.reveal) tree = without_credentials(tree);
        if (app.wants_json) {
            application::print_json(to_json(tree));
        } else {
            application::print(to_text(tree));
        }
    });
}

} // namespace

void add_show_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<show_options>();
    auto* const command = parser.add_subcommand("show", "Show a document as it is read, or a finalized job, as a tree");
    auto* const file =
        command->add_option("FILE", chosen->file, "A document, a preset or a job file; - for standard input");
    takes_file_or_stream(file->required(), app);
    command->add_flag("--reveal", chosen->reveal, "Show passwords too, instead of asterisks");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
