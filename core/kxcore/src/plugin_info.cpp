#include <kxcore/plugin_info.h>

#include "plugin_document.h"

#include <kxbase/errors.h>
#include <kxcore/properties.h>

#include <algorithm>
#include <utility>

namespace kxcore {

namespace {

plugin_port const* find_port(std::vector<plugin_port> const& ports, std::string_view name) noexcept;
property const* find_attribute(properties const& tree, std::string_view key) noexcept;

} // namespace

plugin_info::plugin_info(kxbase::ptr_refcount<properties const> document) : document_(std::move(document)) {
    if (!document_) kxbase::es::arg::raise("a plugin description is made of a plugin document, not of nothing");

    std::vector<document_problem> problems;
    plugin_document read = read_plugin_document(*document_, problems);
    if (!problems.empty()) {
        std::string text;
        for (document_problem const& problem : problems)
            text += (text.empty() ? "" : "\n") + problem.path + ": " + problem.what;
        kxbase::es::arg::raise(text);
    }
    default_configuration_ = std::move(read.default_configuration);
    id_ = std::move(read.id);
    name_ = std::move(read.name);
    inputs_ = std::move(read.inputs);
    outputs_ = std::move(read.outputs);
    published_ = std::move(read.published);
}

plugin_info::~plugin_info() = default;

std::string const& plugin_info::get_id() const noexcept {
    return id_;
}

std::string const& plugin_info::get_name() const noexcept {
    return name_;
}

kxbase::ptr_refcount<properties const> const& plugin_info::get_default_configuration() const noexcept {
    return default_configuration_;
}

kxbase::ptr_refcount<property const> plugin_info::get(std::string_view key) const {
    return kxbase::ptr_refcount<property const>(find_attribute(*document_, key));
}

std::span<plugin_port const> plugin_info::get_inputs() const noexcept {
    return inputs_;
}

std::span<plugin_port const> plugin_info::get_outputs() const noexcept {
    return outputs_;
}

std::span<plugin_published_value const> plugin_info::get_published() const noexcept {
    return published_;
}

plugin_port const* plugin_info::find_input(std::string_view name) const noexcept {
    return find_port(inputs_, name);
}

plugin_port const* plugin_info::find_output(std::string_view name) const noexcept {
    return find_port(outputs_, name);
}

std::string plugin_constraint_name(std::string_view plugin_id) {
    return "plugin." + std::string(plugin_id);
}

namespace {

plugin_port const* find_port(std::vector<plugin_port> const& ports, std::string_view name) noexcept {
    auto const found =
        std::lower_bound(ports.begin(), ports.end(), name,
                         [](plugin_port const& port, std::string_view wanted) { return port.name < wanted; });
    return found != ports.end() && found->name == name ? &*found : nullptr;
}

property const* find_attribute(properties const& tree, std::string_view key) noexcept {
    property const* const member = tree.find(key);
    if (member != nullptr) return member;

    // A key of the tree may hold dots of its own, so each dot may be the one that descends.
    for (std::size_t dot = key.find('.'); dot != std::string_view::npos; dot = key.find('.', dot + 1)) {
        auto const* const below = property_cast<properties>(tree.find(key.substr(0, dot)));
        if (below == nullptr) continue;
        if (property const* const found = find_attribute(*below, key.substr(dot + 1))) return found;
    }
    return nullptr;
}

} // namespace

} // namespace kxcore
