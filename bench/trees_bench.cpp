// Trees in memory: building, copying, changing a copy, looking a leaf up, and what they weigh.

#include "heap_use.h"
#include "peers/boost_json_peer.h"
#include "peers/kxcore_peer.h"
#include "peers/libxml2_peer.h"
#include "peers/nlohmann_peer.h"
#include "peers/protobuf_peer.h"
#include "peers/pugixml_peer.h"
#include "peers/rapidjson_peer.h"

#include <benchmark/benchmark.h>

namespace kxbench {
namespace {

plain_value const& realistic() {
    static plain_value const data = make_submission(realistic_submission.tasks, realistic_submission.files);
    return data;
}

template <class Peer>
typename Peer::tree const& wide() {
    static typename Peer::tree const built = Peer::build(make_wide_tree());
    return built;
}

template <class Peer>
void build(benchmark::State& state) {
    auto const& data = realistic();
    for (auto _ : state) {
        auto tree = Peer::build(data);
        benchmark::DoNotOptimize(tree);
    }
}

template <class Peer>
void weigh(benchmark::State& state) {
    auto const& data = realistic();
    double bytes = 0;
    for (auto _ : state) {
        auto const before = heap_use();
        auto tree = Peer::build(data);
        benchmark::DoNotOptimize(tree);
        bytes = static_cast<double>(heap_use() - before);
    }
    state.counters["bytes_per_node"] = bytes / static_cast<double>(count_nodes(data));
}

template <class Peer>
void copy(benchmark::State& state) {
    auto const& tree = wide<Peer>();
    for (auto _ : state) {
        auto copied = Peer::copy(tree);
        benchmark::DoNotOptimize(copied);
    }
}

template <class Peer>
void copy_and_change(benchmark::State& state) {
    auto const& tree = wide<Peer>();
    std::int64_t number = 0;
    for (auto _ : state) {
        auto copied = Peer::copy(tree);
        Peer::set(copied, 100'000 + ++number);
        benchmark::DoNotOptimize(copied);
    }
}

template <class Peer>
void find(benchmark::State& state) {
    auto const& tree = wide<Peer>();
    for (auto _ : state) {
        auto number = Peer::find(tree);
        benchmark::DoNotOptimize(number);
    }
}

template <class Peer>
void add(char const* work, void (*function)(benchmark::State&), benchmark::TimeUnit unit) {
    benchmark::RegisterBenchmark((std::string(work) + "/" + Peer::name()).c_str(), function)->Unit(unit);
}

template <class... Peers>
void add_all() {
    (add<Peers>("build", build<Peers>, benchmark::kMillisecond), ...);
    (add<Peers>("weigh", weigh<Peers>, benchmark::kMillisecond), ...);
    (add<Peers>("copy", copy<Peers>, benchmark::kMicrosecond), ...);
}

template <class... Peers>
void add_changes() {
    (add<Peers>("copy_and_change", copy_and_change<Peers>, benchmark::kMicrosecond), ...);
    (add<Peers>("find", find<Peers>, benchmark::kNanosecond), ...);
}

[[maybe_unused]] bool const added = [] {
    add_all<kxcore_peer, boost_json_peer, nlohmann_peer, rapidjson_peer, protobuf_peer, pugixml_peer, libxml2_peer>();
    add_changes<kxcore_peer, boost_json_peer, nlohmann_peer, rapidjson_peer, protobuf_peer, pugixml_peer>();
    return true;
}();

} // namespace
} // namespace kxbench
