#pragma once

/// @file
/// One task of a workflow while all are gone through: what a workflow_builder does to a task, without
/// finding the task, and making a view of it, for each thing that is done.

#include <kxbase/ptr_refcount.h>
#include <kxworkflow/export.h>

#include <string>
#include <string_view>

namespace kxcore {
class properties;
class property;
} // namespace kxcore

namespace kxworkflow {

struct task_record;
struct workflow_content;

/// The task that workflow_builder::for_each_task() is at. Valid during the call that got it.
class KXWORKFLOW_EXPORT task_editor {
public:
    /// For the library itself; callers get it from a workflow_builder.
    task_editor(workflow_content& content, task_record& task) noexcept : content_(content), task_(task) {}
    task_editor(task_editor const&) = delete;
    task_editor& operator=(task_editor const&) = delete;
    ~task_editor() = default;

    /// The wtid.
    [[nodiscard]] std::string const& get_wtid() const noexcept;

    /// The task's own name; empty when it has none.
    [[nodiscard]] std::string const& get_name() const noexcept;

    /// The configuration as it is now; never empty.
    [[nodiscard]] kxbase::ptr_refcount<kxcore::properties const> const& get_configuration() const noexcept;

    /// As workflow_builder::configure_task(), with a configuration that is shared and not copied:
    /// it must not be changed afterwards.
    ///
    /// @throws es::arg for an empty handle
    void configure(kxbase::ptr_refcount<kxcore::properties const> configuration);

    /// As workflow_builder::add_task_ext_meta().
    void add_ext_meta(std::string_view key, kxbase::ptr_refcount<kxcore::property const> value);

private:
    workflow_content& content_;
    task_record& task_;
};

} // namespace kxworkflow
