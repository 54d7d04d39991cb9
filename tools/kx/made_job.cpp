#include "made_job.h"

#include "arguments.h"
#include "document.h"
#include "input_value.h"
#include "shown.h"

#include <kxbase/errors.h>
#include <kxbase/url_parts.h>
#include <kxbase/urls.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/task_view.h>
#include <kxworkflow/workflow_builder.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace kx {
namespace {

kxclientutil::finalize_sub_conf settings_of(job_options const& chosen, application& app) {
    kxclientutil::finalize_sub_conf settings(chosen.origin_node);
    settings.submission_name = chosen.name;
    settings.node_id = chosen.node;
    settings.resource_uri_option = chosen.as_resources;
    settings.guess_shared_storage = !chosen.no_guess_shared_storage;
    if (chosen.priority) settings.set_priority(*chosen.priority);
    for (auto const& text : chosen.in) {
        auto const given = parse_input_value_or_file(text);
        settings.in_values[given.input] = given_value(app, "--in", given);
    }
    for (auto const& text : chosen.task_in) {
        auto const given = parse_owned_input_value(text);
        settings.task_name_in_values[given.owner][given.input] = given_value(app, "--task-in", given);
    }
    for (auto const& text : chosen.type_in) {
        auto const given = parse_owned_input_value(text);
        settings.task_type_in_values[given.owner][given.input] = given_value(app, "--type-in", given);
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

std::list<std::string> urls_of(job_options const& chosen, application& app) {
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

void add_source(kxcore::properties& submission, job_options const& chosen, application& app) {
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
kxcore::properties read_submission(job_options const& chosen, application& app) {
    auto const submission = read_document(app, chosen.submission);
    if (submission.config_type != kxclientutil::config_submission) {
        kxbase::es::arg::raise(fmt::format("a {} document, no submission", submission.type));
    }
    return submission.tree;
}

kxcore::properties compose(job_options const& chosen, application& app) {
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
void check_that_sequences_are_urls(job_options const& chosen, kxcore::properties const& submission, application& app) {
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

// The marks "kxrc:/#!..." stand for what a node is to do, and are no folders.
bool is_root_resource(kxcore::property_handle const& value) {
    auto const* const text = kxcore::property_cast<kxcore::property_string>(value.get());
    if (text == nullptr || text->value().starts_with("kxrc:/#!")) return false;
    auto const parts = kxbase::split_url(text->value());
    return parts.scheme.substr(0, parts.scheme.find('+')) == "kxrc" &&
           parts.path.find_first_not_of('/') == std::string_view::npos;
}

// A localizer that somebody drew and a document holds has "file:/" as its folder: documents have no "kxrc:/#!create-dir".
void check_that_no_root_is_served(job_options const& chosen, making const& made, application& app) {
    if (std::none_of(made.resources.begin(), made.resources.end(), is_root_resource)) return;
    std::string first;
    std::size_t count = 0;
    for (auto const& each : *made.submission.get_properties_value("workflow")->get_list_value("tasks")) {
        auto const& task = static_cast<kxcore::properties const&>(*each);
        auto const* const configuration = kxcore::property_cast<kxcore::properties>(task.find("configuration"));
        if (configuration == nullptr) continue;
        kxcore::visit_leaves(*configuration, [&](std::string_view path, kxcore::property_handle const& value) {
            if (!is_root_resource(value) || ++count > 1) return;
            first = fmt::format("task \"{}\", {}", task.get_string_value("name", ""), path);
        });
    }
    if (count == 0) first = "the source";
    app.tell_warning(composed_document(chosen),
                     fmt::format("{}: the root folder becomes a resource, and all files of this machine with it{}",
                                 first, count < 2 ? "" : fmt::format(" (and {} more)", count - 1)));
}

} // namespace

void add_job_content(CLI::App& command, job_options& chosen, application& app) {
    auto* const documents = command.add_option_group("Submission", "What the job is made of");
    auto* const workflow =
        takes_file(documents->add_option("--workflow", chosen.workflow, "The workflow document"), app);
    workflow->type_name("FILE");
    auto* const submission =
        documents->add_option("--submission", chosen.submission, "A submission document, workflow and source in one");
    takes_file(submission->type_name("FILE"), app);
    documents->require_option(1);
    auto* const files = command.add_option("--file", chosen.files, "Source files, paths or URLs");
    takes_file(files->type_name("FILE")->needs(workflow), app);
    auto* const source = command.add_option(
        "--source", chosen.source,
        "A source document instead of files: files, a watched folder, an edit decision list or image sequences");
    takes_file(source->type_name("FILE")->needs(workflow)->excludes(files), app);
}

void add_job_settings(CLI::App& command, job_options& chosen) {
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
        ->type_name("INPUT=TEXT|INPUT:=JSON|INPUT:@FILE");
    command.add_option("--task-in", chosen.task_in, "A value for the tasks of a name")
        ->type_name("TASK:INPUT=TEXT|TASK:INPUT:=JSON|TASK:INPUT:@FILE");
    command.add_option("--type-in", chosen.type_in, "A value for the tasks of a type, such as \"encoder\"")
        ->type_name("TYPE:INPUT=TEXT|TYPE:INPUT:=JSON|TYPE:INPUT:@FILE");
}

std::string const& composed_document(job_options const& chosen) {
    return chosen.submission.empty() ? chosen.workflow : chosen.submission;
}

bool compose_submission(application& app, job_options const& chosen, making& made) {
    return app.run_on("", [&] { made.settings = settings_of(chosen, app); }) &&
           app.run_on(composed_document(chosen), [&] { made.submission = compose(chosen, app); }) &&
           app.run_on(chosen.source, [&] { add_source(made.submission, chosen, app); });
}

void finalize_submission(application& app, job_options const& chosen, making& made, bool with_account) {
    auto const& plugins = app.installation().get_plugins();
    auto const& constraints = app.installation().get_constraints();
    check_that_owners_exist(made.settings, *made.submission.get_properties_value("workflow"), app);
    check_that_sequences_are_urls(chosen, made.submission, app);
    if (with_account) {
        kxclientutil::submission_finalize(made.submission, made.resources, made.settings, plugins, constraints,
                                          made.account);
    } else {
        kxclientutil::submission_finalize(made.submission, made.resources, made.settings, plugins, constraints);
    }
    check_that_no_root_is_served(chosen, made, app);
}

json job_summary(making const& made) {
    auto const& job = made.submission;
    auto const tasks = job.get_properties_value("workflow")->get_list_value("tasks")->size();
    json folders = json::array();
    for (auto const& resource : made.resources) {
        auto const& uri = static_cast<kxcore::property_string const&>(*resource);
        folders.push_back(without_password(uri.value()));
    }
    return {{"name", kxbase::without_url_secrets(job.get_string_value("name", ""))},
            {"tasks", tasks},
            {"resources", folders}};
}

std::string job_in_words(json const& summary) {
    auto const tasks = summary["tasks"].get<std::size_t>();
    return fmt::format("the job \"{}\", {} task{}", on_one_line(summary["name"].get<std::string>()), tasks,
                       tasks == 1 ? "" : "s");
}

std::string resources_in_words(json const& summary) {
    std::string lines;
    for (auto const& folder : summary["resources"])
        lines += fmt::format("  the nodes will fetch from {}\n", on_one_line(folder.get<std::string>()));
    return lines;
}

} // namespace kx
