#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../made_document.h"
#include "../shown.h"
#include "../url_password.h"
#include "../watched_folder.h"
#include "../workflow_file.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxbase/paths.h>
#include <kxbase/urls.h>
#include <kxclientutil/monitor_filter.h>
#include <kxclientutil/monitor_source.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>
#include <kxworkflow/identifiers.h>
#include <kxworkflow/paths.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <list>

namespace kx {
namespace {

struct monitor_options {
    made_document_options document;
    secret_source secret;
    std::string url;
    std::string source;
    std::string workflow_id;
    std::string folder_to_try;
    std::vector<std::string> targets;

    [[nodiscard]] bool sets_targets() const { return !targets.empty() || !workflow_id.empty(); }
};

/// A source, new or read, and the format that it is written in.
struct monitor_source {
    kxcore::properties tree{false};
    kxcore::configuration::format format = kxcore::configuration::format_xml;
};

monitor_source existing_source(application& app, std::string const& file) {
    auto const read = read_document_to_edit(app, file);
    if (read.config_type != kxclientutil::config_monitor_source)
        kxbase::es::arg::raise(fmt::format("{}, no monitor-source", in_words(read)));
    return {read.tree, format_of(read.format).value_or(kxcore::configuration::format_xml)};
}

// A folder to try with nothing else said is watched as it is.
monitor_source new_source(application& app, monitor_options const& chosen) {
    auto const url = chosen.url.empty() && !chosen.folder_to_try.empty()
                         ? chosen.folder_to_try + "/"
                         : with_given_password(app, chosen.secret, {chosen.url}).front();
    return {*kxclientutil::get_monitor_source(url, app.installation().get_plugins())};
}

/// The targets of the command line; without one those that are there, so that an id alone changes no more than the id.
std::list<std::string> targets_of(monitor_options const& chosen, kxcore::properties const& source) {
    std::list<std::string> targets(chosen.targets.begin(), chosen.targets.end());
    if (!targets.empty()) return targets;
    auto const* const rules =
        kxcore::property_cast<kxcore::property_list>(source.find_referenced("manager-configuration{rules}"));
    if (rules == nullptr || rules->empty()) return targets;
    auto const* const rule = kxcore::property_cast<kxcore::properties>((*rules)[rules->size() - 1].get());
    auto const* const destinations =
        rule == nullptr ? nullptr : kxcore::property_cast<kxcore::property_list>(rule->find("destinations"));
    if (destinations == nullptr) return targets;
    for (auto const& destination : *destinations)
        if (auto const* const text = kxcore::property_cast<kxcore::property_string>(destination.get()))
            targets.emplace_back(text->value());
    return targets;
}

std::string text_at(kxcore::properties const& tree, std::string_view path) {
    auto const* const found = kxcore::property_cast<kxcore::property_string>(tree.find_referenced(path));
    return found == nullptr ? std::string() : std::string(found->value());
}

void write(application& app, std::string const& out, monitor_source const& source) {
    auto const name = text_at(source.tree, "name");
    auto const url = text_at(source.tree, "manager-configuration{url}");
    auto const plugin_id = text_at(source.tree, "manager-configuration{plugin-id}");
    write_made_document(
        app, out, kxclientutil::config_monitor_source, source.format, source.tree,
        fmt::format("monitor source {}of {}", name.empty() ? "" : in_quotes(name) + " ", shown(url)),
        {{"plugin-id", plugin_id}, {"name", kxbase::without_url_secrets(name)}, {"url", without_password(url)}});
}

json as_json(kxclientutil::watched_file const& file, std::optional<kxclientutil::filter_obstacle> const& obstacle) {
    json told = {
        {"path", file.path}, {"size", file.size}, {"modified", file.modified}, {"picked-up", !obstacle.has_value()}};
    if (obstacle) told.update({{"rule", obstacle->rule}, {"reason", obstacle->reason}});
    return told;
}

void try_on_folder(application& app, std::string const& folder, kxcore::properties const& source) {
    auto const url = kxbase::url_create_from_url_or_path(folder, {});
    if (kxbase::url_scheme(url) != "file") kxbase::es::arg::raise("a source is tried on a folder of this machine");
    kxclientutil::monitor_filter const filter(source);
    auto const files = files_below(app, kxbase::url_path(url, true));
    json listed = json::array();
    std::size_t picked_up = 0;
    for (auto const& file : files) {
        auto const obstacle = filter.find_obstacle(file);
        picked_up += obstacle ? 0 : 1;
        if (app.wants_json) {
            listed.push_back(as_json(file, obstacle));
        } else if (obstacle) {
            application::print(
                fmt::format("- {}: {}: {}\n", on_one_line(file.path), obstacle->rule, on_one_line(obstacle->reason)));
        } else {
            application::print(fmt::format("+ {}\n", on_one_line(file.path)));
        }
    }
    auto const kept_out = files.size() - picked_up;
    if (app.wants_json) {
        application::print_json(
            json{{"folder", folder}, {"picked-up", picked_up}, {"kept-out", kept_out}, {"files", listed}});
    } else {
        application::print(fmt::format("{}: {} file{} picked up, {} kept out\n", shown(folder), picked_up,
                                       picked_up == 1 ? "" : "s", kept_out));
    }
}

void check(monitor_options const& chosen) {
    bool const tries = !chosen.folder_to_try.empty();
    if (chosen.url.empty() && chosen.source.empty() && !tries) throw CLI::RequiredError("URL, --source or --try");
    if (chosen.document.out.empty() && chosen.source.empty() && !tries) throw CLI::RequiredError("--output");
}

void run(application& app, monitor_options const& chosen) {
    check(chosen);
    monitor_source source;
    std::string const& out = chosen.document.out.empty() ? chosen.source : chosen.document.out;
    std::string const& subject = !chosen.source.empty() ? chosen.source : out;
    bool const is_there = app.run_on(subject, [&] {
        if (chosen.url.empty()) refuse_unused_password_file(chosen.secret);
        source = chosen.source.empty() ? new_source(app, chosen) : existing_source(app, chosen.source);
        if (chosen.sets_targets())
            kxclientutil::set_targets_on_monitor_source(source.tree, targets_of(chosen, source.tree),
                                                        chosen.workflow_id);
        put_settings(app, chosen.document, source.tree);
    });
    if (!is_there) return;
    if (!chosen.folder_to_try.empty())
        app.run_on(chosen.folder_to_try, [&] { try_on_folder(app, chosen.folder_to_try, source.tree); });
    else
        app.run_on(out, [&] { write(app, out, source); });
}

// What the library would take for a destination of no name, to which no file can go.
std::string refuse_incomplete_target(std::string const& target) {
    if (target.empty()) return "an empty text is no target";
    if (kxbase::url_scheme(target) != kxworkflow::workflow_scheme()) return "";
    if (kxworkflow::workflow_id(kxbase::path_front(target, '>')).empty())
        return in_quotes(target) + " names no workflow: write workflow:ID>DESTINATION";
    if (!kxbase::path_popped_front(target, '>').empty()) return "";
    return in_quotes(target) + " names no destination: write workflow:ID>DESTINATION; --workflow-id gives the id alone";
}

void add_options(CLI::App& command, monitor_options& chosen, application& app) {
    auto* const url = command.add_option("URL", chosen.url, "What to watch, a path or URL with a separator at its end");
    url->check(refuse_empty_location)->check(refuse_password);
    auto* const source =
        command.add_option("--source", chosen.source, "Change this monitor source instead of making one");
    takes_file(source->type_name("FILE")->excludes(url), app);
    command
        .add_option("--target", chosen.targets,
                    "Where the files go, given as often as needed: workflow:ID>DESTINATION, or any destination")
        ->type_name("TARGET")
        ->allow_extra_args(false)
        ->check(refuse_password_here)
        ->check(refuse_incomplete_target);
    command
        .add_option("--workflow-id", chosen.workflow_id, "The workflow that the files go to, whatever the targets say")
        ->type_name("ID")
        ->check(refuse_password_here);
    add_set_option(command, chosen.document);
    auto* const out =
        command.add_option("-o,--output", chosen.document.out, "The document to write; without it that of --source");
    takes_file(out->type_name("FILE"), app);
    command
        .add_option(
            "--try", chosen.folder_to_try,
            "Write nothing; list which files of a folder would be picked up if they had just appeared, and what "
            "keeps the others out")
        ->type_name("FOLDER")
        ->check(refuse_empty)
        ->check(refuse_password_here)
        ->excludes(out);
    add_password_option(command, chosen.secret);
}

} // namespace

void add_monitor_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<monitor_options>();
    auto* const command = parser.add_subcommand("monitor", "Make or change a source that watches a folder, or try one");
    add_options(*command, *chosen, app);
    command->footer("Examples:\n"
                    "  kx monitor /media/watch/in/ --target 'workflow:news>source-url' -o in.xml\n"
                    "  kx monitor --source in.xml --set 'manager-configuration{filter}{file-extension-is-include}:="
                    "[\"mov\"]'\n"
                    "  kx monitor --source in.xml --try /media/watch/in\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
