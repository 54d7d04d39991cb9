#pragma once

/// @file
/// The run dependencies or the kill triggers of one task: entries of other tasks and a constraint on the status that
/// they end in. Each entry keeps the tree that it came as, or that was made for it, so what is not understood in it
/// survives.

#include <kxcore/property_list.h>

#include <cstddef>
#include <set>
#include <string_view>
#include <vector>

namespace kxcore {
class constraint;
}

namespace kxworkflow {

struct task_record;

/// Orders handles by the values behind them.
struct value_less {
    bool operator()(kxcore::property_handle const& a, kxcore::property_handle const& b) const { return *a < *b; }
};

class wiring_list {
public:
    /// @param keeps_empty whether an entry that loses its last task stays
    explicit wiring_list(bool keeps_empty) noexcept : keeps_empty_(keeps_empty) {}

    /// Adds an entry as a document has it; one that is equal to an earlier one is dropped.
    ///
    /// @return whether it was added
    bool add(std::vector<task_record*> tasks, kxcore::property_handle document);

    /// Adds an entry of these tasks.
    bool add(std::vector<task_record*> tasks, kxbase::ptr_refcount<kxcore::constraint const> const& status);

    /// Takes a task out of all entries.
    void remove(task_record const* task);

    [[nodiscard]] bool empty() const noexcept { return entries_.empty(); }

    /// The entries in the order in which they were added, as a document has them.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::property_list> to_list() const;

private:
    struct entry {
        std::vector<task_record*> tasks; ///< by address
        kxcore::property_handle document;
    };

    bool keeps_empty_;
    std::vector<entry> entries_;
    std::set<kxcore::property_handle, value_less> known_; ///< the documents of the entries
};

} // namespace kxworkflow
