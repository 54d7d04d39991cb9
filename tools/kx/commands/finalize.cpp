#include "../account_json.h"
#include "../application.h"
#include "../arguments.h"
#include "../made_job.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxclientutil/explanation.h>
#include <kxclientutil/submission.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdio>

namespace kx {
namespace {

struct finalize_options {
    job_options what;
    std::string job;
    bool explain = false;
};

// What was done stands before what went wrong, also where both go to one file.
void explain(making const& made) {
    application::print(kxclientutil::explain_finalization(made.account));
    std::fflush(stdout);
}

void finalize(application& app, finalize_options const& chosen, making& made) {
    bool const prints = chosen.explain && !app.wants_json;
    try {
        finalize_submission(app, chosen.what, made, chosen.explain);
    } catch (kxbase::es::base const&) {
        if (prints) explain(made);
        throw;
    }
    if (prints) explain(made);
}

// Writes the job, if one is wanted, and tells of it.
void finish(application& app, finalize_options const& chosen, making const& made) {
    if (!chosen.job.empty()) kxclientutil::write_job_file(chosen.job, made.submission);
    json const summary = job_summary(made);
    if (app.wants_json) {
        json told = json::object();
        if (!chosen.job.empty()) told["job"] = without_password(chosen.job);
        told.update(summary);
        if (chosen.explain) told["explanation"] = to_json(made.account);
        application::print_json(told);
    } else if (!chosen.job.empty()) {
        application::print(shown(chosen.job) + ": " + job_in_words(summary) + "\n" + resources_in_words(summary));
    }
}

void run(application& app, finalize_options const& chosen) {
    making made;
    if (!compose_submission(app, chosen.what, made)) return;
    if (app.run_on(composed_document(chosen.what), [&] { finalize(app, chosen, made); })) {
        app.run_on(chosen.job, [&] { finish(app, chosen, made); });
    } else if (chosen.explain && app.wants_json) {
        application::print_json({{"errors", json::array({app.last_error()})}, {"explanation", to_json(made.account)}});
    }
}

} // namespace

void add_finalize_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<finalize_options>();
    auto* const command =
        parser.add_subcommand("finalize", "Make a job that nodes can run out of a workflow and its source");
    add_job_content(*command, chosen->what, app);
    auto* const job = command->add_option("-o,--output", chosen->job, "The job file to write");
    takes_file(job->type_name("JOB"), app);
    command->add_flag("--explain", chosen->explain,
                      "Say step by step what is changed and why; without -o no job is written");
    add_job_settings(*command, chosen->what);
    command->footer("Without files and without a source the workflow alone becomes a job.\n\nExamples:\n  kx finalize "
                    "--workflow news.xml --file clip.mov --as-resources --name News -o news.job\n  kx finalize "
                    "--workflow proxy.xml --source watched.xml -o proxy.job\n  kx finalize --workflow news.xml --file "
                    "http://archive.example.com/clip.mov --explain\n");
    command->callback([&app, chosen] {
        if (chosen->job.empty() && !chosen->explain) throw CLI::RequiredError("--output or --explain");
        run(app, *chosen);
    });
}

} // namespace kx
