#pragma once

/// @file
/// What a workflow_builder works on: the tasks of a workflow, found by wtid, and the rest of its document.

#include "task_order.h"
#include "task_record.h"
#include "value_index.h"

#include <kxcore/constraint.h>
#include <kxcore/plugin_db.h>
#include <kxcore/properties.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kxworkflow {

struct workflow_content {
    kxcore::plugin_db plugins;
    kxbase::ptr_refcount<kxcore::constraint const> task_constraint; ///< what documents of tasks must fit; may be empty

    kxcore::properties document; ///< of the workflow, without its tasks
    std::map<std::string, task_record, std::less<>> tasks;
    std::map<std::size_t, task_record*> by_sequence;
    std::size_t next_sequence = 0;
    task_order order;
    value_index index;

    /// Tasks that were removed and that the declared connections may still name; see forget_removed.
    std::set<std::string, std::less<>> removed;
    /// Counts the changes of the capabilities.
    std::uint64_t capabilities_version = 1;
    /// Values that capabilities had and lost, which tasks may still demand.
    std::map<std::string, std::set<kxcore::property_handle, value_less>> withdrawn;

    /// The task.
    ///
    /// @throws es::arg naming the wtid when it is not there
    [[nodiscard]] task_record& require(std::string_view wtid);

    /// The task; null when it is not there.
    [[nodiscard]] task_record* find(std::string_view wtid) noexcept;

    /// Puts a task in, as the last one. Its wiring is added afterwards.
    ///
    /// @param task its wtid is free
    task_record& insert(task_record task);

    /// Takes a task out, and all that names it.
    void remove(task_record& gone);

    /// Gives a task another configuration.
    void configure(task_record& task, kxbase::ptr_refcount<kxcore::properties const> configuration);

    /// Records that an input is fed. Nothing is checked but whether the order of the tasks allows it.
    ///
    /// @param entry the entry of the document, when there is one already
    /// @return false, with nothing changed, when it would close a cycle
    [[nodiscard]] bool connect(task_record& from, std::string_view output, task_record& to, std::string_view input,
                               kxcore::property_handle entry);

    /// Records that a task waits for any one of the others.
    ///
    /// @return false, with nothing changed, when it would close a cycle
    [[nodiscard]] bool make_wait(task_record& waiting, std::vector<task_record*> const& others);

    /// Takes the declared connections that name removed tasks out of the document. It is put off until somebody looks,
    /// so that removing many tasks does not read a long list as often.
    void forget_removed();
};

/// "workflow task 'WTID'": how errors name a task.
[[nodiscard]] std::string place_of(task_record const& task);

} // namespace kxworkflow
