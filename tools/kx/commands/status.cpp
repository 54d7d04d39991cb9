#include "../application.h"
#include "../node_access.h"
#include "../shown.h"
#include "../tree_json.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxclientutil/connection.h>
#include <kxcore/credentials.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace kx {
namespace {

/// Waits for all jobs of a node.
class waiting_for_state final : public kxcapi::state_handler {
public:
    void state_complete() override { end(""); }
    void closed(std::string const& reason) override { end(reason); }

    /// @throws es::call when the connection ends before, or nothing comes in time
    void wait(unsigned int timeout_ms) {
        std::unique_lock lock(guard_);
        if (!ended_.wait_until(lock, kxnet::deadline_after(timeout_ms), [this] { return has_ended_; }))
            kxbase::es::call::raise("the node does not tell of its jobs in time");
        if (!reason_.empty()) kxbase::es::call::raise(reason_);
    }

private:
    void end(std::string const& reason) {
        std::lock_guard const lock(guard_);
        if (has_ended_) return;
        has_ended_ = true;
        reason_ = reason;
        ended_.notify_all();
    }

    std::mutex guard_;
    std::condition_variable ended_;
    bool has_ended_ = false;
    std::string reason_;
};

std::vector<kxcapi::job> jobs_of(node_access const& node) {
    waiting_for_state handler;
    auto const connection =
        kxclientutil::get_state_connection_to_node(&handler, node.host, node.port, node.user, node.password, "kx", "",
                                                   false, 0, nullptr, node.timeout_ms, node.transport);
    handler.wait(node.timeout_ms);
    auto jobs = connection->get_jobs();
    connection->close();
    return jobs;
}

void tell(application& app, std::vector<kxcapi::job> const& jobs) {
    if (app.wants_json) {
        json all = json::array();
        for (auto const& job : jobs)
            all.push_back(to_json(kxcore::credentials::without_secrets(*job.announced)));
        return application::print_json({{"jobs", all}});
    }
    auto const visible = [](std::string const& text) { return on_one_line(kxbase::without_url_secrets(text)); };
    std::size_t widest = 0;
    for (auto const& job : jobs)
        widest = std::max(widest, visible(job.status).size());
    for (auto const& job : jobs)
        application::print(
            fmt::format("{}  {:{}}  {}\n", visible(job.id), visible(job.status), widest, visible(job.name)));
}

void run(application& app, node_options chosen) {
    if (!find_node(app, chosen)) return;
    node_access node;
    if (!app.run_on(chosen.to, [&] { node = access_to(app, chosen); })) return;
    run_on_node(app, chosen, [&] { tell(app, jobs_of(node)); });
}

} // namespace

void add_status_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<node_options>();
    auto* const command = parser.add_subcommand("status", "List the jobs of a node: id, status and name");
    add_node_options(*command, *chosen);
    command->footer("Example:\n  kx status --to node7.example.com:40420 --user alice --tls\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
