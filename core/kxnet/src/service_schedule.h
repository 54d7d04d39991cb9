// The instances that a search knows, and when each is looked at. Those that never could be resolved are kept apart from the
// others, and of these those that were tried from those that were not, and of the others those that fell silent: anybody may
// announce any number of instances that do not exist, or answer for them once, which is not to hold up the others.
#pragma once

#include "dnssd_operation.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kxnet {

/// An instance of a service on an interface.
struct searched_service {
    enum class e_step { none, resolving, asking_address };

    browse_answer instance = {};
    unsigned int sightings = 0; ///< how often it was added and not removed
    bool is_listed = false;     ///< the handler was told that it came
    bool is_resolved = false;   ///< the handler was told where it is: what follows
    resolve_answer told = {};
    std::string told_address = {};
    bool was_ever_resolved = false;

    e_step step = e_step::none;
    dnssd_operation operation = {};
    bool has_answer = false;
    resolve_answer found = {};
    std::string found_address = {};
    unsigned int failures = 0; ///< without an answer, one after the other
    unsigned int refusals = 0; ///< how often it could not even be asked for, one after the other
    std::chrono::steady_clock::time_point scheduled = {};

    dnssd_operation watching = {};
    std::vector<record_answer> records = {};
};

/// Does not own the services: each is taken out before it goes.
class service_schedule {
public:
    using clock = std::chrono::steady_clock;

    /// All that may be on their way at a time.
    static constexpr std::size_t most_on_their_way = 16;

    service_schedule() = default;

    /// It is at rest; its next step begins then.
    void begin_at(searched_service& each, clock::time_point when);
    /// It is on its way; its step ends then, with an answer or without.
    void end_at(searched_service& each, clock::time_point when);
    void take_out(searched_service& each);
    /// Whether it has a time, at rest or on its way.
    [[nodiscard]] static bool holds(searched_service const& each) { return each.scheduled != clock::time_point(); }

    /// The one whose turn it is; null when there is none, or too many are on their way.
    [[nodiscard]] searched_service* find_due(clock::time_point now) const;
    /// One whose step is to end; null when there is none.
    [[nodiscard]] searched_service* find_overdue(clock::time_point now) const;

    /// When find_due() and find_overdue() have something next; time_point::max() for never, as things are.
    [[nodiscard]] clock::time_point next_due() const;
    [[nodiscard]] clock::time_point next_overdue() const;

    using order = std::set<std::pair<clock::time_point, searched_service*>>;
    [[nodiscard]] order const& on_their_way() const noexcept { return to_end_; }

private:
    enum e_lane : std::size_t { newcomers, known, silent, repeated, lanes };
    static constexpr std::array<e_lane, lanes> in_turn = {newcomers, known, silent, repeated};
    static constexpr std::array<std::size_t, lanes> most_of_lane = {8, 4, 2, 2};

    [[nodiscard]] static e_lane lane_of(searched_service const& each);
    [[nodiscard]] searched_service* first_of(e_lane lane) const;

    std::array<order, lanes> to_begin_;
    order to_end_;
};

} // namespace kxnet
