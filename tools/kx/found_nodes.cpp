#include "found_nodes.h"

#include "interruption.h"
#include "shown.h"

#include <kxbase/errors.h>
#include <kxnet/dnssd_library.h>

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

namespace kx {
namespace {

constexpr std::chrono::seconds cluster_patience{5};
constexpr std::chrono::milliseconds moment{50};
constexpr std::size_t most_clusters_told = 10;

void require_discovery() {
    auto const obstacle = kxnet::find_dnssd_obstacle();
    if (!obstacle.empty()) kxbase::es::call::raise("nodes cannot be searched for: " + obstacle);
}

std::string clusters_in_words(std::map<std::string, kxclientutil::bonjour_node> const& nodes) {
    if (nodes.empty()) return "no node at all is announced";
    std::set<std::string> clusters;
    for (auto const& [name, node] : nodes)
        if (!node.cluster.empty()) clusters.insert(node.cluster);
    if (clusters.empty()) return "the nodes that are announced belong to none";
    std::string words;
    std::size_t told = 0;
    for (auto const& cluster : clusters) {
        if (told == most_clusters_told) return words + fmt::format(" and {} others", clusters.size() - told);
        words += (told++ == 0 ? "there is \"" : ", \"") + on_one_line(cluster) + "\"";
    }
    return words;
}

} // namespace

found_nodes::found_nodes() : browser_((require_discovery(), this)) {}

std::optional<node_event> found_nodes::next(std::optional<clock::time_point> end) {
    std::unique_lock lock(guard_);
    for (;;) {
        // Each time: on a busy network there always is another event.
        interruption::stop_if_asked();
        auto const now = clock::now();
        if (end && now >= *end) return std::nullopt;
        if (!events_.empty()) break;
        happened_.wait_until(lock, end ? std::min(*end, now + moment) : now + moment);
    }
    node_event event = std::move(events_.begin()->second);
    events_.erase(events_.begin());
    turns_.erase(event.name);
    if (event.node) {
        told_.insert(event.name);
    } else {
        told_.erase(event.name);
    }
    return event;
}

void found_nodes::node_added(std::string const& name, node_table const& nodes) {
    note({name, nodes.at(name)});
}

void found_nodes::node_updated(std::string const& name, node_table const& nodes) {
    note({name, nodes.at(name)});
}

void found_nodes::node_removed(std::string const& name, node_table const&) {
    note({name, std::nullopt});
}

void found_nodes::note(node_event event) {
    {
        std::lock_guard const lock(guard_);
        auto const waiting = turns_.find(event.name);
        if (!event.node && !told_.contains(event.name)) {
            if (waiting == turns_.end()) return;
            events_.erase(waiting->second);
            turns_.erase(waiting);
            return;
        }
        auto const turn = waiting != turns_.end() ? waiting->second : next_turn_++;
        turns_[event.name] = turn;
        events_[turn] = std::move(event);
    }
    happened_.notify_all();
}

node_place find_cluster(std::string const& cluster) {
    found_nodes nodes;
    std::map<std::string, kxclientutil::bonjour_node> seen;
    auto const end = found_nodes::clock::now() + cluster_patience;
    while (auto const event = nodes.next(end)) {
        if (!event->node || event->node->cluster != cluster) continue;
        // The first one by name, as whoever asks later gets it.
        nodes.browser().get_nodes(seen);
        for (auto const& [name, node] : seen)
            if (node.cluster == cluster) return {place_of(node), node.host};
    }
    nodes.browser().get_nodes(seen);
    kxbase::es::call::raise("no node of this cluster was found within " + std::to_string(cluster_patience.count()) +
                            " s, " + clusters_in_words(seen));
}

std::string place_of(kxclientutil::bonjour_node const& node) {
    std::string const* host = &node.host;
    for (auto const& [interface_index, address] : node.addresses)
        if (!address.empty()) host = &address;
    return *host + ":" + node.port;
}

} // namespace kx
