#include "application.h"
#include "commands/commands.h"
#include "shown.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxcore/nearest_text.h>

#include <CLI/CLI.hpp>

#include <array>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::array commands = {
    kx::add_identify_command,  kx::add_show_command,     kx::add_validate_command, kx::add_convert_command,
    kx::add_variables_command, kx::add_finalize_command, kx::add_original_command, kx::add_schema_command,
    kx::add_workflow_command,  kx::add_task_command,     kx::add_monitor_command,  kx::add_diff_command,
    kx::add_submit_command,    kx::add_status_command,   kx::add_nodes_command,
};

constexpr char const* common_help =
    "Data goes to standard output, the log and errors to standard error.\n"
    "URLs with a user get the password of KX_PASSWORD; none stands on the command line.\n"
    "Exit codes: 0 done, 1 the input or the request is bad, 2 the command line is wrong,\n"
    "3 a node could not be reached, or refused.";
constexpr char const* common_options =
    "Every command takes --json, --verbose and --installation as well, see kx --help.\n";
constexpr char const* first_steps = "\n\nkx COMMAND --help tells more of a command. A first job:\n"
                                    "  kx validate news.xml\n"
                                    "  kx finalize --workflow news.xml --file clip.mov --as-resources -o news.job\n"
                                    "  kx show news.job";

void describe_options(CLI::App& parser, kx::application& app) {
    parser.add_option("--installation", app.installation_folder,
                      "The installation folder; without it that of KX_INSTALLATION, then the installed one");
    parser.add_flag("--json", app.wants_json, "Print one JSON document");
    parser.add_flag_callback(
        "--verbose", [&app] { app.set_verbose(true); }, "Show the whole log on standard error");
    parser.set_version_flag("--version", KX_VERSION);
    parser.fallthrough();
    // With one command found, a word that is named like another is a word: "kx schema workflow".
    parser.require_subcommand(0, 1);
}

// What all commands share stands below what each says of itself.
void add_common_help(CLI::App& parser) {
    for (CLI::App* const command : parser.get_subcommands([](CLI::App const*) { return true; })) {
        std::string help = command->get_footer();
        help.erase(help.find_last_not_of('\n') + 1);
        if (!help.empty()) help += "\n\n";
        command->footer(help + common_options + common_help);
        add_common_help(*command);
    }
}

// The parser only says which words it has no use for, the last one first; nothing where that is all there is to say.
std::string unknown_command(CLI::App const& parser, std::vector<std::string> const& rest) {
    auto const known = parser.get_subcommands([](CLI::App const* each) { return !each->get_name().empty(); });
    if (known.empty() || rest.empty() || rest.front().starts_with('-')) return {};
    kxcore::nearest_text nearest(rest.front());
    for (CLI::App const* const each : known)
        nearest.consider(each->get_name());
    std::string const guess(nearest.good_guess());
    return "there is no command '" + rest.front() + "'" + (guess.empty() ? "" : " (did you mean '" + guess + "'?)");
}

// The parser repeats what it did not understand, which may be a URL with a password.
int refuse(CLI::App const& parser, CLI::ParseError const& error) {
    std::string command;
    CLI::App const* innermost = &parser;
    for (auto chosen = parser.get_subcommands(); !chosen.empty(); chosen = innermost->get_subcommands()) {
        innermost = chosen.front();
        command += " " + innermost->get_name();
    }
    std::string what = unknown_command(*innermost, parser.remaining(true));
    if (what.empty()) what = error.what();
    what = kx::on_one_line(kxbase::url_protected_output(what));
    std::fprintf(stderr, "kx: %s, see kx%s --help\n", what.c_str(), command.c_str());
    return static_cast<int>(kx::e_exit::bad_command);
}

// Everything that is wrong with an installation is told at once, each on its line.
void tell(kx::application& app, kx::installation_error const& error) {
    std::istringstream findings(error.what());
    for (std::string finding; std::getline(findings, finding);)
        app.tell_error("", finding);
}

int run(int argc, char** argv) {
    kx::application app;
    CLI::App parser("Reads, checks, converts and finalizes the documents of a media-processing cluster", "kx");
    describe_options(parser, app);
    for (auto const add : commands)
        add(parser, app);
    add_common_help(parser);
    parser.footer(std::string(common_help) + first_steps);
    try {
        parser.parse(argc, argv);
        // Asked here, not by the parser, which would then not name a word that is no command.
        if (parser.get_subcommands().empty()) throw CLI::RequiredError("A command");
    } catch (CLI::ParseError const& error) {
        return error.get_exit_code() == 0 ? parser.exit(error) : refuse(parser, error);
    } catch (kx::installation_error const& error) {
        tell(app, error);
    } catch (kxbase::es::base const& error) {
        app.tell_error("", error.message());
    }
    return app.finish();
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "kx: %s\n", kx::on_one_line(kxbase::without_url_secrets(error.what())).c_str());
        return static_cast<int>(kx::e_exit::bad_input);
    }
}
