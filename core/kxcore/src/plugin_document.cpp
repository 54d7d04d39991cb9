#include "plugin_document.h"

#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/constraint_string.h>
#include <kxcore/constraint_values.h>
#include <kxcore/properties.h>
#include <kxcore/references.h>

namespace kxcore {

namespace {

using kxbase::make_refcount;
using kxbase::ptr_refcount;

struct document_shapes {
    ptr_refcount<constraint_db const> document;
    ptr_refcount<constraint_db const> input;
    ptr_refcount<constraint_db const> output;
};

document_shapes const& shapes();
void check_ports(properties const& document, std::string_view key, constraint_db const& shape,
                 std::vector<document_problem>& problems);
std::vector<plugin_port> take_ports(properties const& document, std::string_view key);
plugin_port take_port(std::string_view name, properties const& port);
std::vector<plugin_published_value> take_published(properties const& document);
properties const* find_tree(properties const& tree, std::string_view key);

} // namespace

plugin_document read_plugin_document(properties const& document, std::vector<document_problem>& problems) {
    std::size_t const before = problems.size();
    append_findings(shapes().document->findings(document, validity::none), {}, problems);
    check_ports(document, "inputs", *shapes().input, problems);
    check_ports(document, "outputs", *shapes().output, problems);
    if (problems.size() != before) return {};

    plugin_document result;
    result.id = document.get_string_value("plugin-id");
    result.name = document.get_properties_value("info")->get_string_value("name");
    result.default_configuration = property_cast<properties>(document.get_property("default-configuration"));
    if (!result.default_configuration) result.default_configuration = make_refcount<properties>();
    result.configuration_constraint = property_cast<properties>(document.get_property("configuration-constraint"));
    result.inputs = take_ports(document, "inputs");
    result.outputs = take_ports(document, "outputs");
    result.published = take_published(document);
    return result;
}

void append_findings(std::vector<finding> const& findings, std::string_view outer,
                     std::vector<document_problem>& problems) {
    for (finding const& found : findings) {
        // The path is told once, by whoever puts the problem into words.
        std::string const text = found.to_string();
        std::string const head = found.path + ": ";
        problems.push_back({inner_path(outer, found.path), text.starts_with(head) ? text.substr(head.size()) : text});
    }
}

std::string inner_path(std::string_view outer, std::string_view inner) {
    if (outer.empty()) return std::string(inner);
    std::string path(outer);
    if (inner.empty() || inner.front() == '[') return path.append(inner);
    std::size_t const key_end = inner.find_first_of("{[");
    append_reference_key(path, inner.substr(0, key_end));
    if (key_end != std::string_view::npos) path.append(inner.substr(key_end));
    return path;
}

namespace {

/// What a plugin document looks like. In code rather than in the constraint database, since it is
/// what the documents around that database are read by.
document_shapes const& shapes() {
    static document_shapes const made = [] {
        auto const any_text = make_refcount<constraint_string>();
        auto const text = make_refcount<constraint_string>(std::size_t{1});
        auto const tree = make_refcount<constraint_db>();
        // '#' and '>' end the plugin id where a task id and a workflow path begin with one.
        auto const id = make_refcount<constraint_string>(std::string_view("[^#>\\s]+"));
        auto const kind = make_refcount<constraint_enum>("binary|bool|int|list|properties|string");
        auto const flag = make_refcount<constraint_bool>();

        auto const info = make_refcount<constraint_db>();
        info->add_constraint("name", text, true);
        for (auto const* key : {"category", "description", "title", "version"})
            info->add_constraint(key, any_text, false);

        auto const document = make_refcount<constraint_db>(true);
        document->add_constraint("plugin-id", id, true);
        document->add_constraint("info", info, true);
        document->add_constraint("requirements", make_refcount<constraint_any>(), false);
        // What a published value is meant for is a special, so any value goes: no constraint.
        for (auto const* key :
             {"configuration-constraint", "default-configuration", "ext-meta", "inputs", "outputs", "published"})
            document->add_constraint(key, tree, false);

        auto const output = make_refcount<constraint_db>(true);
        output->add_constraint("kind", kind, true);
        output->add_constraint("description", any_text, false);
        auto const input = make_refcount<constraint_db>(*output);
        input->add_constraint("required", flag, false);
        input->add_constraint("publishable", flag, false);
        return document_shapes{document, input, output};
    }();
    return made;
}

void check_ports(properties const& document, std::string_view key, constraint_db const& shape,
                 std::vector<document_problem>& problems) {
    properties const* const ports = find_tree(document, key);
    if (ports == nullptr) return;
    for (property_member const& member : *ports) {
        std::string const path = inner_path(key, member.key());
        if (auto const* port = property_cast<properties>(member.value().get()))
            append_findings(shape.findings(*port, validity::none), path, problems);
        else
            problems.push_back({path, "must be a tree with the \"kind\" of the value"});
    }
}

std::vector<plugin_port> take_ports(properties const& document, std::string_view key) {
    std::vector<plugin_port> ports;
    if (properties const* const tree = find_tree(document, key))
        for (property_member const& member : *tree)
            ports.push_back(take_port(member.key(), *property_cast<properties>(member.value().get())));
    return ports;
}

plugin_port take_port(std::string_view name, properties const& port) {
    plugin_port result;
    result.name = name;
    static_cast<void>(property_kind_from_name(port.get_string_value("kind"), result.kind));
    result.required = port.get_bool_value("required", false);
    result.publishable = port.get_bool_value("publishable", false);
    result.description = port.get_string_value("description", "");
    return result;
}

std::vector<plugin_published_value> take_published(properties const& document) {
    std::vector<plugin_published_value> published;
    if (properties const* const tree = find_tree(document, "published"))
        for (property_member const& member : *tree)
            published.push_back({std::string(member.key()), member.value()});
    return published;
}

properties const* find_tree(properties const& tree, std::string_view key) {
    return property_cast<properties>(tree.find(key));
}

} // namespace

} // namespace kxcore
