#include "made_document.h"

#include "arguments.h"
#include "document.h"
#include "input_value.h"
#include "shown.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/validation.h>
#include <kxcore/ioutil.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

/// A tree goes into the one that is there; anything else takes the place of what is there.
void put_setting(std::string_view path, kxcore::property_handle value, kxcore::properties& into) {
    auto const* const added = kxcore::property_cast<kxcore::properties>(value.get());
    auto const* const before = kxcore::property_cast<kxcore::properties>(into.find_referenced(path));
    if (added != nullptr && before != nullptr) {
        auto merged = kxbase::make_refcount<kxcore::properties>(*before);
        merged->merge_properties(*added);
        value = merged;
    }
    into.set_create_referenced_property(path, value);
}

} // namespace

void add_set_option(CLI::App& command, made_document_options& options) {
    command
        .add_option("--set", options.settings,
                    "A setting on top, given as often as needed; KEY may be a path, \"meta-data{category}\"")
        ->type_name("KEY=TEXT|KEY:=JSON|KEY:@FILE")
        ->allow_extra_args(false);
}

kxcore::properties tree_of_settings(application& app, made_document_options const& options) {
    kxcore::properties tree(false);
    put_settings(app, options, tree);
    return tree;
}

void put_settings(application& app, made_document_options const& options, kxcore::properties& into) {
    for (auto const& text : options.settings) {
        auto const setting = parse_input_value_or_file(text);
        auto const value = given_value(app, "--set", setting);
        try {
            put_setting(setting.input, value, into);
        } catch (kxbase::es::arg const& error) {
            throw CLI::ValidationError("--set " + on_one_line(setting.input), on_one_line(error.message()));
        }
    }
}

void write_made_document(application& app, std::string const& out, kxclientutil::e_config_type type,
                         kxcore::configuration::format format, kxcore::properties const& tree, std::string const& what,
                         json const& told) {
    auto const& plugins = app.installation().get_plugins();
    auto const& constraints = app.installation().get_constraints();
    kxbase::buffer stored;
    kxclientutil::write_config(type, constraints, tree, stored, format);
    auto const problems = kxclientutil::find_document_problems(stored, plugins, constraints);
    for (auto const& problem : problems) {
        if (problem.severity == kxclientutil::e_problem_severity::error)
            app.tell_error(out, problem.message());
        else
            app.tell_warning(out, problem.message());
    }
    if (kxclientutil::has_errors(problems)) return;
    kxcore::ioutil::set_file_content(kxbase::url_create_from_url_or_path(out, {}), stored, plugins);
    if (app.wants_json) {
        json document = {
            {"path", without_password(out)}, {"format", format_name(format)}, {"type", identifier_of(type)}};
        document.update(told);
        application::print_json(document);
    } else {
        application::print(fmt::format("{}: {}\n", shown(out), what));
    }
}

} // namespace kx
