#pragma once

/// @file
/// A task while a builder works on it.

#include "task_order.h"
#include "wiring_list.h"

#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_values.h>
#include <kxworkflow/task_view.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kxworkflow {

/// What connects one input of a task. Sorted by the task that it comes from, so that all from one task lie together.
struct connection_key {
    std::string from_wtid;
    std::string from_node;
    std::string to_node;

    [[nodiscard]] friend bool operator<(connection_key const& a, connection_key const& b) {
        return std::tie(a.from_wtid, a.from_node, a.to_node) < std::tie(b.from_wtid, b.from_node, b.to_node);
    }
};

struct connection {
    std::size_t sequence;             ///< the order in which they were connected
    kxcore::property_handle document; ///< the entry of the document
};

/// Everything of a task but its wiring is in `document`; what is asked for often is kept beside it as well.
struct task_record {
    std::string wtid;
    kxbase::ptr_refcount<kxcore::property_string const> wtid_text;
    std::string plid;
    std::size_t sequence = 0; ///< tasks are exported in this order; numbers are not used twice
    task_order::vertex vertex = 0;

    kxcore::properties document; ///< as it is exported, its wiring excepted
    kxbase::ptr_refcount<kxcore::plugin_info const> info;
    kxbase::ptr_refcount<kxcore::properties const> configuration; ///< never empty
    std::string name;

    std::map<connection_key, connection> sources; ///< what feeds the inputs
    std::size_t next_source = 0;
    /// Output to the inputs that it feeds: wtid and input.
    std::map<std::string, std::set<std::pair<std::string, std::string>>, std::less<>> feeds;
    wiring_list run_dependencies{true};
    wiring_list kill_triggers{false};
    /// The sequence numbers of the tasks whose wiring names this one, or named it once. They may be gone by now, and
    /// the same may be there twice: it is read once, when this task goes.
    std::vector<std::size_t> named_by;

    /// The version of the capabilities that the requirements were derived for; 0 when they are to be looked at.
    std::uint64_t derived_for = 0;

    /// The wiring is not what the document says any more.
    bool rewired = false;
    /// The task as it was exported last, or as it came; empty after a change.
    mutable kxbase::ptr_refcount<kxcore::properties const> exported;
    /// The last view of it; empty after a change.
    mutable kxbase::ptr_refcount<task const> view;

    /// To be called with every change.
    void touch() noexcept {
        exported.reset();
        view.reset();
    }
};

} // namespace kxworkflow
