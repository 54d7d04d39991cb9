#include "made_document.h"

#include "arguments.h"
#include "document.h"
#include "input_value.h"
#include "shown.h"
#include "url_password.h"

#include <kxbase/buffer.h>
#include <kxbase/errors.h>
#include <kxbase/secret_names.h>
#include <kxbase/urls.h>
#include <kxclientutil/validation.h>
#include <kxcore/ioutil.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace kx {
namespace {

[[noreturn]] void refuse_secret(std::string_view key) {
    throw CLI::ValidationError("--set " + on_one_line(key), complaint_about_password());
}

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

/// Secrets by the name of their key, before the value is looked at, and by what the value is. The value itself is never
/// shown.
void refuse_secrets(std::string_view key, kxcore::property_handle const& value) {
    kxcore::properties holder(false);
    holder.set_property("value", value);
    std::list<std::string> leaves;
    holder.get_leaf_references(leaves);
    for (auto const& leaf : leaves) {
        auto const* const text = kxcore::property_cast<kxcore::property_string>(holder.find_referenced(leaf));
        if (kxbase::is_secret_name(leaf) || (text != nullptr && holds_password(text->value()))) refuse_secret(key);
    }
}

} // namespace

void add_set_option(CLI::App& command, made_document_options& options) {
    command
        .add_option("--set", options.settings,
                    "A setting on top, given as often as needed; KEY may be a path, \"meta-data{category}\"")
        ->type_name("KEY=TEXT|KEY:=JSON")
        ->allow_extra_args(false);
}

kxcore::properties tree_of_settings(made_document_options const& options) {
    kxcore::properties tree(false);
    put_settings(options, tree);
    return tree;
}

void put_settings(made_document_options const& options, kxcore::properties& into) {
    for (auto const& text : options.settings) {
        std::string_view const key = std::string_view(text).substr(0, text.find('='));
        if (kxbase::is_secret_name(key)) refuse_secret(key);
        auto const setting = parse_input_value(text);
        refuse_secrets(setting.input, setting.value);
        try {
            put_setting(setting.input, setting.value, into);
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
