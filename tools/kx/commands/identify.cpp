#include "../application.h"
#include "../arguments.h"
#include "../document.h"
#include "../shown.h"
#include "../standard_streams.h"
#include "commands.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/sealed_file.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

struct identify_options {
    std::vector<std::string> files;
};

struct identity {
    std::string type;
    std::optional<unsigned int> version;
    std::string format;
};

identity identify(application& app, std::string const& file) {
    identity const job = {"job", std::nullopt, "job"};
    if (!is_standard_stream(file) && is_job_file(app, file)) return job;
    if (is_preset(file)) return {"task", std::nullopt, "setting"};
    auto const content = content_of(app, file);
    if (kxcore::is_sealed(content.text())) return job;
    // Without a list of what is accepted the reader takes a document of any identifier and version for unexpected, and
    // tells both.
    kxcore::configuration stored;
    auto format = kxcore::configuration::format_xml;
    auto const result = stored.read_config(kxcore::constraint_db(), {}, content, &format);
    if (result == kxcore::configuration::read_unknown) {
        kxbase::es::arg::raise(stored.get_diagnostic().message);
    }
    if (result == kxcore::configuration::read_invalid) {
        kxbase::es::arg::raise("a broken document, " + stored.get_diagnostic().to_string());
    }
    return {stored.get_identifier(), stored.get_version(), std::string(format_name(format))};
}

void run(application& app, identify_options const& chosen) {
    json all = json::array();
    for (auto const& file : chosen.files) {
        bool const done = app.run_on(file, [&] {
            auto const found = identify(app, file);
            all.push_back({{"path", without_password(file)},
                           {"type", found.type},
                           {"version", found.version ? json(*found.version) : json(nullptr)},
                           {"format", found.format}});
            if (app.wants_json) return;
            auto const version = found.version ? fmt::format(", version {}", *found.version) : "";
            auto const format = found.format == found.type ? "" : ", " + found.format;
            application::print(fmt::format("{}: {}{}{}\n", shown(file), found.type, version, format));
        });
        if (!done) all.push_back({{"path", without_password(file)}, {"error", app.last_error()}});
    }
    if (app.wants_json) application::print_json(all);
}

} // namespace

void add_identify_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<identify_options>();
    auto* const command = parser.add_subcommand("identify", "Tell the type, version and format of each file");
    auto* const files =
        command->add_option("FILE", chosen->files, "Documents, presets or job files; - for standard input");
    takes_file_or_stream(files->required(), app);
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
