#pragma once

/// @file
/// What the installation knows of one plugin: its attributes, the inputs and outputs that tasks of it have, what it
/// publishes to the tasks after it, and the configuration that a new task begins with. A plugin_info is read from a
/// plugin document (docs/installation.md) and never changes afterwards, so one object serves every task and every
/// thread.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>
#include <kxcore/property.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kxcore {

class properties;

/// One input or output that a plugin declares.
///
/// An input's name is the first step of the paths that name it: "dest-filename" declares
/// "dest-filename[2]" too, "env" declares "env{ENCODER_NAME}".
struct plugin_port {
    std::string name;
    /// The kind of the value that goes in or comes out; `property_kind::properties` and
    /// `property_kind::list` when it is a tree or a list.
    property_kind kind = property_kind::string;
    /// Inputs only: a task cannot run before this one is fed.
    bool required = false;
    /// Inputs only: what an earlier task publishes under a reference to this name may be connected
    /// to it without being asked for; whoever starts the workflow does not feed it.
    bool publishable = false;
    std::string description;
};

/// One value that every task of a plugin publishes: what the output `name` offers to the tasks
/// after it. A variable reference as the value names the input that it is meant for.
struct plugin_published_value {
    std::string name;
    kxbase::ptr_refcount<property const> value;
};

/// The description of one plugin.
class KXCORE_EXPORT plugin_info : public kxbase::object_refcount {
public:
    /// Reads the description out of the tree of a plugin document, which is shared, not copied,
    /// and must not be changed afterwards. Make one with `kxbase::make_refcount<plugin_info>`.
    ///
    /// @throws es::arg naming the property path of every member that does not fit, one per line
    explicit plugin_info(kxbase::ptr_refcount<properties const> document);

    ~plugin_info() override;
    plugin_info(plugin_info const&) = delete;
    plugin_info& operator=(plugin_info const&) = delete;

    /// The plugin id, for example "task/regular/mail/1.0".
    [[nodiscard]] std::string const& get_id() const noexcept;

    /// The plugin's name for people, the attribute "info.name"; tasks call it their type.
    [[nodiscard]] std::string const& get_name() const noexcept;

    /// The configuration that a new task of this plugin begins with.
    ///
    /// @return the one tree that all callers share; copy it before you change it (a copy costs
    ///         one reference)
    [[nodiscard]] kxbase::ptr_refcount<properties const> const& get_default_configuration() const noexcept;

    /// One attribute of the plugin.
    ///
    /// @param key the attribute's name, a dot between the levels: "info.name", "plugin-id",
    ///        "inputs.source-url.kind". A member whose own name holds the dot is found before a
    ///        descent.
    /// @return the value, a tree for a whole level ("info"); empty when there is none
    [[nodiscard]] kxbase::ptr_refcount<property const> get(std::string_view key) const;

    /// The declared inputs in byte order of their names.
    [[nodiscard]] std::span<plugin_port const> get_inputs() const noexcept;

    /// The declared outputs in byte order of their names.
    [[nodiscard]] std::span<plugin_port const> get_outputs() const noexcept;

    /// The values that every task of this plugin publishes, in byte order of their names.
    [[nodiscard]] std::span<plugin_published_value const> get_published() const noexcept;

    /// The declared input of that name (no path: its first step); nullptr when there is none.
    [[nodiscard]] plugin_port const* find_input(std::string_view name) const noexcept;

    /// The declared output of that name; nullptr when there is none.
    [[nodiscard]] plugin_port const* find_output(std::string_view name) const noexcept;

private:
    kxbase::ptr_refcount<properties const> document_;
    kxbase::ptr_refcount<properties const> default_configuration_;
    std::string id_;
    std::string name_;
    std::vector<plugin_port> inputs_;
    std::vector<plugin_port> outputs_;
    std::vector<plugin_published_value> published_;
};

/// The name under which the installation's constraint database describes the configurations of
/// a plugin: "plugin." and the id, for example "plugin.task/regular/mail/1.0".
[[nodiscard]] KXCORE_EXPORT std::string plugin_constraint_name(std::string_view plugin_id);

} // namespace kxcore
