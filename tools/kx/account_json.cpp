#include "account_json.h"

#include "tree_json.h"
#include "tree_text.h"

#include <kxbase/urls.h>
#include <kxclientutil/explanation.h>
#include <kxcore/credentials.h>

namespace kx {
namespace {

using json = nlohmann::ordered_json;
using kxclientutil::finalization_account;
using kxclientutil::finalization_event;

json task_json(std::string const& wtid, finalization_account const& account) {
    auto const task = account.tasks.find(wtid);
    if (task == account.tasks.end()) return {{"id", kxbase::without_url_secrets(wtid)}};
    return {{"id", kxbase::without_url_secrets(wtid)},
            {"name", kxbase::without_url_secrets(task->second.name)},
            {"kind", task->second.kind}};
}

json tasks_json(std::vector<std::string> const& wtids, finalization_account const& account) {
    json tasks = json::array();
    for (auto const& wtid : wtids)
        tasks.push_back(task_json(wtid, account));
    return tasks;
}

void add_text(json& object, char const* key, std::string const& text) {
    if (!text.empty()) object[key] = kxbase::without_url_secrets(text);
}

void add_value(json& object, char const* key, finalization_event const& event, kxcore::property_handle const& value) {
    if (!value) return;
    object[key] = kxclientutil::hides(event, *value)
                      ? json("********")
                      : to_json(*kxcore::credentials::without_secrets(event.path, value), e_binaries::sizes);
}

json event_json(finalization_event const& event, std::string words, finalization_account const& account) {
    json object = {{"step", kxclientutil::finalization_step_name(event.step)},
                   {"change", kxclientutil::finalization_change_name(event.change)},
                   {"words", std::move(words)}};
    if (!event.task.empty()) object["task"] = task_json(event.task, account);
    add_text(object, "path", event.path);
    add_value(object, "before", event, event.before);
    add_value(object, "after", event, event.after);
    if (!event.others.empty()) object["others"] = tasks_json(event.others, account);
    add_text(object, "output", event.output);
    add_text(object, "when", event.when);
    add_text(object, "why", event.why);
    return object;
}

} // namespace

json to_json(finalization_account const& account) {
    std::vector<std::string> words = kxclientutil::explain_events(account);
    json events = json::array();
    for (std::size_t index = 0; index < account.events.size(); ++index)
        events.push_back(event_json(account.events[index], std::move(words[index]), account));
    return {{"complete", account.is_complete},
            {"last-step", kxclientutil::finalization_step_name(account.last_step)},
            {"events", std::move(events)}};
}

} // namespace kx
