// Where the steps of finalization tell what they do, and why.
#pragma once

#include <kxclientutil/explanation.h>

#include <kxcore/property.h>

#include <set>
#include <span>
#include <string>
#include <string_view>

namespace kxworkflow {
class workflow_builder;
}

namespace kxclientutil {

/// What becomes of a task whose requirements are derived.
inline constexpr std::string_view asks_for_node =
    "asks for a node that has its plugin, and whatever the plugin and the job ask for";

/// A handle to the account that the caller asked for; without one nothing is noted, and a note costs the test of a pointer.
/// Reasons are a few words that end a sentence: "its file lies on a server".
class finalization_notes {
public:
    finalization_notes() = default;
    explicit finalization_notes(finalization_account* account) : account_(account) {}

    /// Whether somebody listens, for who has to find out first what there is to tell.
    [[nodiscard]] bool is_listening() const noexcept { return account_ != nullptr; }

    /// The number of notes so far; 0 when nobody listens.
    [[nodiscard]] std::size_t get_count() const noexcept { return account_ ? account_->events.size() : 0; }

    /// Everything from here on belongs to that step.
    void begin(e_finalization_step step) const;

    /// Finalization came to its end.
    void complete() const;

    /// A workflow is worked on now: learns the names of its tasks.
    void opened(kxworkflow::workflow_builder const& builder) const;

    /// A value of the submission, when the task is empty, or of a task's configuration.
    void set(std::string_view task, std::string_view path, kxcore::property_handle const& before,
             kxcore::property_handle const& after, std::string_view why) const;

    /// The same for what the caller asks for: it may be there already.
    void asked(std::string_view path, kxcore::property_handle const& before, kxcore::property_handle const& after,
               std::string_view why) const;
    void kept(std::string_view task, std::string_view path, kxcore::property_handle const& value,
              std::string_view why) const;

    /// A value for an input that went to no task.
    void unused(std::string_view path, kxcore::property_handle const& value, std::string_view why) const;

    /// Every value in which the configuration of a task changed.
    void configured(std::string_view task, kxcore::properties const& before, kxcore::properties const& after,
                    std::string_view why) const;

    /// A task that the builder has since a moment.
    void added(kxworkflow::workflow_builder const& builder, std::string_view task, std::string_view why,
               kxcore::property_handle const& what = {}) const;

    /// Connects an output to an input, and tells whether that was possible, and why it was not.
    ///
    /// @return as workflow_builder::connect()
    [[nodiscard]] bool connect(kxworkflow::workflow_builder& builder, std::string_view from, std::string_view output,
                               std::string_view to, std::string_view input, std::string_view why) const;

    /// Nothing of one task could be handed on to another, though they are joined.
    void not_connected(std::string_view from, std::string_view to, std::string_view why) const;

    /// One dependency right after another of the same task on the same end becomes one note.
    ///
    /// @param when  "success", "failure" or "any"
    void runs_after(std::string_view task, std::string_view other, std::string_view when) const;
    void runs_after_any(std::string_view task, std::set<std::string> const& others, std::string_view when) const;
    void stops(std::string_view task, std::set<std::string> const& others, std::string_view when) const;

    void published(std::string_view task, std::string_view output, kxcore::property_handle const& value,
                   std::string_view why) const;
    void source_feeds(std::string_view task, std::string_view input, std::string_view why = {}) const;
    void each_task(kxworkflow::workflow_builder const& builder, std::string_view why) const;
    void one_task(std::string_view task, std::string_view why) const;
    void resource(std::string_view uri) const;

private:
    finalization_event& add(e_finalization_change change, std::string_view task, std::string_view path,
                            std::string_view why) const;

    finalization_account* account_ = nullptr;
};

} // namespace kxclientutil
