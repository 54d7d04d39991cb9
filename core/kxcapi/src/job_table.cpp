#include "job_table.h"

#include "calling_handler.h"
#include "reporting.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/network_encoding.h>
#include <kxcore/plugin_info.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <algorithm>
#include <limits>
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

/// For an encoding of which only the size is wanted.
class counting_sink final : public kxcore::encoder_sink {
public:
    void write(std::span<std::byte const> /*bytes*/) override {}
};

std::size_t weight_of(properties const& tree);
std::size_t most_kept();
void require_room(std::size_t size, std::size_t most);

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
    announced_size_ = 0;
}

std::vector<job> job_table::get_jobs() const {
    std::lock_guard const lock(guard_);
    std::vector<job> all;
    all.reserve(jobs_.size());
    for (auto const& [id, each] : jobs_)
        all.push_back(each.value);
    return all;
}

std::optional<job> job_table::get_job(std::string_view id) const {
    std::lock_guard const lock(guard_);
    auto const found = jobs_.find(id);
    if (found == jobs_.end()) return std::nullopt;
    return found->second.value;
}

/// All of it is read before any of it counts.
void job_table::take_state(properties const& announced) {
    std::vector<known_job> now;
    std::size_t const most = most_kept();
    std::size_t size = 0;
    for (auto const& each : *announced.get_list_value("jobs")) {
        auto const tree = kxcore::property_cast<properties>(each);
        if (!tree) kxbase::es::arg::raise("\"jobs\" holds something else than trees");
        now.push_back(read_job(tree));
        size += now.back().size;
        require_room(size, most);
    }
    std::set<std::string, std::less<>> ids;
    for (known_job const& each : now)
        ids.insert(each.value.id);
    for (job const& each : get_jobs()) {
        if (ids.contains(each.id)) continue;
        for (job const& gone : forget(each.id))
            tell([&](state_handler& told) { told.job_removed(gone); });
    }
    // There is room for all of them, as counted above; on the way there old sizes count beside new ones.
    for (known_job const& each : now)
        if (put(each, std::numeric_limits<std::size_t>::max()))
            tell([&](state_handler& told) { told.job_changed(each.value); });
    if (!is_outdated_) tell([&](state_handler& told) { told.state_complete(); });
}

void job_table::take_job(properties const& announced) {
    known_job const now = read_job(announced.get_properties_value("job"));
    if (put(now, most_kept())) tell([&](state_handler& told) { told.job_changed(now.value); });
}

void job_table::take_removal(properties const& announced) {
    for (job const& gone : forget(announced.get_string_value("id")))
        tell([&](state_handler& told) { told.job_removed(gone); });
}

/// Weighed as it was announced; the types that tasks are given here come on top.
job_table::known_job job_table::read_job(ptr_refcount<properties const> const& tree) const {
    return {job_from_tree(cache_ && cache_->plugins ? with_task_types(tree, *cache_->plugins) : tree),
            weight_of(*tree)};
}

/// Whether anything about the job is new. Raises, and changes nothing, when all that the node knows would take more than
/// `most`.
bool job_table::put(known_job const& now, std::size_t most) {
    std::lock_guard const lock(guard_);
    if (is_outdated_) return false;
    std::string const& id = now.value.id;
    auto const found = jobs_.find(id);
    std::size_t const size_before = found == jobs_.end() ? 0 : found->second.size;
    bool const was_forgotten = std::find(forgotten_.begin(), forgotten_.end(), id) != forgotten_.end();
    std::size_t const others = announced_size_ - (was_forgotten ? 0 : size_before);
    require_room(others + now.size, most);
    bool const is_new = found == jobs_.end() || *found->second.value.announced != *now.value.announced;
    // A job that says what was added here before is the same one, and of another size.
    if (is_new)
        jobs_.insert_or_assign(id, now);
    else
        found->second.size = now.size;
    announced_size_ = others + now.size;
    if (was_forgotten) {
        forgotten_size_ -= size_before;
        std::erase(forgotten_, id);
    }
    return is_new;
}

/// The node knows the job no more. The jobs that are gone here as well: this one, or a finished one that there is no room
/// for any more.
std::vector<job> job_table::forget(std::string const& id) {
    std::lock_guard const lock(guard_);
    auto const found = jobs_.find(id);
    if (found == jobs_.end() || is_outdated_) return {};
    if (std::find(forgotten_.begin(), forgotten_.end(), id) != forgotten_.end()) return {};
    std::size_t const size = found->second.size;
    std::vector<job> gone;
    gone.reserve(forgotten_.size() + 1); // what is taken out is told of
    if (!cache_ || !is_finished(found->second.value.status)) {
        gone.push_back(take_out(id));
        announced_size_ -= size;
        return gone;
    }
    forgotten_.push_back(id);
    announced_size_ -= size;
    forgotten_size_ += size;
    while (forgotten_.size() > cache_->finished_jobs || forgotten_size_ > most_kept()) {
        std::string const oldest = forgotten_.front();
        forgotten_.pop_front();
        forgotten_size_ -= jobs_.at(oldest).size;
        gone.push_back(take_out(oldest));
    }
    return gone;
}

job job_table::take_out(std::string const& id) {
    return std::move(jobs_.extract(id).mapped().value);
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

/// What the tree takes in an encoding of its own.
std::size_t weight_of(properties const& tree) {
    counting_sink nowhere;
    kxcore::encoder_network encoder(nowhere);
    encoder.write(tree);
    return kxbase::encoded_weight(encoder.size(), encoder.values());
}

/// A node announces all of its jobs in one frame, where they share their keys; each is weighed with keys of its own.
std::size_t most_kept() {
    return 2 * kxbase::current_limits().frame;
}

void require_room(std::size_t size, std::size_t most) {
    if (size > most)
        kxbase::es::arg::raise("the jobs of the node take more than " + std::to_string(most) +
                               " bytes (twice the limit frame)");
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
