#include "kxclientutil/support/bonjour_replies.h"

#include <kxnet/mdns_addr_lookup.h>

#include <arpa/inet.h>
#include <dlfcn.h>

#include <stdexcept>

namespace kx_test {

namespace {

using kxclientutil::bonjour_browser;
using kxclientutil::bonjour_node;

std::map<std::string, void*> txt_functions_of_the_system() {
    static void* const library = ::dlopen("libdns_sd.so.1", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw std::runtime_error("no libdns_sd.so.1, which scripts/setup installs");
    std::map<std::string, void*> functions;
    for (char const* const name : {"TXTRecordGetCount", "TXTRecordGetItemAtIndex"})
        functions[name] = ::dlsym(library, name);
    return functions;
}

} // namespace

unsigned char const* bytes_of(std::string const& record) {
    return reinterpret_cast<unsigned char const*>(record.data());
}

std::string record(txt_entries const& entries) {
    std::string bytes;
    for (auto const& [key, value] : entries) {
        bytes += static_cast<char>(key.size() + 1 + value.size());
        bytes += key + "=" + value;
    }
    return bytes;
}

void resolve_at(bonjour_browser& browser, unsigned int interface_index, std::string const& name,
                std::string const& host, std::string const& address, unsigned short port, std::string const& txt) {
    kxnet::known_address const known(host, interface_index, address);
    browser.resolve_reply(interface_index, name.c_str(), host.c_str(), htons(port),
                          static_cast<unsigned short>(txt.size()), bytes_of(txt));
}

std::vector<std::string> bonjour_lines(captured_report const& log) {
    std::vector<std::string> lines;
    for (auto const& line : log.lines())
        if (line.file == R"(code\app\common\shared\kxclientutil\src\bonjour)")
            lines.push_back(line.category + " " + std::to_string(line.kind) + " " + std::to_string(line.severity) +
                            " " + line.message);
    return lines;
}

void bonjour_replies::noting_observer::node_added(std::string const& name,
                                                  std::map<std::string, bonjour_node> const& nodes) {
    note("added " + name, nodes);
}

void bonjour_replies::noting_observer::node_updated(std::string const& name,
                                                    std::map<std::string, bonjour_node> const& nodes) {
    note("updated " + name, nodes);
}

void bonjour_replies::noting_observer::node_removed(std::string const& name,
                                                    std::map<std::string, bonjour_node> const& nodes) {
    note("removed " + name, nodes);
}

void bonjour_replies::noting_observer::note(std::string line, std::map<std::string, bonjour_node> const& nodes) {
    line += " of";
    for (auto const& [name, node] : nodes)
        line += " " + name;
    calls.push_back(line);
}

bonjour_replies::bonjour_replies() {
    functions_.emplace(txt_functions_of_the_system());
    browser_.emplace(&observer_);
}

bonjour_replies::~bonjour_replies() {
    // Nothing browses any more when the functions go.
    browser_.reset();
}

void bonjour_replies::use_functions(std::map<std::string, void*> functions) {
    browser_.reset();
    functions_.reset();
    functions_.emplace(std::move(functions));
    browser_.emplace(&observer_);
}

std::map<std::string, bonjour_node> bonjour_replies::nodes() const {
    std::map<std::string, bonjour_node> found;
    browser_->get_nodes(found);
    return found;
}

void bonjour_replies::resolve(unsigned int interface_index, std::string const& name, std::string const& address,
                              txt_entries const& entries, unsigned short port) {
    resolve_at(*browser_, interface_index, name, name + ".local.", address, port, record(entries));
}

void bonjour_replies::change(std::string const& name, txt_entries const& entries) {
    auto const txt = record(entries);
    browser_->query_reply(name.c_str(), static_cast<unsigned short>(txt.size()), bytes_of(txt), 120, true, false);
}

std::string bonjour_replies::where(std::string const& cluster) {
    std::string host = "untouched", port = "untouched";
    if (browser_->get_host_port_for_cluster(cluster, host, port)) return host + ":" + port;
    return host == "untouched" && port == "untouched" ? "none, untouched" : "none, but " + host + ":" + port;
}

} // namespace kx_test
