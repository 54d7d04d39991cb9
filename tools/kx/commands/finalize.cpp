#include "../account_json.h"
#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../input_value.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/explanation.h>
#include <kxclientutil/submission.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/task_view.h>
#include <kxworkflow/workflow_builder.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>

namespace kx {
namespace {

struct options {
    std::string submission;
    std::string workflow;
    std::vector<std::string> files;
    std::string source;
    std::string job;
    std::string name;
    std::string node;
    std::string origin_node;
    std::optional<std::int64_t> priority;
    bool as_resources = false;
    bool no_guess_shared_storage = false;
    std::vector<std::string> in;
    std::vector<std::string> task_in;
    std::vector<std::string> type_in;
    bool explain = false;
};

kxclientutil::finalize_sub_conf settings_of(options const& chosen) {
    kxclientutil::finalize_sub_conf settings(chosen.origin_node);
    settings.submission_name = chosen.name;
    settings.node_id = chosen.node;
    settings.resource_uri_option = chosen.as_resources;
    settings.guess_shared_storage = !chosen.no_guess_shared_storage;
    if (chosen.priority) settings.set_priority(*chosen.priority);
    for (auto const& text : chosen.in) {
        auto const given = parse_input_value(text);
        settings.in_values[given.input] = given.value;
    }
    for (auto const& text : chosen.task_in) {
        auto const given = parse_owned_input_value(text);
        settings.task_name_in_values[given.owner][given.input] = given.value;
    }
    for (auto const& text : chosen.type_in) {
        auto const given = parse_owned_input_value(text);
        settings.task_type_in_values[given.owner][given.input] = given.value;
    }
    return settings;
}

// A file that travels with the job must be there now; any other may lie on storage that only the nodes see.
void check_that_it_exists(std::string const& file, std::string const& url, bool as_resource, application& app) {
    if (kxbase::url_scheme(url) != "file" || url.find('$') != std::string::npos) return;
    std::error_code error;
    auto const status = std::filesystem::status(kxbase::url_path(url, true), error);
    bool const is_folder = std::filesystem::is_directory(status);
    if (std::filesystem::exists(status) && !is_folder) return;
    std::string_view const what = is_folder ? "a folder, not a file" : "no such file";
    if (as_resource) kxbase::es::arg::raise(fmt::format("{}: {}", what, without_password(file)));
    app.tell_warning(file, is_folder ? what : "no such file on this machine");
}

std::list<std::string> urls_of(options const& chosen, application& app) {
    std::list<std::string> urls;
    for (auto const& file : chosen.files) {
        urls.push_back(kxbase::url_create_from_url_or_path(file, ""));
        check_that_it_exists(file, urls.back(), chosen.as_resources, app);
    }
    return urls;
}

// The source is named after its first file, as a person would name it.
std::string source_name(std::list<std::string> const& urls) {
    return urls.empty() ? "" : kxbase::url_path_name(urls.front());
}

void add_source(kxcore::properties& submission, options const& chosen, application& app) {
    if (chosen.source.empty()) {
        auto const urls = urls_of(chosen, app);
        if (!urls.empty()) kxclientutil::submission_add_files(urls, source_name(urls), submission);
        return;
    }
    auto const source = read_document(app, chosen.source);
    if (source.config_type < kxclientutil::config_file_source) {
        kxbase::es::arg::raise(fmt::format("a {} document, no source", source.type));
    }
    submission.set_property(source.type, kxbase::make_refcount<kxcore::properties>(source.tree));
}

// A submission that is finalized already is no document, but a job, so it is refused here.
kxcore::properties read_submission(options const& chosen, application& app) {
    auto const submission = read_document(app, chosen.submission);
    if (submission.config_type != kxclientutil::config_submission) {
        kxbase::es::arg::raise(fmt::format("a {} document, no submission", submission.type));
    }
    return submission.tree;
}

kxcore::properties compose(options const& chosen, application& app) {
    if (!chosen.submission.empty()) return read_submission(chosen, app);
    auto const workflow = read_document(app, chosen.workflow);
    if (workflow.config_type != kxclientutil::config_workflow) {
        kxbase::es::arg::raise(fmt::format("a {} document, no workflow", workflow.type));
    }
    kxcore::properties submission(false);
    kxclientutil::submission_add_workflow(workflow.tree, submission);
    submission["name"] = kxbase::make_refcount<kxcore::property_string>(
        workflow.tree.get_string_value("name", kxbase::url_path_name(chosen.workflow)));
    return submission;
}

// Finalization passes over values for tasks and types that the workflow does not have; here somebody has mistyped one.
void check_that_owners_exist(kxclientutil::finalize_sub_conf const& settings, kxcore::properties const& workflow,
                             application& app) {
    if (settings.task_name_in_values.empty() && settings.task_type_in_values.empty()) return;
    auto const& installation = app.installation();
    kxworkflow::workflow_builder const builder(workflow, installation.get_plugins(), installation.get_constraints());
    std::map<std::string, kxworkflow::task_proxy> tasks;
    builder.get_tasks(tasks);
    std::set<std::string> names;
    std::set<std::string> types;
    for (auto const& [wtid, task] : tasks) {
        names.insert(task->get_name());
        types.insert(task->get_type());
    }
    for (auto const& [name, values] : settings.task_name_in_values)
        if (!names.contains(name)) app.tell_warning("--task-in", "no task is named '" + name + "'");
    for (auto const& [type, values] : settings.task_type_in_values)
        if (!types.contains(type)) app.tell_warning("--type-in", "no task is of the type '" + type + "'");
}

bool has_no_scheme(kxcore::property_handle const& sequence) {
    auto const* const tree = kxcore::property_cast<kxcore::properties>(sequence.get());
    auto const* const start =
        tree == nullptr ? nullptr : kxcore::property_cast<kxcore::property_string>(tree->find("start-file-url"));
    return start != nullptr && kxbase::url_scheme(start->value()).empty();
}

// Finalization makes "+iseq:/a.dpx" of "/a.dpx", and no node knows such a scheme.
void check_that_sequences_are_urls(options const& chosen, kxcore::properties const& submission, application& app) {
    for (char const* const taken_first : {"file-source", "monitor-source", "edl-source"})
        if (submission.is_present(taken_first)) return;
    auto const* const sequences =
        kxcore::property_cast<kxcore::property_list>(submission.find_referenced("iseq-source{sequences}"));
    if (sequences == nullptr) return;
    auto const first = std::find_if(sequences->begin(), sequences->end(), has_no_scheme);
    if (first == sequences->end()) return;
    auto const more = std::count_if(first + 1, sequences->end(), has_no_scheme);
    app.tell_warning(chosen.source.empty() ? chosen.submission : chosen.source,
                     fmt::format("iseq-source{{sequences}}[{}]{{start-file-url}}: no scheme, such as \"file:\"{}",
                                 first - sequences->begin(), more == 0 ? "" : fmt::format(" (and {} more)", more)));
}

json summary(options const& chosen, kxcore::properties const& job, kxcore::property_list const& resources) {
    auto const name = job.get_string_value("name", "");
    auto const tasks = job.get_properties_value("workflow")->get_list_value("tasks")->size();
    json folders = json::array();
    for (auto const& resource : resources) {
        auto const& uri = static_cast<kxcore::property_string const&>(*resource);
        folders.push_back(without_password(uri.value()));
    }
    json told = json::object();
    if (!chosen.job.empty()) told["job"] = without_password(chosen.job);
    told.update({{"name", name}, {"tasks", tasks}, {"resources", folders}});
    return told;
}

void tell(json const& told) {
    auto const tasks = told["tasks"].get<std::size_t>();
    application::print(fmt::format("{}: the job \"{}\", {} task{}\n", on_one_line(told["job"].get<std::string>()),
                                   on_one_line(told["name"].get<std::string>()), tasks, tasks == 1 ? "" : "s"));
    for (auto const& folder : told["resources"]) {
        application::print(fmt::format("  the nodes will fetch from {}\n", on_one_line(folder.get<std::string>())));
    }
}

/// A submission on its way to a job.
struct making {
    kxcore::properties submission{false};
    kxcore::property_list resources;
    kxclientutil::finalization_account account;
};

// What was done stands before what went wrong, also where both go to one file.
void explain(making const& made) {
    application::print(kxclientutil::explain_finalization(made.account));
    std::fflush(stdout);
}

void finalize(application& app, options const& chosen, kxclientutil::finalize_sub_conf const& settings, making& made) {
    auto const& installation = app.installation();
    auto const& plugins = installation.get_plugins();
    auto const& constraints = installation.get_constraints();
    check_that_owners_exist(settings, *made.submission.get_properties_value("workflow"), app);
    check_that_sequences_are_urls(chosen, made.submission, app);
    if (!chosen.explain)
        return kxclientutil::submission_finalize(made.submission, made.resources, settings, plugins, constraints);
    try {
        kxclientutil::submission_finalize(made.submission, made.resources, settings, plugins, constraints,
                                          made.account);
    } catch (kxbase::es::base const&) {
        if (!app.wants_json) explain(made);
        throw;
    }
    if (!app.wants_json) explain(made);
}

// Writes the job, if one is wanted, and tells of it.
void finish(application& app, options const& chosen, making const& made) {
    if (!chosen.job.empty()) kxclientutil::write_job_file(chosen.job, made.submission);
    json told = summary(chosen, made.submission, made.resources);
    if (app.wants_json) {
        if (chosen.explain) told["explanation"] = to_json(made.account);
        application::print_json(told);
    } else if (!chosen.job.empty()) {
        tell(told);
    }
}

void run(application& app, options const& chosen) {
    auto const settings = settings_of(chosen);
    auto const& composed = chosen.submission.empty() ? chosen.workflow : chosen.submission;
    making made;
    if (!app.run_on(composed, [&] { made.submission = compose(chosen, app); })) return;
    if (!app.run_on(chosen.source, [&] { add_source(made.submission, chosen, app); })) return;
    if (app.run_on(composed, [&] { finalize(app, chosen, settings, made); })) {
        app.run_on(chosen.job, [&] { finish(app, chosen, made); });
    } else if (chosen.explain && app.wants_json) {
        application::print_json({{"errors", json::array({app.last_error()})}, {"explanation", to_json(made.account)}});
    }
}

void add_settings(CLI::App& command, options& chosen) {
    command.add_option("--name", chosen.name, "The job's name")->type_name("NAME");
    command
        .add_option_function<std::string>(
            "--priority", [&chosen](std::string const& text) { chosen.priority = whole_number("--priority", text); },
            "The job's priority, a whole number")
        ->type_name("INT");
    command.add_option("--node", chosen.node, "The id of the node that must run the job")->type_name("ID");
    command.add_option("--origin-node", chosen.origin_node, "The id of the node that submits the job")->type_name("ID");
    command.add_flag("--as-resources", chosen.as_resources, "Let the nodes fetch local files from this machine");
    command.add_flag("--no-guess-shared-storage", chosen.no_guess_shared_storage,
                     "Do not let the nodes look for the files on storage that they share");
    command.add_option("--in", chosen.in, "A value for every task that has the input")
        ->type_name("INPUT=TEXT|INPUT:=JSON");
    command.add_option("--task-in", chosen.task_in, "A value for the tasks of a name")
        ->type_name("TASK:INPUT=TEXT|TASK:INPUT:=JSON");
    command.add_option("--type-in", chosen.type_in, "A value for the tasks of a type, such as \"encoder\"")
        ->type_name("TYPE:INPUT=TEXT|TYPE:INPUT:=JSON");
}

} // namespace

void add_finalize_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<options>();
    auto* const command =
        parser.add_subcommand("finalize", "Make a job that nodes can run out of a workflow and its source");
    auto* const documents = command->add_option_group("Submission", "What the job is made of");
    auto* const workflow =
        takes_file(documents->add_option("--workflow", chosen->workflow, "The workflow document"), app);
    workflow->type_name("FILE");
    auto* const submission =
        documents->add_option("--submission", chosen->submission, "A submission document, workflow and source in one");
    takes_file(submission->type_name("FILE"), app);
    documents->require_option(1);
    auto* const files = command->add_option("--file", chosen->files, "Source files, paths or URLs");
    takes_file(files->type_name("FILE")->needs(workflow), app);
    auto* const source = command->add_option(
        "--source", chosen->source,
        "A source document instead of files: files, a watched folder, an edit decision list or image sequences");
    takes_file(source->type_name("FILE")->needs(workflow)->excludes(files), app);
    auto* const job = command->add_option("-o,--output", chosen->job, "The job file to write");
    takes_file(job->type_name("JOB"), app);
    command->add_flag("--explain", chosen->explain,
                      "Say step by step what is changed and why; without -o no job is written");
    add_settings(*command, *chosen);
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
