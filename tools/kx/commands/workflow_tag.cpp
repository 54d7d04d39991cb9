#include "../application.h"
#include "../arguments.h"
#include "../shown.h"
#include "../workflow_file.h"
#include "workflow.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/config.h>
#include <kxcore/constraint_db.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct workflow_tag_options {
    std::string file;
    std::string tag;
    std::string task;
    std::string out;
    bool exclude = false;
    bool untag = false;
};

bool has_tag(kxcore::properties const& document, std::string const& tag) {
    auto const* const value = kxcore::property_cast<kxcore::property_constraint>(document.find("requirements"));
    auto const* const requirements =
        value == nullptr ? nullptr : dynamic_cast<kxcore::constraint_db const*>(value->value().get());
    if (requirements == nullptr) return false;
    auto const tags = requirements->get_constraint("tags");
    auto const* const database = dynamic_cast<kxcore::constraint_db const*>(tags.get());
    return database != nullptr && database->is_present(tag);
}

/// What was, or would have been, changed.
struct subject {
    std::string in_words;
    bool is_changed = true;
};

bool change(workflow_tag_options const& chosen, kxcore::properties& document) {
    if (!chosen.untag) {
        kxclientutil::add_task_or_workflow_tag(document, chosen.tag, !chosen.exclude);
        return true;
    }
    bool const is_there = has_tag(document, chosen.tag);
    kxclientutil::remove_task_or_workflow_tag(document, chosen.tag);
    return is_there;
}

subject change_task(workflow_tag_options const& chosen, kxcore::properties& workflow) {
    auto task = find_task(workflow, chosen.task);
    bool const is_changed = change(chosen, task.tree);
    kxcore::property_list tasks(*workflow.get_list_value("tasks"));
    tasks.set_element(task.index, kxbase::make_refcount<kxcore::properties>(task.tree));
    workflow.set_property("tasks", kxbase::make_refcount<kxcore::property_list>(tasks));
    return {"task " + task.shown(), is_changed};
}

subject change_document(workflow_tag_options const& chosen, document& read) {
    bool const is_workflow = read.config_type == kxclientutil::config_workflow;
    if (!is_workflow && (read.config_type != kxclientutil::config_task || !chosen.task.empty())) {
        kxbase::es::arg::raise(
            fmt::format("{}, no workflow{}", in_words(read), chosen.task.empty() ? " and no task" : ""));
    }
    if (is_preset(chosen.file) && chosen.out.empty())
        kxbase::es::arg::raise("a preset holds no tags; name a task document to write with -o");
    if (!chosen.task.empty()) return change_task(chosen, read.tree);
    return {read.type, change(chosen, read.tree)};
}

std::string what_was_done(workflow_tag_options const& chosen) {
    if (chosen.untag) return "no longer asks for or refuses";
    return chosen.exclude ? "refuses" : "asks for";
}

void tell(application const& app, workflow_tag_options const& chosen, std::string const& out, document const& read,
          subject const& what) {
    if (app.wants_json) {
        json const required = chosen.untag ? json(nullptr) : json(!chosen.exclude);
        application::print_json(json{{"path", without_password(out)},
                                     {"format", is_preset(chosen.file) ? "xml" : read.format},
                                     {"changed", what.is_changed ? json(what.in_words) : json(nullptr)},
                                     {"tag", kxbase::without_url_secrets(chosen.tag)},
                                     {"required", required}});
    } else if (what.is_changed) {
        application::print(fmt::format("{}: the {} {} nodes with the tag {}\n", shown(out), what.in_words,
                                       what_was_done(chosen), in_quotes(chosen.tag)));
    } else {
        application::print(
            fmt::format("{}: the {} has no tag {}, unchanged\n", shown(out), what.in_words, in_quotes(chosen.tag)));
    }
}

void run(application& app, workflow_tag_options const& chosen) {
    document read;
    subject changed;
    bool const done = app.run_on(chosen.file, [&] {
        read = read_document_to_edit(app, chosen.file);
        changed = change_document(chosen, read);
    });
    if (!done) return;
    std::string const& out = chosen.out.empty() ? chosen.file : chosen.out;
    app.run_on(out, [&] {
        if (changed.is_changed || !chosen.out.empty()) write_document(app, read, out);
        tell(app, chosen, out, read, changed);
    });
}

CLI::App* add_command(CLI::App& parser, application& app, char const* name, char const* description,
                      std::shared_ptr<workflow_tag_options> const& chosen) {
    auto* const command = parser.add_subcommand(name, description);
    takes_file(command->add_option("FILE", chosen->file, "A workflow document, or a task document")->required(), app);
    command->add_option("TAG", chosen->tag, "The tag")->required()->check(refuse_empty_tag);
    command->add_option("--task", chosen->task, "A task of the workflow, its wtid or its name, instead of the whole")
        ->type_name("TASK");
    add_output_option(*command, chosen->out, app);
    command->callback([&app, chosen] { run(app, *chosen); });
    return command;
}

} // namespace

void add_workflow_tag_commands(CLI::App& parser, application& app) {
    auto tagging = std::make_shared<workflow_tag_options>();
    auto* const tag = add_command(parser, app, "tag", "Let only nodes with a tag run a workflow or a task", tagging);
    tag->add_flag("--exclude", tagging->exclude, "Only nodes without the tag");
    tag->footer("Examples:\n  kx workflow tag news.xml gpu --task 1080p\n"
                "  kx workflow tag mail.xml studio --exclude\n");
    auto untagging = std::make_shared<workflow_tag_options>();
    untagging->untag = true;
    add_command(parser, app, "untag", "Take a tag back from a workflow or a task", untagging);
}

} // namespace kx
