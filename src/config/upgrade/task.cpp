#include "config/upgrade/steps.h"
#include "config/variables.h"

#include <kxclientutil/config.h>

#include <kxbase/report.h>
#include <kxbase/source_position.h>
#include <kxbase/text.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/property_walk.h>
#include <kxworkflow/identifiers.h>

#include <array>

namespace kxclientutil {

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_special;
using kxcore::property_string;

constexpr std::string_view source_url_path = "configuration{source-url}";
constexpr std::string_view dest_dir_url_path = "configuration{dest-dir-url}";
constexpr std::string_view variable_prefix = "kxvar:/";
constexpr char const* same_as_source = "kxvar:/#same-as-source";

void name_plugin_and_source(properties& result, upgrade_context const& context);
void give_name(properties& result, upgrade_context const& context);
void rename_variables(properties& result, upgrade_context const& context);
void upload_to_parent_folder(properties& result, upgrade_context const& context);

constexpr std::array<upgrade_step, 6> task_steps{
    name_plugin_and_source,  // 1 to 2
    give_name,               // 2 to 3
    rename_variables,        // 3 to 4
    nothing_changed,         // 4 to 5
    upload_to_parent_folder, // 5 to 6
    nothing_changed,         // 6 to 7
};

void take_source_from_task_before(properties& result, upgrade_context const& context);
property_handle take_out(properties& result, std::string_view path);
property_handle renamed_variable(property_handle const& leaf);
property_string const* upload_folder(properties const& task);
void set_upload_folder(properties& task, char const* variable);

} // namespace

kxbase::ptr_refcount<properties> update_task(properties const& document, unsigned int from_version,
                                             unsigned int to_version, kxcore::plugin_db const& plugins,
                                             kxcore::constraint_db const& constraints) {
    return run_steps(task_steps, document, from_version, to_version, plugins, constraints);
}

namespace {

void name_plugin_and_source(properties& result, upgrade_context const& context) {
    if (!context.document.is_present("plugin-id"))
        result.set_property("plugin-id", make_refcount<property_string>(
                                             kxworkflow::wtid_plid(context.document.get_string_value("id"))));
    take_source_from_task_before(result, context);

    // Any longer variable, whatever it names, and not the bare "kxvar:/". This is meant: version 1 knew no other folder
    // for an upload than that of its source, so don't tell the variables apart here.
    property_string const* const folder = upload_folder(result);
    if (folder && folder->value().size() > variable_prefix.size() && folder->value().starts_with(variable_prefix))
        set_upload_folder(result, same_as_source);
}

/// Of every task that waits for its source, encoders too, although nothing may come before them: finalization gives
/// those the source of the submission.
void take_source_from_task_before(properties& result, upgrade_context const& context) {
    auto const* const source =
        kxcore::property_cast<property_special>(context.document.find_referenced(source_url_path));
    if (!source) return;
    if (source->type() == property_special::e_type::deferred &&
        source->sub_type() == property_special::e_sub_type::plain) {
        result.set_referenced_property(
            source_url_path, property_special::create_deferred_variable(kxcore::property_kind::string, "dest-url"));
        return;
    }
    kxbase::report(config_source_path, kxbase::source_position::current().line(), "kxclientutil", 4, 5,
                   kxbase::string_with_format("configuration variable 'source-url' is not what is expected in version "
                                              "%u",
                                              context.running_version));
}

/// A name lay in the extra meta data or in the configuration, whatever kind of value it was.
void give_name(properties& result, upgrade_context const& context) {
    if (context.document.is_present("name")) return;
    if (auto const in_ext_meta = take_out(result, "ext-meta{name}")) {
        result.set_property("name", in_ext_meta);
        // Only what this step has emptied goes, and of the configuration not even that: a task has one, and extra meta
        // data that were empty before are somebody's.
        if (static_cast<properties const&>(*result.find("ext-meta")).empty()) result.erase("ext-meta");
    } else if (auto const in_configuration = take_out(result, "configuration{name}")) {
        result.set_property("name", in_configuration);
    } else {
        result.set_property("name", make_refcount<property_string>("Untitled"));
    }
}

property_handle take_out(properties& result, std::string_view path) {
    property_handle value = result.get_referenced_property(path);
    result.set_referenced_property(path, {});
    return value;
}

/// In every text of the task, at any depth.
void rename_variables(properties& result, upgrade_context const& /*context*/) {
    kxcore::replace_values(result, kxcore::property_kind::string, renamed_variable);
}

/// Empty when there is nothing to rename. A text is a legacy variable as a whole or not at all, and no text that begins
/// with "kxvar:/" is one: the folder of the source in its three spellings stays as it is.
property_handle renamed_variable(property_handle const& leaf) {
    std::string_view const text = static_cast<property_string const&>(*leaf).value();
    if (!text.starts_with('$')) return {}; // spares most texts the copy
    std::string renamed;
    if (!convert_legacy_variable(get_variable_map(), std::string(text), renamed)) return {};
    return make_refcount<property_string>(renamed);
}

/// Of the three spellings of "the folder of the source" only this one. The others never came out of the step from
/// version 1, and texts of users stay as they are.
void upload_to_parent_folder(properties& result, upgrade_context const& /*context*/) {
    property_string const* const folder = upload_folder(result);
    if (folder && folder->value() == same_as_source) set_upload_folder(result, "source.parent-dir-url");
}

/// Where an upload goes; null for other tasks and for what is no string.
property_string const* upload_folder(properties const& task) {
    auto const* const plugin = kxcore::property_cast<property_string>(task.find("plugin-id"));
    if (!plugin || plugin->value() != upload_plid) return nullptr;
    return kxcore::property_cast<property_string>(task.find_referenced(dest_dir_url_path));
}

/// `variable` may be a name or, as in version 2, a URI that names none and stands for itself.
void set_upload_folder(properties& task, char const* variable) {
    task.set_referenced_property(dest_dir_url_path, make_refcount<property_string>(get_variable(variable)));
}

} // namespace

} // namespace kxclientutil
