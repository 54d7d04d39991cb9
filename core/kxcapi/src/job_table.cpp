#include "job_table.h"

#include "calling_handler.h"
#include "reporting.h"

#include <kxbase/errors.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <algorithm>
#include <set>
#include <utility>

namespace kxcapi {

namespace {

using kxbase::ptr_refcount;
using kxcore::properties;
using kxcore::property_list;

ptr_refcount<properties const> with_task_types(ptr_refcount<properties const> const& tree,
                                               kxcore::plugin_db const& plugins);
kxcore::property_handle with_type(kxcore::property_handle const& task, kxcore::plugin_db const& plugins);

} // namespace

job_table::job_table(state_handler* told, std::optional<job_cache> cache) : told_(told), cache_(std::move(cache)) {}

void job_table::event(kxp::packet const& packet) {
    is_outdated_ = false;
    struct announcement {
        std::string_view name;
        void (job_table::*take)(properties const& announced);
    };
    constexpr announcement announcements[] = {
        {"cluster.state", &job_table::take_state},
        {"cluster.job", &job_table::take_job},
        {"cluster.job.removed", &job_table::take_removal},
    };
    for (announcement const& each : announcements) {
        if (packet.get_name() != each.name) continue;
        try {
            return (this->*each.take)(packet.get_properties());
        } catch (kxbase::es::arg const& error) {
            report(e_report_kind_connection, e_report_severity_warning,
                   "event \"" + packet.get_name() + "\" dropped: " + error.what());
            return;
        }
    }
    tell([&](state_handler& told) { told.event(packet); });
}

void job_table::closed(std::string const& reason) {
    tell([&](state_handler& told) { told.closed(reason); });
}

void job_table::start() {
    is_outdated_ = true;
    if (cache_) return;
    std::lock_guard const lock(guard_);
    jobs_.clear();
}

std::vector<job> job_table::get_jobs() const {
    std::lock_guard const lock(guard_);
    std::vector<job> all;
    all.reserve(jobs_.size());
    for (auto const& [id, each] : jobs_)
        all.push_back(each);
    return all;
}

std::optional<job> job_table::get_job(std::string_view id) const {
    std::lock_guard const lock(guard_);
    auto const found = jobs_.find(id);
    if (found == jobs_.end()) return std::nullopt;
    return found->second;
}

/// All of it is read before any of it counts.
void job_table::take_state(properties const& announced) {
    std::vector<job> now;
    for (auto const& each : *announced.get_list_value("jobs")) {
        auto const tree = kxcore::property_cast<properties>(each);
        if (!tree) kxbase::es::arg::raise("\"jobs\" holds something else than trees");
        now.push_back(read_job(tree));
    }
    std::set<std::string, std::less<>> ids;
    for (job const& each : now)
        ids.insert(each.id);
    for (job const& each : get_jobs()) {
        if (ids.contains(each.id)) continue;
        for (job const& gone : forget(each.id))
            tell([&](state_handler& told) { told.job_removed(gone); });
    }
    for (job const& each : now)
        if (put(each)) tell([&](state_handler& told) { told.job_changed(each); });
    if (!is_outdated_) tell([&](state_handler& told) { told.state_complete(); });
}

void job_table::take_job(properties const& announced) {
    job const now = read_job(announced.get_properties_value("job"));
    if (put(now)) tell([&](state_handler& told) { told.job_changed(now); });
}

void job_table::take_removal(properties const& announced) {
    for (job const& gone : forget(announced.get_string_value("id")))
        tell([&](state_handler& told) { told.job_removed(gone); });
}

job job_table::read_job(ptr_refcount<properties const> const& tree) const {
    return job_from_tree(cache_ && cache_->plugins ? with_task_types(tree, *cache_->plugins) : tree);
}

/// Whether anything about the job is new.
bool job_table::put(job const& now) {
    std::lock_guard const lock(guard_);
    if (is_outdated_) return false;
    std::erase(forgotten_, now.id);
    auto const [found, is_new] = jobs_.try_emplace(now.id, now);
    if (is_new) return true;
    if (*found->second.announced == *now.announced) return false;
    found->second = now;
    return true;
}

/// The node knows the job no more. The jobs that are gone here as well: this one, or a finished one that there is no room
/// for any more.
std::vector<job> job_table::forget(std::string const& id) {
    std::lock_guard const lock(guard_);
    auto const found = jobs_.find(id);
    if (found == jobs_.end() || is_outdated_) return {};
    std::vector<std::string> leaving;
    if (!cache_ || !is_finished(found->second.status)) {
        leaving.push_back(id);
    } else if (std::find(forgotten_.begin(), forgotten_.end(), id) == forgotten_.end()) {
        forgotten_.push_back(id);
        if (forgotten_.size() > cache_->finished_jobs) {
            leaving.push_back(forgotten_.front());
            forgotten_.pop_front();
        }
    }
    std::vector<job> gone;
    gone.reserve(leaving.size());
    for (std::string const& each : leaving)
        gone.push_back(std::move(jobs_.extract(each).mapped()));
    return gone;
}

/// Without the lock: a handler may ask this table, or end the connection, after which it may be gone.
template <class Call>
void job_table::tell(Call const& call) {
    state_handler* const told = told_;
    if (told != nullptr) call_handler([&] { call(*told); });
}

namespace {

ptr_refcount<properties const> with_task_types(ptr_refcount<properties const> const& tree,
                                               kxcore::plugin_db const& plugins) {
    auto const* const tasks = kxcore::property_cast<property_list>(tree->find("tasks"));
    if (tasks == nullptr) return tree;
    auto const completed = kxbase::make_refcount<property_list>();
    for (auto const& task : *tasks)
        completed->push_back(with_type(task, plugins));
    auto result = kxbase::make_refcount<properties>(*tree);
    result->set_property("tasks", completed);
    return result;
}

kxcore::property_handle with_type(kxcore::property_handle const& task, kxcore::plugin_db const& plugins) {
    auto const tree = kxcore::property_cast<properties>(task);
    if (!tree || tree->is_present("type")) return task;
    auto const plugin = plugins.describe_plugin(tree->get_string_value("plugin", ""));
    if (!plugin) return task;
    auto completed = kxbase::make_refcount<properties>(*tree);
    completed->set_property("type", kxbase::make_refcount<kxcore::property_string>(plugin->get_name()));
    return completed;
}

} // namespace

} // namespace kxcapi
