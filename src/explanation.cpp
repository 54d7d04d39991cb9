#include <kxclientutil/explanation.h>

#include "submission/workflow_variable_values.h"

#include <kxbase/secret_names.h>
#include <kxbase/urls.h>
#include <kxcore/credentials.h>
#include <kxcore/properties.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxcore/shown_value.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>

namespace kxclientutil {

namespace {

using kxcore::property_cast;
using kxcore::property_handle;
using kxcore::property_special;

struct step_words {
    std::string_view name;
    std::string_view title;
};

/// By the value of e_finalization_step.
constexpr std::array<step_words, 18> steps{{
    {"names", "Names"},
    {"workflow", "The workflow"},
    {"source", "The source"},
    {"settings", "Settings of the job"},
    {"input-values", "Your values for inputs"},
    {"media-files", "Files that encoders need beside their source"},
    {"extra-files", "Files that encoders find beside their source"},
    {"task-names", "Names of the tasks"},
    {"connections", "What was drawn between the tasks"},
    {"failure-actions", "When something fails"},
    {"success-actions", "When all has gone well"},
    {"local-files", "Files in the settings of tasks"},
    {"variables", "Variables"},
    {"requirements", "What nodes must have"},
    {"source-wiring", "What the source feeds"},
    {"kind", "The kind of the job"},
    {"original", "What is kept"},
    {"resources", "What nodes reach through this client"},
}};

static_assert(steps.size() == static_cast<std::size_t>(e_finalization_step::resources) + 1);

/// Writes events of one account as sentences.
class narrator {
public:
    explicit narrator(finalization_account const& account);

    [[nodiscard]] std::string sentence(finalization_event const& event) const;

    [[nodiscard]] std::string value_set(finalization_event const& event) const;
    [[nodiscard]] std::string value_kept(finalization_event const& event) const;
    [[nodiscard]] std::string value_unused(finalization_event const& event) const;
    [[nodiscard]] std::string task_added(finalization_event const& event) const;
    [[nodiscard]] std::string connected(finalization_event const& event) const;
    [[nodiscard]] std::string not_connected(finalization_event const& event) const;
    [[nodiscard]] std::string runs_after(finalization_event const& event) const;
    [[nodiscard]] std::string runs_after_any(finalization_event const& event) const;
    [[nodiscard]] std::string stops(finalization_event const& event) const;
    [[nodiscard]] std::string published(finalization_event const& event) const;
    [[nodiscard]] std::string source_feeds(finalization_event const& event) const;
    [[nodiscard]] std::string each_task(finalization_event const& event) const;
    [[nodiscard]] std::string resource(finalization_event const& event) const;

private:
    [[nodiscard]] std::string task(std::string_view wtid) const;
    [[nodiscard]] std::string tasks(std::vector<std::string> const& wtids, std::string_view last_word) const;
    [[nodiscard]] std::string place(finalization_event const& event) const;

    finalization_account const& account_;
    std::set<std::string> ambiguous_; // what more than one task is called
};

struct change_words {
    std::string_view name;
    std::string (narrator::*sentence)(finalization_event const&) const;
};

/// By the value of e_finalization_change.
constexpr std::array<change_words, 13> changes{{
    {"value-set", &narrator::value_set},
    {"value-kept", &narrator::value_kept},
    {"value-unused", &narrator::value_unused},
    {"task-added", &narrator::task_added},
    {"connected", &narrator::connected},
    {"not-connected", &narrator::not_connected},
    {"runs-after", &narrator::runs_after},
    {"runs-after-any", &narrator::runs_after_any},
    {"stops", &narrator::stops},
    {"published", &narrator::published},
    {"source-feeds", &narrator::source_feeds},
    {"each-task", &narrator::each_task},
    {"resource", &narrator::resource},
}};

static_assert(changes.size() == static_cast<std::size_t>(e_finalization_change::resource) + 1);

std::string called(account_task const& task);
std::string one_line(std::string_view text);
std::string value_text(property_handle const& value, finalization_event const& event);
std::string becomes(finalization_event const& event);
std::string reason_of(finalization_event const& event);
std::string with_reason(std::string sentence, finalization_event const& event);
} // namespace

std::string explain_finalization(finalization_account const& account) {
    narrator const tells(account);
    std::string text;
    finalization_event const* previous = nullptr;
    for (finalization_event const& event : account.events) {
        if (!previous || previous->step != event.step) text.append(finalization_step_title(event.step)).append("\n");
        text.append("  ").append(tells.sentence(event)).append("\n");
        previous = &event;
    }
    if (!account.is_complete)
        text.append("It ended here, at \"").append(finalization_step_title(account.last_step)).append("\"\n");
    return text;
}

std::vector<std::string> explain_events(finalization_account const& account) {
    narrator const tells(account);
    std::vector<std::string> sentences;
    sentences.reserve(account.events.size());
    for (finalization_event const& event : account.events)
        sentences.push_back(tells.sentence(event));
    return sentences;
}

bool hides(finalization_event const& event, kxcore::property const& value) {
    if (kxcore::credentials::is_secret_at(event.path, value)) return true;
    auto const* const before = property_cast<kxcore::property_string>(event.before.get());
    if (!before || &value == before) return false;
    auto const variable = read_workflow_variable(before->value());
    return variable && kxbase::is_secret_name(variable->name);
}

std::string_view finalization_step_name(e_finalization_step step) {
    return steps.at(static_cast<std::size_t>(step)).name;
}

std::string_view finalization_step_title(e_finalization_step step) {
    return steps.at(static_cast<std::size_t>(step)).title;
}

std::string_view finalization_change_name(e_finalization_change change) {
    return changes.at(static_cast<std::size_t>(change)).name;
}

namespace {

narrator::narrator(finalization_account const& account) : account_(account) {
    std::set<std::string> seen;
    for (auto const& [wtid, task] : account.tasks)
        if (!seen.insert(called(task)).second) ambiguous_.insert(called(task));
}

std::string narrator::sentence(finalization_event const& event) const {
    return (this->*changes.at(static_cast<std::size_t>(event.change)).sentence)(event);
}

std::string narrator::value_set(finalization_event const& event) const {
    std::string text = place(event);
    if (event.before) text += ", which was " + value_text(event.before, event) + ',';
    return with_reason(text + becomes(event), event);
}

std::string narrator::value_kept(finalization_event const& event) const {
    return with_reason(place(event) + " stays " + value_text(event.before, event), event);
}

std::string narrator::value_unused(finalization_event const& event) const {
    return with_reason("your " + value_text(event.after, event) + " for " + place(event) + " goes nowhere", event);
}

std::string narrator::task_added(finalization_event const& event) const {
    std::string text = "new task " + task(event.task) + ": it " + reason_of(event);
    if (event.after) text += ' ' + value_text(event.after, event);
    return text;
}

std::string narrator::connected(finalization_event const& event) const {
    std::string text = place(event);
    if (event.before && event.before->kind() == kxcore::property_kind::string)
        text += ", which was " + value_text(event.before, event) + ',';
    return with_reason(text + " gets the output " + one_line(event.output) + " of " + tasks(event.others, "and"),
                       event);
}

std::string narrator::not_connected(finalization_event const& event) const {
    std::string text = place(event) + " gets ";
    text += event.output.empty() ? "nothing" : "no output " + one_line(event.output);
    return with_reason(text + " of " + tasks(event.others, "and"), event);
}

/// What has to have become of other tasks.
std::string ended(std::string_view when) {
    if (when == "success") return "succeeded";
    if (when == "failure") return "failed, could not start, was cancelled, or lacked what it needs";
    return "ended, whatever came of it";
}

std::string narrator::runs_after(finalization_event const& event) const {
    return task(event.task) + " runs when " + tasks(event.others, "and") +
           (event.others.size() == 1 ? " has " : " have ") + ended(event.when);
}

std::string narrator::runs_after_any(finalization_event const& event) const {
    if (event.others.empty()) return task(event.task) + " never runs: there is no task for it to wait for";
    std::string text = task(event.task) + " runs when ";
    if (event.others.size() > 1) text += "any one of ";
    return text + tasks(event.others, "or") + " has " + ended(event.when);
}

std::string narrator::stops(finalization_event const& event) const {
    return "when " + task(event.task) + " has " + ended(event.when) + ", " + tasks(event.others, "and") +
           (event.others.size() == 1 ? " is stopped" : " are stopped");
}

std::string narrator::published(finalization_event const& event) const {
    std::string text = task(event.task) + " hands on its output " + one_line(event.output);
    auto const* const meant_for = property_cast<property_special>(event.after.get());
    if (meant_for) text += " to inputs called " + one_line(meant_for->value());
    return with_reason(std::move(text), event);
}

std::string narrator::source_feeds(finalization_event const& event) const {
    return with_reason(place(event) + " is fed by the source", event);
}

std::string narrator::each_task(finalization_event const& event) const {
    if (event.others.size() == 1) return task(event.others.front()) + ' ' + reason_of(event);
    return "each of the " + std::to_string(event.others.size()) + " tasks " + reason_of(event);
}

std::string narrator::resource(finalization_event const& event) const {
    return value_text(event.after, event);
}

std::string narrator::task(std::string_view wtid) const {
    auto const known = account_.tasks.find(wtid);
    if (known == account_.tasks.end()) return kxcore::shown_text(wtid, 200) + " (no such task)";
    std::string text = called(known->second);
    if (text.empty() || ambiguous_.contains(text)) text += " [" + one_line(wtid) + ']';
    return text;
}

/// Of many the first ones: nobody reads a thousand names in a sentence.
std::string narrator::tasks(std::vector<std::string> const& wtids, std::string_view last_word) const {
    constexpr std::size_t most = 10;
    std::size_t const named = wtids.size() > most + 1 ? most : wtids.size();
    std::string text;
    for (std::size_t index = 0; index < named; ++index) {
        bool const is_last = index + 1 == wtids.size();
        if (index != 0) text.append(is_last ? " " + std::string(last_word) + ' ' : ", ");
        text += task(wtids[index]);
    }
    if (named < wtids.size())
        text.append(" ").append(last_word).append(" " + std::to_string(wtids.size() - named) + " more");
    return text;
}

/// What the sentence is about.
std::string narrator::place(finalization_event const& event) const {
    if (event.task.empty()) return one_line(event.path);
    if (event.path.empty()) return task(event.task);
    return task(event.task) + ": " + one_line(event.path);
}

std::string called(account_task const& task) {
    std::string text = kxcore::shown_text(task.name);
    if (!task.kind.empty()) text += " (" + one_line(task.kind) + ')';
    return text;
}

/// As it is where that is safe, else in quotes and escaped.
std::string one_line(std::string_view text) {
    constexpr std::size_t longest = 400;
    bool const is_plain = text.size() <= longest && text.find_first_of("@=") == std::string_view::npos &&
                          std::ranges::all_of(text, [](unsigned char byte) { return byte >= 0x20 && byte != 0x7f; });
    return is_plain ? std::string(text) : kxcore::shown_text(text, longest);
}

std::string value_text(property_handle const& value, finalization_event const& event) {
    constexpr std::size_t longest = 200;
    if (!value) return "nothing";
    bool const secret = hides(event, *value);
    if (auto const* const text = property_cast<kxcore::property_string>(value.get()); text && !secret)
        return kxcore::shown_text(text->value(), longest);
    if (!secret && (value->kind() == kxcore::property_kind::boolean || value->kind() == kxcore::property_kind::integer))
        return value->to_string();
    return kxcore::found_text(*value, secret);
}

std::string becomes(finalization_event const& event) {
    if (!event.after) return " is gone";
    auto const* const special = property_cast<property_special>(event.after.get());
    if (special && special->sub_type() == property_special::e_sub_type::context)
        return " is filled in by the node when the job runs (" + one_line(special->value()) + ')';
    return " is now " + value_text(event.after, event);
}

/// A variable of any text may be in it.
std::string reason_of(finalization_event const& event) {
    return kxbase::without_url_secrets(event.why);
}

std::string with_reason(std::string sentence, finalization_event const& event) {
    if (!event.why.empty()) sentence += ": " + reason_of(event);
    return sentence;
}

} // namespace

} // namespace kxclientutil
