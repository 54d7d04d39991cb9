// Plugins and workflows that the tests of kxworkflow work with.
#pragma once

#include "kxclientutil/support/trees.h"

#include <kxbase/errors.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxworkflow/workflow_builder.h>

#include <string>
#include <string_view>
#include <vector>

namespace kx_test {

inline constexpr char const* encoder = "task/regular/ogencoder/1.0";
inline constexpr char const* localizer = "task/regular/localize/1.0";
inline constexpr char const* upload = "task/regular/upload/1.0";
inline constexpr char const* packager = "task/regular/mbr/1.0";
inline constexpr char const* script = "task/regular/execute/1.0";

/// A plugin that declares inputs (a name that ends in '*' is publishable) and outputs.
inline kxbase::ptr_refcount<kxcore::plugin_info const>
make_plugin(std::string const& id, std::string const& name, std::vector<std::string> const& inputs,
            std::vector<std::string> const& outputs, std::vector<std::pair<char const*, property_handle>> more = {}) {
    auto in = tree({});
    for (std::string input : inputs) {
        bool const publishable = input.back() == '*';
        if (publishable) input.pop_back();
        in->set_property(input, tree({{"kind", text("string")}, {"publishable", flag(publishable)}}));
    }
    auto out = tree({});
    for (std::string const& output : outputs)
        out->set_property(output, tree({{"kind", text("string")}}));
    auto document =
        tree({{"plugin-id", text(id)}, {"info", tree({{"name", text(name)}})}, {"inputs", in}, {"outputs", out}});
    for (auto const& [key, value] : more)
        document->set_property(key, value);
    return kxbase::make_refcount<kxcore::plugin_info>(document);
}

inline kxcore::plugin_db make_plugins() {
    property_handle const extra = output_reference("extra-source-urls", property_kind::list);
    kxcore::plugin_db plugins;
    plugins.add_plugin(make_plugin(encoder, "ogencoder", {"source-url", "clips", "intro-url"},
                                   {"dest-url", "bitrate-kbps", "output-media-info"}));
    plugins.add_plugin(
        make_plugin(localizer, "localize", {"source-url", "dest-dir-url", "ftp-ssl-mode"}, {"dest-url"}));
    plugins.add_plugin(make_plugin(upload, "upload",
                                   {"source-url", "dest-dir-url", "dest-filename", "extra-source-urls*"}, {"dest-url"},
                                   {{"published", tree({{"extra-dest-urls", extra}})}}));
    plugins.add_plugin(make_plugin(packager, "mbr", {"source-urls", "package-type"}, {"dest-url"}));
    plugins.add_plugin(make_plugin(script, "execute", {"source-url", "env"}, {"exit-code"}));
    return plugins;
}

/// The wtid of a task by its instance name: `id(encoder, "a")`.
inline std::string id(std::string_view plid, std::string_view instance) {
    return "wtid:" + std::string(plid) + "#" + std::string(instance);
}

/// A task document with an id.
inline tree_handle make_task(std::string_view plid, std::string_view instance,
                             property_handle configuration = tree({})) {
    return tree({{"id", text(id(plid, instance))},
                 {"plugin-id", text(plid)},
                 {"name", text(instance)},
                 {"configuration", std::move(configuration)}});
}

inline properties make_workflow(std::vector<property_handle> const& tasks) {
    return properties("name", text("News"), "tasks", list(tasks));
}

inline kxworkflow::workflow_builder make_builder_from(properties const& workflow) {
    return {workflow, make_plugins(), kxcore::constraint_db(false)};
}

inline kxworkflow::workflow_builder make_builder(std::vector<property_handle> const& tasks) {
    return make_builder_from(make_workflow(tasks));
}

inline properties exported(kxworkflow::workflow_builder const& builder) {
    properties workflow(false);
    builder.export_workflow(workflow);
    return workflow;
}

/// The document of one task in an exported workflow; without members when it is not there.
inline properties exported_task(kxworkflow::workflow_builder const& builder, std::string const& wtid) {
    properties const workflow = exported(builder);
    for (property_handle const& task : *workflow.get_list_value("tasks"))
        if (auto const* const document = kxcore::property_cast<properties>(task.get());
            text_at(*document, "id") == wtid)
            return *document;
    return properties(false);
}

inline kxbase::ptr_refcount<kxcore::constraint const> status(std::string_view values) {
    return kxbase::make_refcount<kxcore::constraint_enum>(values);
}

template <typename Call>
std::string arg_message(Call const& call) {
    return message_of<kxbase::es::arg>(call);
}

} // namespace kx_test
