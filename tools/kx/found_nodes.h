#pragma once

/// @file
/// The nodes that announce themselves on the local network. What they say of themselves is anybody's word.

#include "application.h"

#include <kxclientutil/bonjour.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace kx {

/// What happened to a node.
struct node_event {
    char const* what = ""; ///< "added", "updated" or "removed"
    std::string name;
    kxclientutil::bonjour_node node; ///< as it was then; empty for one that was removed
};

/// Browses as long as it lives.
class found_nodes final : private kxclientutil::bonjour_callback {
public:
    using clock = std::chrono::steady_clock;

    /// @throws es::call when nothing can be found here: why
    found_nodes();

    /// The next thing that happened, waited for until `end`; without an end as long as it takes.
    /// @return empty when nothing did
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
    std::deque<node_event> events_;
    kxclientutil::bonjour_browser browser_; // last: it calls
};

/// Finds a node of the cluster, "HOST:PORT". A few seconds are waited for one.
///
/// @throws es::call when none is found: what was found instead
/// @throws interrupted when the user asked for the end
[[nodiscard]] std::string find_cluster(std::string const& cluster);

/// Where a node is reached, "HOST:PORT"; the host is the address that get_host_port_for_cluster would give.
[[nodiscard]] std::string place_of(kxclientutil::bonjour_node const& node);

} // namespace kx
