#pragma once

/// @file
/// The nodes that announce themselves on the local network. What they say of themselves is anybody's word.

#include <kxclientutil/bonjour.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace kx {

/// What became of a node.
struct node_event {
    std::string name;
    std::optional<kxclientutil::bonjour_node> node; ///< as it is then; empty for one that is gone
};

/// Browses as long as it lives.
class found_nodes final : private kxclientutil::bonjour_callback {
public:
    using clock = std::chrono::steady_clock;

    /// @throws es::call when nothing can be found here: why
    found_nodes();

    /// The next thing that happened, waited for until `end`; without an end as long as it takes. Of a node to which several
    /// things happened meanwhile it tells the last, and of one that came and went nothing: what waits to be told never is
    /// more than there are nodes.
    ///
    /// @return empty when nothing did, or the end has come
    /// @throws interrupted when the user asked for the end
    [[nodiscard]] std::optional<node_event> next(std::optional<clock::time_point> end);

    [[nodiscard]] kxclientutil::bonjour_browser& browser() noexcept { return browser_; }

private:
    using node_table = std::map<std::string, kxclientutil::bonjour_node>;

    void node_added(std::string const& name, node_table const& nodes) override;
    void node_updated(std::string const& name, node_table const& nodes) override;
    void node_removed(std::string const& name, node_table const& nodes) override;
    void note(node_event event);

    std::mutex guard_;
    std::condition_variable happened_;
    std::map<std::uint64_t, node_event> events_; ///< by turn
    std::map<std::string, std::uint64_t> turns_; ///< of the nodes in `events_`
    std::uint64_t next_turn_ = 0;
    std::set<std::string> told_;            ///< the nodes that next() told of and did not take back
    kxclientutil::bonjour_browser browser_; // last: it calls
};

/// A node, and where it is reached.
struct node_place {
    std::string place; ///< "HOST:PORT", as place_of()
    std::string host;  ///< the name of its host
};

/// Finds a node of the cluster. A few seconds are waited for one.
///
/// @throws es::call when none is found: what was found instead
/// @throws interrupted when the user asked for the end
[[nodiscard]] node_place find_cluster(std::string const& cluster);

/// Where a node is reached, "HOST:PORT"; the host is the address that get_host_port_for_cluster would give.
[[nodiscard]] std::string place_of(kxclientutil::bonjour_node const& node);

} // namespace kx
