#include "service_schedule.h"

#include <algorithm>

namespace kxnet {

void service_schedule::begin_at(searched_service& each, clock::time_point when) {
    take_out(each);
    each.scheduled = when;
    to_begin_[lane_of(each)].emplace(when, &each);
}

void service_schedule::end_at(searched_service& each, clock::time_point when) {
    take_out(each);
    each.scheduled = when;
    to_end_.emplace(when, &each);
}

void service_schedule::take_out(searched_service& each) {
    // Its lane may be another one by now.
    for (auto& lane : to_begin_)
        lane.erase({each.scheduled, &each});
    to_end_.erase({each.scheduled, &each});
    each.scheduled = {};
}

searched_service* service_schedule::find_due(clock::time_point now) const {
    for (auto const lane : in_turn)
        if (auto* const first = first_of(lane); first != nullptr && first->scheduled <= now) return first;
    return nullptr;
}

searched_service* service_schedule::find_overdue(clock::time_point now) const {
    return !to_end_.empty() && to_end_.begin()->first <= now ? to_end_.begin()->second : nullptr;
}

service_schedule::clock::time_point service_schedule::next_due() const {
    auto next = clock::time_point::max();
    for (auto const lane : in_turn)
        if (auto const* const first = first_of(lane)) next = std::min(next, first->scheduled);
    return next;
}

service_schedule::clock::time_point service_schedule::next_overdue() const {
    return to_end_.empty() ? clock::time_point::max() : to_end_.begin()->first;
}

service_schedule::e_lane service_schedule::lane_of(searched_service const& each) {
    if (each.is_resolved) return known;
    if (each.was_ever_resolved) return silent;
    return each.failures == 0 ? newcomers : repeated;
}

/// Null also when the lane is full.
searched_service* service_schedule::first_of(e_lane lane) const {
    if (to_begin_[lane].empty()) return nullptr;
    auto const count = std::count_if(to_end_.begin(), to_end_.end(),
                                     [lane](auto const& entry) { return lane_of(*entry.second) == lane; });
    return static_cast<std::size_t>(count) < most_of_lane[lane] ? to_begin_[lane].begin()->second : nullptr;
}

} // namespace kxnet
