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
    while (events_.empty()) {
        interruption::stop_if_asked();
        auto const now = clock::now();
        if (end && now >= *end) return std::nullopt;
        happened_.wait_until(lock, end ? std::min(*end, now + moment) : now + moment);
    }
    node_event event = std::move(events_.front());
    events_.pop_front();
    return event;
}

void found_nodes::node_added(std::string const& name, node_table const& nodes) {
    note({"added", name, nodes.at(name)});
}

void found_nodes::node_updated(std::string const& name, node_table const& nodes) {
    note({"updated", name, nodes.at(name)});
}

void found_nodes::node_removed(std::string const& name, node_table const&) {
    note({"removed", name, {}});
}

void found_nodes::note(node_event event) {
    {
        std::lock_guard const lock(guard_);
        events_.push_back(std::move(event));
    }
    happened_.notify_all();
}

std::string find_cluster(std::string const& cluster) {
    found_nodes nodes;
    std::string host, port;
    auto const end = found_nodes::clock::now() + cluster_patience;
    do {
        if (nodes.browser().get_host_port_for_cluster(cluster, host, port)) return host + ":" + port;
    } while (nodes.next(end));
    std::map<std::string, kxclientutil::bonjour_node> seen;
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
