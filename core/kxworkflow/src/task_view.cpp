#include <kxworkflow/task_view.h>

#include "inputs.h"
#include "task_snapshot.h"

#include <kxcore/property_list.h>
#include <kxcore/property_walk.h>

#include <algorithm>

namespace kxworkflow {

namespace {

/// Collects the indices of the sources that feed an input, a part of it, or the tree or list that it is in.
class source_finder {
public:
    source_finder(task_snapshot const& of, std::string_view input) : of_(of), input_(input) {}

    [[nodiscard]] std::vector<std::string> find() {
        if (of_.fed.empty()) return {};
        take_exactly(input_);
        for (std::size_t i = 0; i < input_.size(); ++i)
            if (is_step(input_[i])) take_exactly(input_.substr(0, i));
        take_parts();

        std::ranges::sort(indices_);
        std::vector<std::string> ports;
        ports.reserve(indices_.size());
        for (std::size_t const index : indices_)
            ports.push_back(of_.sources[index]);
        return ports;
    }

private:
    [[nodiscard]] static bool is_step(char c) noexcept { return c == '{' || c == '['; }

    void take_exactly(std::string_view path) {
        if (auto const found = of_.fed.find(path); found != of_.fed.end()) take(found->second);
    }

    void take_parts() {
        for (char const step : {'[', '{'}) {
            std::string const start = std::string(input_) + step;
            for (auto each = of_.fed.lower_bound(start); each != of_.fed.end() && each->first.starts_with(start);
                 ++each)
                take(each->second);
        }
    }

    void take(std::vector<std::size_t> const& indices) {
        indices_.insert(indices_.end(), indices.begin(), indices.end());
    }

    task_snapshot const& of_;
    std::string_view input_;
    std::vector<std::size_t> indices_;
};

bool is_tree_or_list(kxcore::property const& value) {
    return value.kind() == kxcore::property_kind::properties || value.kind() == kxcore::property_kind::list;
}

void append_in_node(task_snapshot const& of, std::string_view input, kxcore::property_handle const& value,
                    task::node_list& nodes) {
    nodes.push_back(kxbase::make_refcount<task::task_node>(std::string(input), source_finder(of, input).find(), value));
}

} // namespace

plugin_node::~plugin_node() = default;

plugin::plugin(std::shared_ptr<task_snapshot const> snapshot) : snapshot_(std::move(snapshot)) {}

plugin::~plugin() = default;

kxbase::ptr_refcount<kxcore::properties const> const& plugin::get_configuration() const noexcept {
    return snapshot_->configuration;
}

kxbase::ptr_refcount<kxcore::plugin_info const> const& plugin::get_info() const noexcept {
    return snapshot_->info;
}

task::task_node::task_node(std::string id, std::vector<std::string> connection_ids,
                           kxbase::ptr_refcount<kxcore::property const> value)
    : plugin_node(std::move(id)), connection_ids_(std::move(connection_ids)), value_(std::move(value)) {}

task::task_node::~task_node() = default;

bool task::task_node::is_open() const {
    return !is_connected() && waits_for_connection(value_.get());
}

task::task(std::shared_ptr<task_snapshot const> snapshot) : plugin(std::move(snapshot)) {}

task::~task() = default;

std::string const& task::get_id() const noexcept {
    return snapshot_->wtid;
}

std::string const& task::get_plid() const noexcept {
    return snapshot_->plid;
}

std::string const& task::get_name() const noexcept {
    return snapshot_->name;
}

std::string task::get_type() const {
    return snapshot_->info->get_name();
}

void task::get_published_in_nodes(node_list& nodes) const {
    for (kxcore::plugin_port const& input : snapshot_->info->get_inputs()) {
        kxcore::property_handle const value = snapshot_->configuration->get_property(input.name);
        // What other tasks publish feeds it, and a workflow's source must not: "extra-source-urls" reads like a source.
        if (input.publishable && !value) continue;
        if (!value || !is_tree_or_list(*value)) {
            append_in_node(*snapshot_, input.name, value, nodes);
            continue;
        }
        // The leaves of a tree or list that stands under a member are seen through a tree with that one member, whose
        // paths are those of the configuration.
        bool any_leaf = false;
        kxcore::visit_leaves(kxcore::properties(input.name, value),
                             [&](std::string_view path, kxcore::property_handle const& leaf) {
                                 append_in_node(*snapshot_, path, leaf, nodes);
                                 any_leaf = true;
                             });
        if (!any_leaf) append_in_node(*snapshot_, input.name, value, nodes);
    }
}

void task::get_connected_out_nodes(node_list& nodes) const {
    for (auto const& [output, ports] : snapshot_->feeds) {
        kxcore::property_handle value = snapshot_->published.get_property(output);
        if (!value) value = published_by_plugin(*snapshot_->info, output);
        nodes.push_back(kxbase::make_refcount<task_node>(output, ports, std::move(value)));
    }
}

workflow_info::workflow_info(std::string name, task_list tasks) : name_(std::move(name)), tasks_(std::move(tasks)) {}

workflow_info::~workflow_info() = default;

} // namespace kxworkflow
