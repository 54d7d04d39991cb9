#include "application.h"
#include "commands/commands.h"

#include <kxbase/errors.h>

#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>

namespace {

constexpr std::array commands = {
    kx::add_identify_command,  kx::add_show_command,     kx::add_validate_command, kx::add_convert_command,
    kx::add_variables_command, kx::add_finalize_command, kx::add_original_command,
};

void describe_options(CLI::App& parser, kx::application& app) {
    parser.add_option("--installation", app.installation_folder,
                      "The installation folder; without it that of KX_INSTALLATION, then the installed one");
    parser.add_flag("--json", app.wants_json, "Print one JSON document");
    parser.add_flag_callback(
        "--verbose", [&app] { app.set_verbose(true); }, "Show the whole log on standard error");
    parser.set_version_flag("--version", KX_VERSION);
    parser.fallthrough();
    parser.footer("Data goes to standard output, the log and errors to standard error.\n"
                  "Exit codes: 0 done, 1 the input or the request is bad, 2 the command line is wrong.");
}

int run(int argc, char** argv) {
    kx::application app;
    CLI::App parser("Reads, checks, converts and finalizes the documents of a media-processing cluster", "kx");
    describe_options(parser, app);
    for (auto const add : commands)
        add(parser, app);
    try {
        parser.parse(argc, argv);
        // Asked here, not by the parser, which would then not name a word that is no command.
        if (parser.get_subcommands().empty()) throw CLI::RequiredError("A command");
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) return parser.exit(error);
        parser.exit(error);
        return static_cast<int>(kx::e_exit::bad_command);
    } catch (kxbase::es::base const& error) {
        app.tell_error("", error.message());
    }
    return app.exit_code();
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "kx: %s\n", error.what());
        return static_cast<int>(kx::e_exit::bad_input);
    }
}
