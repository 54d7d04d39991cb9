#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../folder_conversion.h"
#include "../shown.h"
#include "../standard_streams.h"
#include "commands.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/urls.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct convert_options {
    std::string in;
    std::string out;
    std::string format;
};

// What was not asked for stays as it is; a preset has no format of its own to stay in.
kxcore::configuration::format output_format(convert_options const& chosen, document const& read) {
    return format_of(chosen.format.empty() ? read.format : chosen.format).value_or(kxcore::configuration::format_xml);
}

void print_output(application& app, convert_options const& chosen, document const& read) {
    kxbase::buffer content;
    kxclientutil::write_config(read.config_type, app.installation().get_constraints(), read.tree, content,
                               output_format(chosen, read));
    application::print(content.text());
}

void write_output(application& app, convert_options const& chosen, document const& read) {
    if (is_standard_stream(chosen.out)) return print_output(app, chosen, read);
    auto const format = output_format(chosen, read);
    auto const& installation = app.installation();
    kxclientutil::write_config_file(chosen.out, read.config_type, installation.get_plugins(),
                                    installation.get_constraints(), read.tree, format);
    if (app.wants_json) {
        application::print_json(json{{"path", without_password(chosen.out)},
                                     {"type", read.type},
                                     {"version", 7},
                                     {"format", format_name(format)}});
    } else {
        application::print(fmt::format("{}: {}, version 7, {}\n", shown(chosen.out), read.type, format_name(format)));
    }
}

void run(application& app, convert_options const& chosen) {
    bool const prints = is_standard_stream(chosen.out);
    if (prints && app.wants_json)
        throw CLI::ValidationError("OUT", "with --json a document cannot go to standard output");
    if (auto const folder = is_standard_stream(chosen.in) ? std::nullopt : existing_folder(chosen.in)) {
        if (prints) throw CLI::ValidationError("OUT", "a folder cannot go to standard output");
        convert_folder(app, *folder, chosen.out, format_of(chosen.format));
        return;
    }
    document read;
    if (!app.run_on(chosen.in, [&] { read = read_document_to_edit(app, chosen.in); })) return;
    app.run_on(chosen.out, [&] { write_output(app, chosen, read); });
}

} // namespace

void add_convert_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<convert_options>();
    auto* const command =
        parser.add_subcommand("convert", "Write a document, or a folder of them, again at the current version");
    auto* const in = command->add_option("IN", chosen->in,
                                         "A document or a preset, or a folder that holds some; - for standard input");
    takes_file_or_stream(in->required(), app);
    auto* const out = command->add_option(
        "OUT", chosen->out, "The file to write, or the folder; it appears whole or not at all; - for standard output");
    takes_file_or_stream(out->required(), app);
    command->add_option("--format", chosen->format, "xml or binary; without it the format of IN")
        ->check(CLI::IsMember({"xml", "binary"}));
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
