// A thousand workflows as users keep them: reading with everything that belongs to it, upgrading from version 1, and
// writing, beside what parsing the same bytes alone costs.

#include "peers/kxcore_peer.h"
#include "peers/libxml2_peer.h"
#include "peers/pugixml_peer.h"

#include <kxclientutil/config.h>
#include <kxcore/installation.h>

#include <benchmark/benchmark.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kxbench {
namespace {

constexpr std::size_t document_count = 1'000;
constexpr unsigned int old_version = 1;
constexpr unsigned int new_version = 7;

using kxbase::ptr_refcount;
using kxcore::configuration;
using kxcore::properties;

kxcore::installation const& installation() {
    static auto const loaded = kxcore::installation::load(KX_SOURCE_DIR "/share/installation");
    return loaded;
}

kxbase::buffer stored(properties const& workflow, unsigned int version) {
    configuration document(kxcore::constraint_db(), {"workflow", version});
    document.set_config(workflow);
    kxbase::buffer out;
    document.write_config(out, configuration::format_xml);
    return out;
}

properties parsed(kxbase::buffer const& bytes) {
    configuration document;
    static_cast<void>(document.read_config(kxcore::constraint_db(), {{"workflow", new_version}}, bytes, nullptr));
    return document.get_config();
}

properties read(kxbase::buffer const& bytes) {
    properties out(false);
    static_cast<void>(
        kxclientutil::read_config(bytes, installation().get_plugins(), installation().get_constraints(), out, nullptr));
    return out;
}

ptr_refcount<properties> upgraded(properties const& workflow) {
    return kxclientutil::update_workflow(workflow, old_version, new_version, installation().get_plugins(),
                                         installation().get_constraints());
}

/// The documents at version 1 and 7: as trees, and as bytes for each library.
struct documents {
    documents() {
        for (plain_value const& workflow : make_old_workflows(document_count)) {
            old_trees.push_back(kxcore_peer::build(workflow));
            new_trees.push_back(*upgraded(old_trees.back()));
            old_bytes.push_back(stored(old_trees.back(), old_version));
            new_bytes.push_back(stored(new_trees.back(), new_version));
            old_texts.emplace_back(old_bytes.back().text());
            new_texts.emplace_back(new_bytes.back().text());
        }
    }

    std::vector<properties> old_trees, new_trees;
    std::vector<kxbase::buffer> old_bytes, new_bytes;
    std::vector<std::string> old_texts, new_texts;
};

documents const& all() {
    static documents const made;
    return made;
}

/// Handles every document once per iteration.
template <class Documents, class Work>
void each(benchmark::State& state, Documents const& handled, Work const& work) {
    for (auto _ : state)
        for (auto const& document : handled) {
            auto result = work(document);
            benchmark::DoNotOptimize(result);
        }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * handled.size()));
}

bool is_valid(kxcore::constraint_db const& constraint, properties const& workflow) {
    return constraint.is_valid(workflow, kxcore::validity::all) &&
           constraint.constraints_satisfied(workflow, kxcore::validity::all);
}

void validate(benchmark::State& state) {
    auto const found = installation().get_constraints().get_constraint("node.workflow");
    auto const& constraint = dynamic_cast<kxcore::constraint_db const&>(*found);
    for (properties const& workflow : all().new_trees)
        if (!is_valid(constraint, workflow)) throw std::logic_error("a workflow of the benchmark is not valid");
    each(state, all().new_trees, [&](properties const& workflow) { return is_valid(constraint, workflow); });
}

kxbase::buffer written(properties const& workflow) {
    kxbase::buffer out;
    kxclientutil::write_config(kxclientutil::config_workflow, installation().get_constraints(), workflow, out,
                               configuration::format_xml);
    return out;
}

/// Writes what it has read before.
template <class Peer>
void write(benchmark::State& state) {
    std::vector<typename Peer::tree> trees;
    for (std::string const& text : all().new_texts)
        trees.push_back(Peer::read_xml(text));
    each(state, trees, Peer::write_xml);
}

void add(char const* name, std::function<void(benchmark::State&)> const& function) {
    benchmark::RegisterBenchmark(name, function)->Unit(benchmark::kMillisecond);
}

/// Reading, beside the parse alone: our own and those of the peers.
void add_reading(std::string const& work, std::vector<kxbase::buffer> documents::*bytes,
                 std::vector<std::string> documents::*texts) {
    add((work + "/kxclientutil").c_str(), [=](auto& state) { each(state, all().*bytes, read); });
    add((work + "/parse alone").c_str(), [=](auto& state) { each(state, all().*bytes, parsed); });
    add((work + "/pugixml").c_str(), [=](auto& state) { each(state, all().*texts, pugixml_peer::read_xml); });
    add((work + "/libxml2").c_str(), [=](auto& state) { each(state, all().*texts, libxml2_peer::read_xml); });
}

[[maybe_unused]] bool const added = [] {
    add_reading("read_documents", &documents::new_bytes, &documents::new_texts);
    add_reading("read_old_documents", &documents::old_bytes, &documents::old_texts);
    add("validate_documents/kxclientutil", validate);
    add("validate_documents/parse alone", [](auto& state) { each(state, all().new_bytes, parsed); });
    add("upgrade_documents/kxclientutil", [](auto& state) { each(state, all().old_trees, upgraded); });
    add("upgrade_documents/parse alone", [](auto& state) { each(state, all().old_bytes, parsed); });
    add("write_documents/kxclientutil", [](auto& state) { each(state, all().new_trees, written); });
    add("write_documents/pugixml", write<pugixml_peer>);
    add("write_documents/libxml2", write<libxml2_peer>);
    return true;
}();

} // namespace
} // namespace kxbench
