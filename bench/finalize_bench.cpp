// Finalization of a whole submission, beside zlib alone at the same level on the same bytes: the copy that a job keeps
// of what it was made from has to be compressed in any case.

#include "peers/kxcore_peer.h"

#include <kxbase/report.h>
#include <kxclientutil/submission.h>
#include <kxcore/installation.h>

#include <benchmark/benchmark.h>
#include <zlib.h>

namespace kxbench {
namespace {

constexpr int level = 6;

kxcore::installation const& installation() {
    static auto const loaded = kxcore::installation::load(KX_SOURCE_DIR "/share/installation");
    return loaded;
}

/// One variable of each task is reported as one that can't be resolved. What becomes of the line, and what that costs,
/// is the host's.
class without_log {
public:
    without_log() : before_(kxbase::set_report_sink([](kxbase::report_line const&) {})) {}
    without_log(without_log const&) = delete;
    without_log& operator=(without_log const&) = delete;
    ~without_log() { kxbase::set_report_sink(before_); }

private:
    kxbase::report_sink before_;
};

void finalize(benchmark::State& state, submission_size size) {
    without_log const quiet;
    auto const submission = kxcore_peer::build(make_submission(size.tasks, size.files));
    kxclientutil::finalize_sub_conf settings("origin");
    settings.node_id = "node";
    settings.resource_uri_option = true;
    for (auto _ : state) {
        kxcore::properties job(submission);
        kxcore::property_list resources;
        kxclientutil::submission_finalize(job, resources, settings, installation().get_plugins(),
                                          installation().get_constraints());
        benchmark::DoNotOptimize(job);
        // What becomes of the job, and when it goes, is its caller's.
        state.PauseTiming();
        job.clear();
        resources.clear();
        state.ResumeTiming();
    }
}

void deflate_alone(benchmark::State& state, submission_size size) {
    kxbase::buffer const bytes = kxcore_peer::encode(kxcore_peer::build(make_submission(size.tasks, size.files)));
    std::string out(compressBound(bytes.size()), '\0');
    for (auto _ : state) {
        uLongf out_size = out.size();
        compress2(reinterpret_cast<Bytef*>(out.data()), &out_size, reinterpret_cast<Bytef const*>(bytes.data()),
                  bytes.size(), level);
        benchmark::DoNotOptimize(out);
    }
    state.counters["size"] = static_cast<double>(bytes.size());
}

[[maybe_unused]] bool const added = [] {
    for (auto const size : {small_submission, realistic_submission, big_submission}) {
        auto const suffix = std::string("_") + size.name;
        benchmark::RegisterBenchmark(("finalize" + suffix + "/kxclientutil").c_str(), finalize, size)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("finalize" + suffix + "/zlib alone").c_str(), deflate_alone, size)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
} // namespace kxbench
