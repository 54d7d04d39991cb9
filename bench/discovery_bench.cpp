// What it costs when many services appear at once: the browser's table, as the replies of the network arrive, with an
// observer that does nothing. Addresses are known, as they are in a search; there is no daemon.
#include "heap_use.h"

#include <kxclientutil/bonjour.h>
#include <kxnet/dnssd_library.h>
#include <kxnet/mdns_addr_lookup.h>

#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using kxclientutil::bonjour_browser;
using kxclientutil::bonjour_node;
using node_table = std::map<std::string, bonjour_node>;

void* txt_function(char const* function) {
    static void* const library = ::dlopen("libdns_sd.so.1", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    bool const is_txt = std::string_view(function).starts_with("TXTRecord");
    return library != nullptr && is_txt ? ::dlsym(library, function) : nullptr;
}

struct silent : kxclientutil::bonjour_callback {
    void node_added(std::string const&, node_table const&) override {}
    void node_updated(std::string const&, node_table const&) override {}
    void node_removed(std::string const&, node_table const&) override {}
};

struct service {
    std::string name;
    std::string host;
    std::string txt;
};

std::vector<service> make_services(std::size_t count) {
    std::vector<service> services;
    for (std::size_t i = 0; i != count; ++i) {
        auto const number = std::to_string(i);
        std::string txt;
        for (std::string const& entry :
             {"id=node-" + number, "cluster=cluster-" + std::to_string(i % 100), std::string("uc=1")})
            txt += static_cast<char>(entry.size()) + entry;
        services.push_back({"Node " + number, "host-" + number + ".local.", txt});
    }
    return services;
}

void appear(bonjour_browser& browser, service const& each) {
    kxnet::known_address const known(each.host, 1, "10.0.0.1");
    browser.search_reply(1, each.name, true, true);
    browser.resolve_reply(1, each.name.c_str(), each.host.c_str(), 0x1234, static_cast<unsigned short>(each.txt.size()),
                          reinterpret_cast<unsigned char const*>(each.txt.data()));
}

void discovery_services_appear(benchmark::State& state) {
    auto const services = make_services(static_cast<std::size_t>(state.range(0)));
    auto const before = kxnet::set_dnssd_symbol_source(txt_function);
    silent observer;
    std::size_t bytes = 0;
    for (auto _ : state) {
        // What begins and ends a search, and what the bench itself asks of the heap, is no work of the table's.
        state.PauseTiming();
        std::optional<bonjour_browser> browser(std::in_place, &observer);
        auto const empty = kxbench::heap_use();
        state.ResumeTiming();
        for (auto const& each : services)
            appear(*browser, each);
        state.PauseTiming();
        bytes = kxbench::heap_use() - empty;
        {
            node_table nodes;
            browser->get_nodes(nodes);
            if (nodes.size() != services.size()) state.SkipWithError("services are missing in the table");
        }
        browser.reset();
        state.ResumeTiming();
    }
    kxnet::set_dnssd_symbol_source(before);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["time_per_service"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytes_per_service"] = static_cast<double>(bytes) / static_cast<double>(services.size());
}
BENCHMARK(discovery_services_appear)
    ->Arg(1'000)
    ->Arg(3'000)
    ->Arg(10'000)
    ->Arg(30'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void discovery_cluster_is_found_last(benchmark::State& state) {
    auto services = make_services(static_cast<std::size_t>(state.range(0)));
    auto const before = kxnet::set_dnssd_symbol_source(txt_function);
    {
        bonjour_browser browser(nullptr);
        for (auto const& each : services)
            appear(browser, each);
        std::string host, port;
        for (auto _ : state)
            benchmark::DoNotOptimize(browser.get_host_port_for_cluster("none", host, port));
    }
    kxnet::set_dnssd_symbol_source(before);
}
BENCHMARK(discovery_cluster_is_found_last)->Arg(10'000)->Unit(benchmark::kMicrosecond);

} // namespace
