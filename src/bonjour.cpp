#include <kxclientutil/bonjour.h>

#include "raising.h"

#include <kxbase/report.h>
#include <kxbase/source_position.h>
#include <kxbase/text.h>
#include <kxnet/dnssd_library.h>
#include <kxnet/mdns_addr_lookup.h>

#include <arpa/inet.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace kxclientutil {
namespace {

using node_table = std::map<std::string, bonjour_node>;

constexpr char const* service_type = "_vostrel-node._tcp";
constexpr std::uint16_t key_size = 256;

void report_node(std::string const& message) {
    kxbase::report(bonjour_source_path, kxbase::source_position::current().line(), "Bonjour", 2, 7, message);
}

void report_described(char const* head, std::string const& name, node_table const& nodes) {
    auto const found = nodes.find(name);
    if (found == nodes.end()) return;
    auto const& node = found->second;
    std::string line = kxbase::string_with_format("%s %s host: %s id: %s cluster: %s uc: %u", head, name.c_str(),
                                                  node.host.c_str(), node.id.c_str(), node.cluster.c_str(), node.uc);
    for (auto const& [key, value] : node.txt)
        line.append(" ").append(key).append("=").append(value);
    report_node(line);
}

/// Gives the entries of a TXT record to `take`, one after the other, as long as that wants more.
/// @return whether it wanted all
template <typename Take>
bool decode_txt(unsigned short length, unsigned char const* txt, Take const& take) {
    std::uint16_t const count = kxnet::TXTRecordGetCount(length, txt);
    for (std::uint16_t index = 0; index != count; ++index) {
        std::array<char, key_size> key = {};
        std::uint8_t value_length = 0;
        void const* value = nullptr;
        if (kxnet::TXTRecordGetItemAtIndex(length, txt, index, key_size, key.data(), &value_length, &value) != 0) {
            kxbase::report(bonjour_source_path, kxbase::source_position::current().line(), "Bonjour", 3, 4,
                           "text record too long for buffer");
            continue;
        }
        std::string const text(value == nullptr ? "" : static_cast<char const*>(value),
                               value == nullptr ? 0 : value_length);
        if (!take(std::string(key.data()), text)) return false;
    }
    return true;
}

bool means_private(std::string_view key, std::string_view value) {
    return key == "private" && value == "yes";
}

/// What a changed TXT record says, when it is to be taken.
struct txt_change {
    std::map<std::string, std::string> txt = {};
    unsigned int uc = 0;
    bool is_private = false;
};

/// A node raises "uc" with each change, so that what the network delivers late or twice is told from what is new; 0 is taken
/// at any time. A counter for a node that is not known yet makes it known, whatever else the record holds.
bool is_newer(unsigned int uc, std::string const& name, node_table& nodes) {
    return uc == 0 || uc > nodes[name].uc;
}

std::optional<txt_change> decode_change(std::string const& name, unsigned short length, unsigned char const* txt,
                                        node_table& nodes) {
    txt_change change;
    bool has_uc = false;
    bool const is_taken = decode_txt(length, txt, [&](std::string const& key, std::string const& value) {
        if (key == "uc") {
            has_uc = true;
            change.uc = kxbase::conv::string_to_uint(value);
            if (!is_newer(change.uc, name, nodes)) return false;
        }
        if (means_private(key, value)) change.is_private = true;
        change.txt[key] = value;
        return true;
    });
    if (!is_taken || !has_uc) return std::nullopt;
    return change;
}

} // namespace

// --- the observer -----------------------------------------------------------------------------------------------

bonjour_callback::~bonjour_callback() = default;

void bonjour_callback::node_added(std::string const& name, node_table const& nodes) {
    report_described("Node added:", name, nodes);
}

void bonjour_callback::node_updated(std::string const& name, node_table const& nodes) {
    report_described("Node updated:", name, nodes);
}

void bonjour_callback::node_removed(std::string const& name, node_table const&) {
    report_node(kxbase::string_with_format("Node removed: %s", name.c_str()));
}

// --- the browser ------------------------------------------------------------------------------------------------

// The query comes last and goes first: while there is one, it calls.
bonjour_browser::bonjour_browser(bonjour_callback* callback) : callback_(callback), mutex_(true) {
    query_ = std::make_unique<kxnet::search_resolve_query>(service_type, *this);
}

bonjour_browser::~bonjour_browser() {
    query_.reset();
}

// A new instance is resolved, which makes it a node. One that goes is told of also when it never became one: observers
// that keep a list of their own rely on hearing of every departure.
void bonjour_browser::search_reply(unsigned int interface_index, std::string const& name, bool added, bool) {
    if (added) return;
    kxbase::scoped_lock const lock(mutex_);
    auto const found = nodes_.try_emplace(name).first;
    found->second.addresses.erase(interface_index);
    if (!found->second.addresses.empty()) return;
    // Taken out whole: `name` may be the very key.
    auto const gone = nodes_.extract(found);
    if (callback_ != nullptr) callback_->node_removed(name, nodes_);
}

void bonjour_browser::resolve_reply(unsigned int interface_index, char const* name, char const* host,
                                    unsigned short port, unsigned short txt_length, unsigned char const* txt) {
    kxbase::scoped_lock const lock(mutex_);
    std::string const key = name;
    auto& node = nodes_[key];
    bool const is_new = node.addresses.empty();
    auto address = kxnet::mdns_addr_lookup(host, interface_index).get_IPv4();
    node.host = host;
    node.addresses[interface_index] = std::move(address);
    node.port = kxbase::string_with_format("%u", static_cast<unsigned int>(ntohs(port)));
    bool is_private = false;
    decode_txt(txt_length, txt, [&](std::string const& entry, std::string const& value) {
        node.txt[entry] = value;
        if (entry == "cluster") node.cluster = value;
        if (entry == "id") node.id = value;
        if (entry == "uc") node.uc = kxbase::conv::string_to_uint(value);
        if (means_private(entry, value)) is_private = true;
        return true;
    });
    if (is_private) node.cluster.clear();
    if (callback_ == nullptr) return;
    is_new ? callback_->node_added(key, nodes_) : callback_->node_updated(key, nodes_);
}

void bonjour_browser::query_reply(char const* name, unsigned short txt_length, unsigned char const* txt, unsigned int,
                                  bool, bool) {
    kxbase::scoped_lock const lock(mutex_);
    std::string const key = name;
    auto change = decode_change(key, txt_length, txt, nodes_);
    if (!change) return;
    auto& node = nodes_[key];
    node.txt = std::move(change->txt);
    // Entries that the record does not have are made, empty: the log lines of observers show them, and always did.
    node.cluster = change->is_private ? std::string() : node.txt["cluster"];
    node.id = node.txt["id"];
    node.uc = change->uc;
    if (callback_ != nullptr) callback_->node_updated(key, nodes_);
}

void bonjour_browser::get_nodes(node_table& nodes) const {
    kxbase::scoped_lock const lock(mutex_);
    // An observer that asks with the table it was handed.
    if (&nodes == &nodes_) return;
    nodes.clear();
    nodes.insert(nodes_.begin(), nodes_.end());
}

bool bonjour_browser::get_host_port_for_cluster(std::string const& cluster, std::string& host, std::string& port) {
    kxbase::scoped_lock const lock(mutex_);
    for (auto const& [name, node] : nodes_) {
        if (node.cluster != cluster) continue;
        std::string const* best = &node.host;
        for (auto const& [interface_index, address] : node.addresses)
            if (!address.empty()) best = &address;
        // Copied first: the texts may be the node's own, or the cluster's name.
        std::string const found_port = node.port;
        host = *best;
        port = found_port;
        return true;
    }
    return false;
}

} // namespace kxclientutil
