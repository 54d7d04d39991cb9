// What a workflow_builder costs as workflows grow: taking one apart, working on it the way finalization does, putting it
// together again. Ten times the tasks should take about eleven times the time. And what a picture of a workflow costs beside
// reading its document: less than a fifth.
#include <kxclientutil/config.h>
#include <kxclientutil/graph.h>
#include <kxclientutil/wf_connection.h>

#include <kxbase/buffer.h>
#include <kxcore/constraint_db.h>
#include <kxcore/constraint_enum.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxcore/property_special.h>
#include <kxcore/property_values.h>
#include <kxworkflow/workflow_builder.h>

#include <benchmark/benchmark.h>

#include <set>
#include <string>
#include <vector>

namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_handle;
using kxcore::property_list;
using kxcore::property_string;

constexpr char const* encoder = "task/regular/ogencoder/1.0";
constexpr char const* localizer = "task/regular/localize/1.0";
constexpr char const* upload = "task/regular/upload/1.0";

property_handle text(std::string_view value) {
    return make_refcount<property_string>(value);
}

kxbase::ptr_refcount<kxcore::plugin_info const> make_plugin(char const* id, std::vector<char const*> const& inputs) {
    property_handle const port = make_refcount<properties>("kind", text("string"));
    auto in = make_refcount<properties>();
    for (char const* const input : inputs)
        in->set_property(input, port);
    auto document = make_refcount<properties>("plugin-id", text(id), "inputs", in, "outputs",
                                              make_refcount<properties>("dest-url", port));
    document->set_property("info", make_refcount<properties>("name", text(id)));
    return make_refcount<kxcore::plugin_info>(document);
}

kxcore::plugin_db make_plugins() {
    kxcore::plugin_db plugins;
    plugins.add_plugin(make_plugin(encoder, {"source-url", "intro-url"}));
    plugins.add_plugin(make_plugin(localizer, {"source-url", "dest-dir-url"}));
    plugins.add_plugin(make_plugin(upload, {"source-url", "dest-dir-url"}));
    return plugins;
}

std::string id(char const* plid, std::size_t number) {
    return "wtid:" + std::string(plid) + "#" + std::to_string(number);
}

property_handle make_task(char const* plid, std::size_t number) {
    auto configuration = make_refcount<properties>("dest-dir-url", text("file:/out"));
    for (int i = 0; i < 20; ++i)
        configuration->set_property("setting-" + std::to_string(i), make_refcount<kxcore::property_int>(i));
    auto task = make_refcount<properties>("id", text(id(plid, number)), "plugin-id", text(plid), "configuration",
                                          configuration);
    task->set_property("name", text("task " + std::to_string(number)));
    return task;
}

/// Half encoders, half uploads.
properties make_workflow(std::size_t tasks) {
    auto list = make_refcount<property_list>();
    for (std::size_t i = 0; i < tasks; ++i)
        list->push_back(make_task(i % 2 == 0 ? encoder : upload, i / 2));
    return properties("name", text("bench"), "tasks", list);
}

/// What finalization does to every task: values, localizers that several tasks share, connections, dependencies,
/// requirements.
void work_on(kxworkflow::workflow_builder& builder, std::size_t tasks) {
    auto const success = make_refcount<kxcore::constraint_enum>("succeeded");
    property_handle const reference =
        kxcore::property_special::create_deferred_variable(kxcore::property_kind::string, "dest-url");
    builder.set_workflow_capability("node-id", text("N"));
    builder.update_task_requirements(true, true);
    std::set<std::string> encoders;
    for (std::size_t i = 0; i < tasks / 2; ++i) {
        std::string const task = encoders.insert(id(encoder, i)).first->c_str();
        property_handle const url = text("http://host/intro-" + std::to_string(i / 3) + ".mov");
        std::list<std::string> found;
        if (builder.find_task_with_configuration_value(localizer, "source-url", *url, found) == 0)
            found.push_back(builder.add_task(localizer, make_refcount<properties>("source-url", url), 0, "", "Intro"));
        benchmark::DoNotOptimize(builder.connect(found.front(), "dest-url", task, "intro-url"));
        builder.set_in_value(task, "intro-url", reference);
        benchmark::DoNotOptimize(builder.connect(task, "dest-url", id(upload, i), "source-url"));
        builder.depend_task(id(upload, i), task, success);
    }
    std::string const last = builder.add_task(upload, {}, 0, "", "Move");
    builder.depend_any_task(last, encoders, success);
    std::string const main = builder.add_task(localizer, {}, 0, "localizer", "Main Source");
    builder.update_task_requirements(false, true);
    for (std::string const& task : encoders)
        benchmark::DoNotOptimize(builder.connect(main, "dest-url", task, "source-url"));
}

void finalize_like_workflow(benchmark::State& state) {
    auto const tasks = static_cast<std::size_t>(state.range(0));
    properties const workflow = make_workflow(tasks);
    kxcore::plugin_db const plugins = make_plugins();
    kxcore::constraint_db const constraints(false);
    for (auto _ : state) {
        kxworkflow::workflow_builder builder(workflow, plugins, constraints);
        work_on(builder, tasks);
        properties out;
        builder.export_workflow(out);
        benchmark::DoNotOptimize(out);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(finalize_like_workflow)->RangeMultiplier(10)->Range(10, 100000)->Unit(benchmark::kMillisecond)->Complexity();

/// Connects a chain that is drawn from its end, or pair by pair: the orders that cost most.
void connect_chain(benchmark::State& state) {
    auto const tasks = static_cast<std::size_t>(state.range(0));
    auto list = make_refcount<property_list>();
    for (std::size_t i = 0; i < tasks; ++i)
        list->push_back(make_task(upload, i));
    properties const workflow("tasks", list);
    kxcore::plugin_db const plugins = make_plugins();
    for (auto _ : state) {
        state.PauseTiming();
        kxworkflow::workflow_builder builder(workflow, plugins, kxcore::constraint_db(false));
        state.ResumeTiming();
        for (std::size_t step = 1; step <= 2; ++step)
            for (std::size_t i = step; i < tasks; i += 2)
                benchmark::DoNotOptimize(builder.connect(id(upload, i), "dest-url", id(upload, i - 1), "source-url"));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(connect_chain)->RangeMultiplier(10)->Range(10, 10000)->Unit(benchmark::kMillisecond)->Complexity();

/// A chain with a connection by ports between each two tasks, and one on a result besides.
properties make_connected_workflow(std::size_t tasks) {
    properties workflow = make_workflow(tasks);
    auto connections = make_refcount<property_list>();
    for (std::size_t i = 1; i < tasks; ++i) {
        std::string const from = id(i % 2 == 0 ? upload : encoder, (i - 1) / 2);
        std::string const to = id(i % 2 == 0 ? encoder : upload, i / 2);
        for (kxclientutil::wf_connection const& drawn :
             {kxclientutil::wf_connection(from, "dest-url", to, "source-url"),
              kxclientutil::wf_connection(from, to, i % 4 < 2 ? "success" : "failure")}) {
            auto encoded = make_refcount<properties>();
            drawn.encode(*encoded);
            connections->push_back(encoded);
        }
    }
    workflow.set_property("workflow-meta", make_refcount<properties>("connections", connections));
    return workflow;
}

kxcore::constraint_db make_workflow_constraint() {
    kxcore::constraint_db constraints(false);
    constraints.add_constraint("node.workflow", make_refcount<kxcore::constraint_db>(false), true);
    return constraints;
}

/// The peer of what follows: the same workflow, read from its document.
void read_workflow(benchmark::State& state) {
    auto const constraints = make_workflow_constraint();
    auto const plugins = make_plugins();
    kxbase::buffer document;
    kxclientutil::write_config(kxclientutil::config_workflow, constraints,
                               make_connected_workflow(static_cast<std::size_t>(state.range(0))), document,
                               kxcore::configuration::format_xml);
    for (auto _ : state) {
        properties read;
        kxclientutil::read_config(document, plugins, constraints, read, nullptr);
        benchmark::DoNotOptimize(read);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(read_workflow)->Name("graph_workflow/reading alone")->Arg(10000)->Unit(benchmark::kMillisecond);

using graph_writer = std::string(kxclientutil::workflow_graph const&, kxclientutil::graph_drawing const&);

template <graph_writer* write>
void graph_workflow(benchmark::State& state) {
    properties const workflow = make_connected_workflow(static_cast<std::size_t>(state.range(0)));
    auto const plugins = make_plugins();
    for (auto _ : state) {
        std::string drawing = write(kxclientutil::create_workflow_graph(workflow, plugins), {});
        benchmark::DoNotOptimize(drawing);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(graph_workflow<kxclientutil::graph_to_dot>)
    ->Name("graph_workflow/kxclientutil")
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(graph_workflow<kxclientutil::graph_to_mermaid>)
    ->Name("graph_as_mermaid")
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(graph_workflow<kxclientutil::graph_to_dot>)
    ->Name("graph_as_dot")
    ->RangeMultiplier(10)
    ->Range(10, 100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

} // namespace
