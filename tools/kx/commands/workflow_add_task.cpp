#include "../application.h"
#include "../arguments.h"
#include "../shown.h"
#include "../workflow_file.h"
#include "workflow.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/config.h>
#include <kxclientutil/wf_connection.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>

namespace kx {
namespace {

struct workflow_add_task_options {
    std::string workflow;
    std::string task;
    std::vector<std::string> required;
    std::vector<std::string> excluded;
    std::string out;
    bool is_new = false;
};

// Named after its file, as a source is.
document new_workflow(std::string const& file) {
    auto const url = kxbase::url_create_from_url_or_path(file, "");
    std::error_code error;
    if (kxbase::url_scheme(url) == "file" && std::filesystem::exists(kxbase::url_path(url, true), error))
        kxbase::es::arg::raise("is there already; leave --new out to add to it");
    document made;
    made.type = "workflow";
    made.format = "xml";
    made.config_type = kxclientutil::config_workflow;
    made.tree.set_property("name", kxbase::make_refcount<kxcore::property_string>(kxbase::url_path_name(url)));
    made.tree.set_property("tasks", kxbase::make_refcount<kxcore::property_list>());
    return made;
}

document read_task(application& app, std::string const& file) {
    document read = read_document_to_edit(app, file);
    if (read.config_type != kxclientutil::config_task) {
        kxbase::es::arg::raise(fmt::format("{}, no task", in_words(read)));
    }
    return read;
}

// Tags that the task brings with it stay; one that is both required and excluded here is excluded.
void add_tags(workflow_add_task_options const& chosen, kxcore::properties& task) {
    for (auto const& tag : chosen.required)
        kxclientutil::add_task_or_workflow_tag(task, tag, true);
    for (auto const& tag : chosen.excluded)
        kxclientutil::add_task_or_workflow_tag(task, tag, false);
}

void run(application& app, workflow_add_task_options const& chosen) {
    document workflow;
    document task;
    std::string wtid;
    bool const has_workflow = app.run_on(chosen.workflow, [&] {
        workflow = chosen.is_new ? new_workflow(chosen.workflow) : read_workflow(app, chosen.workflow);
    });
    if (!has_workflow) return;
    bool const has_task = app.run_on(chosen.task, [&] {
        task = read_task(app, chosen.task);
        add_tags(chosen, task.tree);
    });
    if (!has_task) return;
    bool const is_added = app.run_on(chosen.workflow, [&] {
        auto const& installation = app.installation();
        wtid = kxclientutil::add_task(task.tree, workflow.tree, installation.get_plugins(),
                                      installation.get_constraints());
    });
    if (!is_added) return;
    std::string const& out = chosen.out.empty() ? chosen.workflow : chosen.out;
    app.run_on(out, [&] {
        write_document(app, workflow, out);
        if (app.wants_json) {
            application::print_json(
                json{{"path", without_password(out)},
                     {"format", workflow.format},
                     {"wtid", wtid},
                     {"name", kxbase::without_url_secrets(task.tree.get_string_value("name", ""))}});
        } else {
            application::print(on_one_line(wtid) + "\n");
        }
    });
}

} // namespace

void add_workflow_add_task_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<workflow_add_task_options>();
    auto* const command = parser.add_subcommand("add-task", "Add a task to a workflow, and print its wtid");
    takes_file(command->add_option("WORKFLOW", chosen->workflow, "The workflow document")->required(), app);
    takes_file(command->add_option("TASK", chosen->task, "The task document, or an encoder preset")->required(), app);
    command->add_option("--require", chosen->required, "A tag that a node must have to run the task")
        ->type_name("TAG")
        ->allow_extra_args(false)
        ->check(refuse_empty_tag);
    command->add_option("--exclude", chosen->excluded, "A tag that a node must not have to run the task")
        ->type_name("TAG")
        ->allow_extra_args(false)
        ->check(refuse_empty_tag);
    auto* const out = add_output_option(*command, chosen->out, app);
    command->add_flag("--new", chosen->is_new, "Make the workflow, with this task as its first")->excludes(out);
    command->footer("Tags may be given several times; tags that the task brings with it stay.\n\nExample:\n  kx "
                    "workflow add-task news.xml mail.xml --require office\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
