#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../shown.h"
#include "../tree_json.h"
#include "../tree_text.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxclientutil/submission.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct original_options {
    std::string job;
    std::string out;
    bool reveal = false;
};

kxcore::properties read_original(application& app, std::string const& file) {
    if (!is_job_file(app, file)) kxbase::es::arg::raise("no job file; see kx show");
    auto const job = read_job(app, file);
    if (!kxclientutil::submission_is_finalized(job)) kxbase::es::arg::raise("holds no original submission");
    return *kxclientutil::submission_get_unfinalized_submission(job);
}

void write(application& app, std::string const& out, kxcore::properties const& original) {
    auto const& installation = app.installation();
    kxclientutil::write_config_file(out, kxclientutil::config_submission, installation.get_plugins(),
                                    installation.get_constraints(), original, kxcore::configuration::format_xml);
    if (app.wants_json) {
        application::print_json(
            json{{"path", without_password(out)}, {"type", "submission"}, {"version", 7}, {"format", "xml"}});
    } else {
        application::print(fmt::format("{}: submission, version 7, xml\n", shown(out)));
    }
}

void show(application const& app, kxcore::properties const& original, bool reveal) {
    auto const visible = reveal ? original : without_credentials(original);
    if (app.wants_json) {
        application::print_json(to_json(visible));
    } else {
        application::print(to_text(visible));
    }
}

void run(application& app, original_options const& chosen) {
    kxcore::properties original(false);
    if (!app.run_on(chosen.job, [&] { original = read_original(app, chosen.job); })) return;
    if (chosen.out.empty()) {
        show(app, original, chosen.reveal);
    } else {
        app.run_on(chosen.out, [&] { write(app, chosen.out, original); });
    }
}

} // namespace

void add_original_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<original_options>();
    auto* const command =
        parser.add_subcommand("original", "Show or write the submission that a job was finalized from");
    takes_file(command->add_option("JOB", chosen->job, "A job file")->required(), app);
    takes_file(
        command->add_option("-o,--output", chosen->out, "Write it as a submission document instead of showing it"),
        app);
    command->add_flag("--reveal", chosen->reveal, "Show passwords too, instead of asterisks");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
