// A ready-made task on its way: what the factories do, in their order, is what they call here.
#pragma once

#include "config/plugin_defaults.h"

#include <utility>

namespace kxclientutil {

class user_task_draft {
public:
    /// Begins with the plugin's default configuration.
    ///
    /// @throws es::arg as new_configuration() does
    user_task_draft(needed_plugin plugin, kxcore::plugin_db const& plugins)
        : plugin_id_(plugin.id), configuration_(new_configuration(plugin, plugins)) {}

    /// Puts a setting in the place of the default, trees and lists whole.
    void set(std::string_view key, kxcore::property_handle value) {
        configuration_->set_property(key, std::move(value));
    }

    /// The setting as it is now; empty when there is none.
    [[nodiscard]] kxcore::property_handle get(std::string_view key) const { return configuration_->get_property(key); }

    /// The task will be one of another plugin; its configuration stays.
    void change_plugin(std::string_view id) { plugin_id_ = id; }

    /// Puts the caller's settings on top.
    void merge(kxcore::properties const& extra) { configuration_->merge_properties(extra); }

    /// The task with this very configuration and this very name.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::properties> make_task(kxcore::property_handle name) const {
        auto task = kxbase::make_refcount<kxcore::properties>(false);
        task->set_property("configuration", configuration_);
        task->set_property("plugin-id", text(plugin_id_));
        task->set_property("name", std::move(name));
        return task;
    }

private:
    std::string_view plugin_id_;
    kxbase::ptr_refcount<kxcore::properties> configuration_;
};

} // namespace kxclientutil
