// Any bytes as the TXT records of nodes, one after the other: what the browser keeps of a node always follows from the
// entries that it shows, a change is taken whole or not at all, and nothing outside of a record is read.
#include "support/environment.h"

#include <kxbase/report.h>
#include <kxbase/text.h>
#include <kxclientutil/bonjour.h>
#include <kxnet/dnssd_library.h>
#include <kxnet/mdns_addr_lookup.h>

#include <dlfcn.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using kxclientutil::bonjour_node;
using node_table = std::map<std::string, bonjour_node>;

constexpr char const* name = "node";
constexpr char const* host = "host.local.";

/// The functions for TXT records alone: nothing is looked for on the network.
void* txt_function(char const* function) {
    static void* const library = ::dlopen("libdns_sd.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    kx_fuzz::require(library != nullptr, "libdns_sd.so.1 is installed");
    return std::string_view(function).starts_with("TXTRecord") ? ::dlsym(library, function) : nullptr;
}

bool prepare() {
    kxbase::set_report_sink([](kxbase::report_line const&) {});
    kxnet::set_dnssd_symbol_source(txt_function);
    return true;
}

std::string entry(bonjour_node const& node, char const* key) {
    auto const found = node.txt.find(key);
    return found == node.txt.end() ? std::string() : found->second;
}

bonjour_node node_of(kxclientutil::bonjour_browser const& browser) {
    node_table nodes;
    browser.get_nodes(nodes);
    kx_fuzz::require(nodes.size() <= 1, "one name makes one node");
    return nodes.empty() ? bonjour_node() : nodes.begin()->second;
}

/// A copy that ends where the record ends, so that reading on is seen.
std::vector<unsigned char> alone(std::string_view record) {
    return {record.begin(), record.end()};
}

void check(bonjour_node const& node) {
    kx_fuzz::require(node.id == entry(node, "id"), "the id is that of the entries");
    kx_fuzz::require(node.cluster.empty() || node.cluster == entry(node, "cluster"), "so is the cluster, or empty");
    bool const has_counter = node.txt.contains("uc");
    kx_fuzz::require(!has_counter || node.uc == kxbase::conv::string_to_uint(entry(node, "uc")), "so is the counter");
}

void resolve(kxclientutil::bonjour_browser& browser, std::string_view record) {
    auto const bytes = alone(record);
    kxnet::known_address const known(host, 1, "10.0.0.1");
    browser.resolve_reply(1, name, host, 1, static_cast<unsigned short>(bytes.size()), bytes.data());
    kx_fuzz::require(node_of(browser).addresses.contains(1), "whatever the record holds, the node is listed");
}

void change(kxclientutil::bonjour_browser& browser, std::string_view record) {
    auto const before = node_of(browser);
    auto const bytes = alone(record);
    browser.query_reply(name, static_cast<unsigned short>(bytes.size()), bytes.data(), 0, true, false);
    auto const after = node_of(browser);
    kx_fuzz::require(after.addresses == before.addresses && after.host == before.host, "a change moves no node");
    bool const is_other =
        after.txt != before.txt || after.uc != before.uc || after.id != before.id || after.cluster != before.cluster;
    kx_fuzz::require(!is_other || after.uc == 0 || after.uc > before.uc || before.uc == 0,
                     "only a newer record is taken");
    kx_fuzz::require(!is_other || (after.txt.contains("uc") && after.txt.contains("id")), "and whole");
}

void check_cluster(kxclientutil::bonjour_browser& browser) {
    auto const node = node_of(browser);
    std::string found_host, port;
    bool const is_found = browser.get_host_port_for_cluster(node.cluster, found_host, port);
    kx_fuzz::require(!is_found || port == node.port, "a node is found by its cluster");
}

} // namespace

/// The first byte of each piece says what it is and the two that follow how long it is.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static bool const is_prepared = prepare();
    constexpr std::size_t head = 3;
    std::string_view rest = kx_fuzz::text_of(data, is_prepared ? size : 0);
    kxclientutil::bonjour_browser browser(nullptr);
    while (rest.size() >= head) {
        auto const low = static_cast<unsigned char>(rest[1]);
        auto const high = static_cast<unsigned char>(rest[2]);
        bool const is_change = rest[0] == 'c';
        auto const record = rest.substr(head, (std::size_t{high} << 8U) | low);
        is_change ? change(browser, record) : resolve(browser, record);
        check(node_of(browser));
        check_cluster(browser);
        rest.remove_prefix(head + record.size());
    }
    return 0;
}
