// Trees as bytes: the network encoding and the XML documents.

#include "peers/kxcore_peer.h"
#include "peers/libxml2_peer.h"
#include "peers/protobuf_peer.h"
#include "peers/pugixml_peer.h"

#include <benchmark/benchmark.h>

namespace kxbench {
namespace {

template <class Peer>
typename Peer::tree const& built() {
    static typename Peer::tree const tree =
        Peer::build(make_submission(realistic_submission.tasks, realistic_submission.files));
    return tree;
}

/// All peers read the same bytes: a document as this library writes it.
std::string_view document() {
    static kxbase::buffer const text = kxcore_peer::write_xml(built<kxcore_peer>());
    return text.text();
}

template <class Bytes>
void count_bytes(benchmark::State& state, Bytes const& bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
    state.counters["size"] = static_cast<double>(bytes.size());
}

template <class Peer>
void encode(benchmark::State& state) {
    auto const& tree = built<Peer>();
    auto bytes = Peer::encode(tree);
    for (auto _ : state) {
        bytes = Peer::encode(tree);
        benchmark::DoNotOptimize(bytes);
    }
    count_bytes(state, bytes);
}

template <class Peer>
void decode(benchmark::State& state) {
    auto const bytes = Peer::encode(built<Peer>());
    for (auto _ : state) {
        auto tree = Peer::decode(bytes);
        benchmark::DoNotOptimize(tree);
    }
    count_bytes(state, bytes);
}

template <class Peer>
void write_xml(benchmark::State& state) {
    auto const& tree = built<Peer>();
    auto text = Peer::write_xml(tree);
    for (auto _ : state) {
        text = Peer::write_xml(tree);
        benchmark::DoNotOptimize(text);
    }
    count_bytes(state, text);
}

template <class Peer>
void read_xml(benchmark::State& state) {
    typename Peer::document_text const text(document());
    for (auto _ : state) {
        auto tree = Peer::read_xml(text);
        benchmark::DoNotOptimize(tree);
    }
    count_bytes(state, text);
}

template <class Peer>
void add(char const* work, void (*function)(benchmark::State&)) {
    benchmark::RegisterBenchmark((std::string(work) + "/" + Peer::name()).c_str(), function)
        ->Unit(benchmark::kMillisecond);
}

template <class... Peers>
void add_encodings() {
    (add<Peers>("encode", encode<Peers>), ...);
    (add<Peers>("decode", decode<Peers>), ...);
}

template <class... Peers>
void add_documents() {
    (add<Peers>("read_xml", read_xml<Peers>), ...);
    (add<Peers>("write_xml", write_xml<Peers>), ...);
}

[[maybe_unused]] bool const added = [] {
    add_encodings<kxcore_peer, protobuf_peer>();
    add_documents<kxcore_peer, pugixml_peer, libxml2_peer>();
    return true;
}();

} // namespace
} // namespace kxbench
