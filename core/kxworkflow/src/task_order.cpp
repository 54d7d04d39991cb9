#include "task_order.h"

#include <algorithm>
#include <cmath>

namespace kxworkflow {

namespace {

constexpr task_order::vertex head = 0;
constexpr task_order::vertex tail = 1;
constexpr unsigned int label_bits = 62;
constexpr std::uint64_t last_label = std::uint64_t{1} << label_bits;
/// How far from its neighbour a vertex at either end is put, so that neither end is used up early.
constexpr std::uint64_t wide_gap = std::uint64_t{1} << 32;
/// A window of labels counts as crowded above 1 / crowding^bits; see make_room_behind.
constexpr double crowding = 1.3;
constexpr unsigned int smallest_window_bits = 4;

} // namespace

task_order::task_order() : vertices_(2) {
    vertices_[head].next = tail;
    vertices_[tail].previous = head;
    vertices_[tail].label = last_label;
}

task_order::vertex task_order::add() {
    auto const added = static_cast<vertex>(vertices_.size());
    vertices_.emplace_back();
    link_behind(added, vertices_[tail].previous);
    return added;
}

void task_order::remove(vertex gone) {
    unlink(gone);
    vertices_[gone].alive = false;
    for (e_direction const direction : {forward, backward}) {
        e_direction const opposite = direction == forward ? backward : forward;
        for (vertex const neighbour : vertices_[gone].toward[direction].ends)
            if (vertices_[neighbour].alive) forget_neighbour(vertices_[neighbour].toward[opposite]);
        vertices_[gone].toward[direction] = {};
    }
}

bool task_order::connect(std::span<vertex const> before, vertex after) {
    // Making room for one edge never puts `after` before a vertex that an earlier one needs there: `after` only ever
    // moves back. So all are made to fit first, and nothing has to be taken away when one does not.
    for (vertex const each : before)
        if (!make_before(each, after)) return false;
    for (vertex const each : before) {
        vertices_[each].toward[forward].ends.push_back(after);
        vertices_[after].toward[backward].ends.push_back(each);
    }
    return true;
}

bool task_order::make_before(vertex before, vertex after) {
    if (before == after) return false;
    if (is_before(before, after)) return true;

    search from_after{forward, ++searches_, {}};
    search to_before{backward, searches_, {}};
    reach(from_after, after);
    reach(to_before, before);
    for (;;) {
        e_step const ahead = take_step(from_after, before, after);
        if (ahead == met) return false;
        if (ahead == ran_dry) {
            move_behind(from_after.found, before);
            return true;
        }
        e_step const back = take_step(to_before, before, after);
        if (back == met) return false;
        if (back == ran_dry) {
            move_behind(to_before.found, vertices_[after].previous);
            return true;
        }
    }
}

task_order::e_step task_order::take_step(search& run, vertex before, vertex after) {
    ++steps_;
    edges const& here = vertices_[run.found[run.vertex_index]].toward[run.direction];
    if (run.edge_index == here.ends.size()) {
        run.edge_index = 0;
        return ++run.vertex_index == run.found.size() ? ran_dry : going_on;
    }
    vertex const reached = here.ends[run.edge_index++];
    place const& there = vertices_[reached];
    if (!there.alive) return going_on;
    e_direction const opposite = run.direction == forward ? backward : forward;
    if (there.toward[opposite].seen_by == run.number) return met;
    bool const within = run.direction == forward ? is_before(reached, before) : is_before(after, reached);
    if (within && there.toward[run.direction].seen_by != run.number) reach(run, reached);
    return going_on;
}

void task_order::reach(search& run, vertex reached) {
    vertices_[reached].toward[run.direction].seen_by = run.number;
    run.found.push_back(reached);
}

void task_order::move_behind(std::vector<vertex>& moved, vertex anchor) {
    std::ranges::sort(moved, [this](vertex a, vertex b) { return is_before(a, b); });
    // The anchor is none of them: behind `before`, which the forward search did not reach, or behind what stands just
    // before `after`, outside the stretch that the backward search keeps to.
    for (vertex const each : moved) {
        ++steps_;
        unlink(each);
        link_behind(each, anchor);
        anchor = each;
    }
}

void task_order::unlink(vertex moved) {
    place const& of = vertices_[moved];
    vertices_[of.previous].next = of.next;
    vertices_[of.next].previous = of.previous;
}

void task_order::link_behind(vertex moved, vertex anchor) {
    if (vertices_[vertices_[anchor].next].label - vertices_[anchor].label < 2) make_room_behind(anchor);
    vertex const follower = vertices_[anchor].next;
    std::uint64_t const low = vertices_[anchor].label;
    std::uint64_t const high = vertices_[follower].label;
    std::uint64_t const middle = low + (high - low) / 2;

    place& of = vertices_[moved];
    of.previous = anchor;
    of.next = follower;
    of.label = middle;
    if (follower == tail && anchor != head) of.label = std::min(middle, low + wide_gap);
    if (anchor == head && follower != tail) of.label = std::max(middle, high - std::min(high, wide_gap));
    vertices_[anchor].next = moved;
    vertices_[follower].previous = moved;
}

/// Spreads the labels around the anchor evenly over the smallest aligned window of labels that is not crowded. What
/// counts as crowded gets stricter the larger the window is, so a window that was spread out stays usable for a number
/// of insertions in proportion to its size: O(log n) moved labels for each, on average.
void task_order::make_room_behind(vertex anchor) {
    vertex first = anchor == head ? vertices_[head].next : anchor;
    vertex last = first;
    std::size_t count = 1;
    for (unsigned int bits = smallest_window_bits; bits <= label_bits; ++bits) {
        std::uint64_t const size = std::uint64_t{1} << bits;
        std::uint64_t const low = vertices_[first].label & ~(size - 1);
        std::uint64_t const high = low + (size - 1);
        for (; vertices_[first].previous != head && vertices_[vertices_[first].previous].label >= low; ++count)
            first = vertices_[first].previous;
        for (; vertices_[last].next != tail && vertices_[vertices_[last].next].label <= high; ++count)
            last = vertices_[last].next;
        if (static_cast<double>(count) >= std::pow(2.0 / crowding, bits)) continue;

        std::uint64_t const gap = size / (count + 1);
        std::uint64_t label = low;
        for (vertex each = first;; each = vertices_[each].next) {
            ++steps_;
            vertices_[each].label = label += gap;
            if (each == last) return;
        }
    }
}

/// Notes that one neighbour is gone, and throws the gone ones out when they are half of all.
void task_order::forget_neighbour(edges& of) {
    if (++of.gone * 2 < of.ends.size()) return;
    std::erase_if(of.ends, [this](vertex end) { return !vertices_[end].alive; });
    of.gone = 0;
}

} // namespace kxworkflow
