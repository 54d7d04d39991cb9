#include "submission/task_chain.h"

#include "submission/reporting.h"
#include "submission/wiring.h"

#include <kxbase/text.h>
#include <kxworkflow/identifiers.h>

namespace kxclientutil {

namespace {

constexpr std::size_t no_node = static_cast<std::size_t>(-1);
constexpr std::size_t not_asked = static_cast<std::size_t>(-2);

} // namespace

task_chain::task_chain(std::span<wf_connection const> connections) {
    for (wf_connection const& connection : connections) {
        auto const fed = by_wtid_.find(connection.to_wtid);
        if (fed != by_wtid_.end() && nodes_[fed->second].upstream != no_node) continue;
        std::size_t const to = node_of(connection.to_wtid);
        std::size_t const from = node_of(connection.from_wtid);
        nodes_[to].upstream = from;
        nodes_[from].downstream = to;
    }
}

std::string task_chain::find(std::string_view start_wtid, std::string_view plid) {
    auto const start = by_wtid_.find(start_wtid);
    if (start == by_wtid_.end()) return {};
    auto known = known_.find(plid);
    if (known == known_.end()) {
        std::vector<std::size_t> const nothing(nodes_.size(), not_asked);
        known = known_.emplace(plid, walk_ends{nothing, nothing}).first;
    }
    std::size_t found = walk(start->second, plid, &node::upstream, known->second.upstream);
    if (found == no_node) found = walk(start->second, plid, &node::downstream, known->second.downstream);
    return found != no_node ? nodes_[found].wtid : std::string();
}

std::size_t task_chain::node_of(std::string const& wtid) {
    auto const [place, is_new] = by_wtid_.try_emplace(wtid, nodes_.size());
    if (is_new) nodes_.push_back({wtid, no_node, no_node});
    return place->second;
}

/// A node that this walk has passed counts as one without an end until the walk is over: so a circle ends it.
std::size_t task_chain::walk(std::size_t start, std::string_view plid, std::size_t node::*next,
                             std::vector<std::size_t>& ends) const {
    std::vector<std::size_t> passed;
    std::size_t end = no_node;
    for (std::size_t at = start; at != no_node; at = nodes_[at].*next) {
        if (ends[at] != not_asked) {
            end = ends[at];
            break;
        }
        ends[at] = no_node;
        passed.push_back(at);
        if (kxworkflow::wtid_plid(nodes_[at].wtid) != plid) continue;
        end = at;
        break;
    }
    for (std::size_t const each : passed)
        ends[each] = end;
    return end;
}

std::string find_chained_encoder(task_chain& chain, std::string_view wtid, std::string_view asking_text) {
    std::string encoder = chain.find(wtid, encoder_plid);
    // The placeholder holds the text of the variable and not, as the words have it, the plugin's id: meant. The text
    // leads to the input that asks, and log filters know the line.
    if (encoder.empty())
        report_warning(kxbase::string_with_format("Unable to resolve kxvar since no task with plid:'%s' found",
                                                  std::string(asking_text).c_str()));
    return encoder;
}

} // namespace kxclientutil
