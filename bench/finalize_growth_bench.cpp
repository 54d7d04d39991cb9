// How finalization grows, along each thing that a submission may have many of: ten times as much should take at most
// eleven times as long. Beside the time the memory that it takes at its peak, and that of the job which stays, in times of
// what the submission is encoded.
#include "memory_peak.h"
#include "peers/kxcore_peer.h"

#include <kxbase/report.h>
#include <kxclientutil/submission.h>
#include <kxclientutil/wf_connection.h>
#include <kxcore/installation.h>
#include <kxcore/plugin_db.h>
#include <kxcore/plugin_info.h>

#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

namespace kxbench {
namespace {

using kxbase::make_refcount;
using kxcore::properties;
using kxcore::property_list;
using kxcore::property_string;
using list_handle = kxbase::ptr_refcount<property_list>;
using tree_handle = kxbase::ptr_refcount<properties>;

constexpr char const* encoder = "task/regular/ogencoder/1.0";
constexpr char const* upload = "task/regular/upload/1.0";
constexpr char const* mail = "task/regular/mail/1.0";

kxcore::installation const& installation() {
    static auto const loaded = kxcore::installation::load(KX_SOURCE_DIR "/share/installation");
    return loaded;
}

kxbase::ptr_refcount<property_string> text(std::string_view value) {
    return make_refcount<property_string>(value);
}

std::string numbered(std::string_view before, std::size_t number, std::string_view after) {
    std::string whole(before);
    return whole.append(std::to_string(number)).append(after);
}

std::string wtid(char const* plid, std::size_t number) {
    return "wtid:" + numbered(plid, number, "").insert(std::string_view(plid).size(), "#");
}

/// A task as its plugin ships it, with variables in a name.
tree_handle make_task(char const* plid, std::size_t number) {
    auto const plugin = installation().get_plugins().describe_plugin(plid);
    auto configuration = make_refcount<properties>(*plugin->get_default_configuration());
    configuration->set_property("subject", text("$workflow.name$"));
    auto task = make_refcount<properties>("id", text(wtid(plid, number)), "plugin-id", text(plid), "configuration",
                                          configuration);
    task->set_property("name", text(numbered("task ", number, "")));
    return task;
}

list_handle listed(std::size_t count, auto const& make) {
    auto list = make_refcount<property_list>();
    list->reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        list->push_back(make(i));
    return list;
}

properties with_workflow(list_handle const& tasks) {
    auto workflow = make_refcount<properties>("name", text("bench"), "tasks", tasks);
    return properties("name", text("bench"), "workflow", workflow);
}

properties with_encoders(std::size_t count) {
    return with_workflow(listed(count, [](std::size_t i) { return make_task(encoder, i); }));
}

tree_handle source_of(char const* key, list_handle const& entries) {
    return make_refcount<properties>("name", text("bench"), key, entries);
}

list_handle urls(std::string_view folder, std::size_t count) {
    return listed(count,
                  [&](std::size_t i) { return make_refcount<properties>("url", text(numbered(folder, i, ".mov"))); });
}

/// Two encoders and a source of so many files or clips.
properties with_source(char const* source, char const* entries, std::string_view folder, std::size_t count) {
    properties submission = with_encoders(2);
    submission.set_property(source, source_of(entries, urls(folder, count)));
    return submission;
}

properties local_files(std::size_t count) {
    return with_source("file-source", "files", "file:/media/in/", count);
}

properties remote_files(std::size_t count) {
    return with_source("file-source", "files", "ftp://media.example.com/in/", count);
}

properties local_clips(std::size_t count) {
    return with_source("edl-source", "clips", "file:/media/in/", count);
}

/// Each clip gets a localizer, connected to each encoder.
properties remote_clips(std::size_t count) {
    return with_source("edl-source", "clips", "http://media.example.com/in/", count);
}

properties sequences(std::size_t count) {
    properties submission = with_encoders(2);
    auto const entries = listed(count, [](std::size_t i) {
        return make_refcount<properties>("start-file-url", text(numbered("file:/media/in/", i, "/0001.dpx")),
                                         "framerate", text("25"), "num-safety-files",
                                         make_refcount<kxcore::property_int>(3));
    });
    submission.set_property("iseq-source", source_of("sequences", entries));
    return submission;
}

/// Encoders, each with a transfer behind it and a mail behind that, drawn in a chain.
properties chains(std::size_t count) {
    auto const tasks = listed(count, [](std::size_t i) {
        constexpr char const* plids[] = {encoder, upload, mail};
        return make_task(plids[i % 3], i / 3);
    });
    properties submission = with_workflow(tasks);
    auto const connections = listed(count / 3 * 2, [](std::size_t i) {
        char const* const to = i % 2 == 0 ? upload : mail;
        auto connection = make_refcount<properties>();
        kxclientutil::wf_connection(wtid(i % 2 == 0 ? encoder : upload, i / 2), wtid(to, i / 2), "success")
            .encode(*connection);
        return connection;
    });
    submission.set_create_referenced_property("workflow{workflow-meta}{connections}", connections);
    return submission;
}

properties chains_of_a_file(std::size_t count) {
    properties submission = chains(count);
    submission.set_property("file-source", source_of("files", urls("file:/media/in/", 1)));
    return submission;
}

properties chains_of_a_watched_folder(std::size_t count) {
    properties submission = chains(count);
    submission.set_property(
        "monitor-source",
        make_refcount<properties>("name", text("bench"), "manager-configuration",
                                  make_refcount<properties>("url", text("ftp://media.example.com/watch/"))));
    return submission;
}

/// Ten files on a server, each wanted by a tenth of the encoders.
properties shared_intros(std::size_t count) {
    auto const tasks = listed(count, [](std::size_t i) {
        auto task = make_task(encoder, i);
        task->set_referenced_property("configuration{intro-url}",
                                      text(numbered("http://media.example.com/intro-", i % 10, ".mov")));
        return task;
    });
    properties submission = with_workflow(tasks);
    submission.set_property("file-source", source_of("files", urls("file:/media/in/", 1)));
    return submission;
}

/// Each encoder stops all others: the job itself grows with the square.
properties stopping_each_other(std::size_t count) {
    properties submission = with_encoders(count);
    submission.set_create_referenced_property("workflow{workflow-meta}{finalize-workflow-failure}{encode}{stop-others}",
                                              make_refcount<kxcore::property_bool>(true));
    return submission;
}

struct direction {
    char const* name;
    properties (*make)(std::size_t);
    std::size_t most;
};

constexpr direction directions[] = {
    {"chains_of_a_file", chains_of_a_file, 10'000},
    {"chains_of_a_watched_folder", chains_of_a_watched_folder, 10'000},
    {"local_clips", local_clips, 100'000},
    {"local_files", local_files, 100'000},
    {"remote_clips", remote_clips, 10'000},
    {"remote_files", remote_files, 100'000},
    {"sequences", sequences, 100'000},
    {"shared_intros", shared_intros, 10'000},
    {"stopping_each_other", stopping_each_other, 1'000},
};

void finalize(benchmark::State& state, direction const& along) {
    auto const before = kxbase::set_report_sink([](kxbase::report_line const&) {});
    properties const submission = along.make(static_cast<std::size_t>(state.range(0)));
    kxclientutil::finalize_sub_conf settings("origin");
    settings.node_id = "node";
    settings.resource_uri_option = true;
    auto const run = [&](properties& job, property_list& resources) {
        kxclientutil::submission_finalize(job, resources, settings, installation().get_plugins(),
                                          installation().get_constraints());
    };
    std::size_t peak = 0;
    std::size_t held = 0;
    {
        properties job(submission);
        property_list resources;
        memory_peak const memory;
        run(job, resources);
        peak = memory.bytes();
        held = memory.held();
    }
    for (auto _ : state) {
        properties job(submission);
        property_list resources;
        run(job, resources);
        benchmark::DoNotOptimize(job);
        // What becomes of the job, and when it goes, is its caller's.
        state.PauseTiming();
        job.clear();
        resources.clear();
        state.ResumeTiming();
    }
    auto const encoded = static_cast<double>(kxcore_peer::encode(submission).size());
    state.counters["peak_per_encoded"] = static_cast<double>(peak) / encoded;
    state.counters["job_per_encoded"] = static_cast<double>(held) / encoded;
    kxbase::set_report_sink(before);
}

[[maybe_unused]] bool const added = [] {
    for (direction const& along : directions) {
        auto* const one = benchmark::RegisterBenchmark((std::string("finalize_growing/") + along.name).c_str(),
                                                       [&along](benchmark::State& state) { finalize(state, along); });
        one->Unit(benchmark::kMillisecond)->RangeMultiplier(10)->Range(10, static_cast<std::int64_t>(along.most));
    }
    return true;
}();

} // namespace
} // namespace kxbench
