#pragma once

/// @file
/// An order of the tasks in which each one comes after all those that it waits for, kept while edges are added.
///
/// Adding an edge A -> B costs nothing more than noting it when A stands before B already. Else something has to move,
/// or the edge closes a cycle. Only what stands between B and A can matter: a path from B to A runs through places in
/// between. So two searches run in turns, one step each: forward from B over what B leads to, backward from A over what
/// leads to A, both within that stretch. When they meet, there is a path from B to A and the edge is refused. When the
/// forward search runs dry first, all that it found moves to just behind A; when the backward search does, all that it
/// found moves to just before B; either way in the order that it had. The price is twice the cheaper of the two: a task
/// that nothing leads to, such as a new localizer, and one that leads nowhere, such as a new mail, cost one step
/// however large the rest of the graph is.
///
/// Places are labels with gaps in a doubly linked list, so moving a vertex costs O(log n) on average, not a renumbering
/// of all.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kxworkflow {

class task_order {
public:
    using vertex = std::uint32_t;

    task_order();

    /// A new vertex, which is last. Numbers are not used twice.
    [[nodiscard]] vertex add();

    /// Removes a vertex and its edges.
    void remove(vertex gone);

    /// Adds the edges from each of the vertices to one other; edges that are there already do no harm.
    ///
    /// @return false, with no edge added, when one of them would close a cycle
    [[nodiscard]] bool connect(std::span<vertex const> before, vertex after);

    /// Whether the first stands before the second. Says nothing of a path between them.
    [[nodiscard]] bool is_before(vertex first, vertex second) const noexcept {
        return vertices_[first].label < vertices_[second].label;
    }

    /// The steps that all searches and moves took until now: what the order costs, for tests.
    [[nodiscard]] std::uint64_t get_steps() const noexcept { return steps_; }

private:
    enum e_direction { forward, backward };

    /// Neighbours in one direction; those that were removed stay until they are half of it.
    struct edges {
        std::vector<vertex> ends;
        std::size_t gone = 0;
        std::uint64_t seen_by = 0; ///< the number of the last search that found the vertex in this direction
    };
    struct place {
        std::uint64_t label = 0;
        vertex previous = 0;
        vertex next = 0;
        bool alive = true;
        edges toward[2];
    };
    /// One of the two searches: what it found, and how far it has looked at that.
    struct search {
        e_direction direction;
        std::uint64_t number;
        std::vector<vertex> found;
        std::size_t vertex_index = 0;
        std::size_t edge_index = 0;
    };
    enum e_step { going_on, ran_dry, met };

    bool make_before(vertex before, vertex after);
    e_step take_step(search& run, vertex before, vertex after);
    void reach(search& run, vertex reached);
    void move_behind(std::vector<vertex>& moved, vertex anchor);
    void unlink(vertex moved);
    void link_behind(vertex moved, vertex anchor);
    void make_room_behind(vertex anchor);
    void forget_neighbour(edges& of);

    std::vector<place> vertices_; ///< the first two are the ends of the list, not vertices
    std::uint64_t searches_ = 0;
    std::uint64_t steps_ = 0;
};

} // namespace kxworkflow
