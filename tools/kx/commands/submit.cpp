#include "../application.h"
#include "../interruption.h"
#include "../made_job.h"
#include "../node_access.h"
#include "../progress.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/errors.h>
#include <kxbase/uuid.h>
#include <kxclientutil/connection.h>
#include <kxcore/property_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

namespace kx {
namespace {

struct options {
    job_options what;
    node_options node;
    bool dry_run = false;
};

/// A request on its way to the node. The user may stop it until all of it has been sent: the node drops a part of a job.
/// Then there is no way back, and the node's answer is awaited.
class sending {
public:
    sending(application& app, kxcapi::connection& connection) : app_(app), connection_(connection) {}

    /// @param is_last  whether there will be no other attempt
    /// @return empty when the connection was lost after all had been sent, and there will be another attempt
    /// @throws interrupted when the user stopped it; what kxcapi::connection::request throws
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet const> run(kxp::packet const& request, bool is_last);

private:
    void advance(std::uint64_t sent, std::uint64_t total);
    void watch(std::stop_token const& end);

    application& app_;
    kxcapi::connection& connection_;
    std::optional<progress> bar_;
    std::uint64_t shown_ = 0;
    std::atomic<bool> is_whole_ = false;
};

kxbase::ptr_refcount<kxp::packet const> sending::run(kxp::packet const& request, bool is_last) {
    std::jthread const watching([this](std::stop_token const& end) { watch(end); });
    try {
        return connection_.request(request, 0,
                                   [this](std::uint64_t sent, std::uint64_t total) { advance(sent, total); });
    } catch (kxbase::es::call const&) {
        if (!is_whole_) interruption::stop_if_asked();
        if (is_last || !is_whole_) throw;
        return {};
    }
}

// A bar for what takes a while.
void sending::advance(std::uint64_t sent, std::uint64_t total) {
    constexpr std::uint64_t step = 1024;
    constexpr std::uint64_t least_for_a_bar = 1024 * step;
    if (sent < total) interruption::stop_if_asked();
    is_whole_ = sent == total;
    if (total < least_for_a_bar) return;
    if (!bar_) bar_.emplace(app_.get_log(), "sending", total / step);
    bar_->advance(sent / step - shown_);
    shown_ = sent / step;
}

// A node that takes nothing more must not keep the user waiting.
void sending::watch(std::stop_token const& end) {
    constexpr auto moment = std::chrono::milliseconds(50);
    std::mutex own;
    std::condition_variable_any never;
    std::unique_lock lock(own);
    while (!end.stop_requested()) {
        static_cast<void>(never.wait_for(lock, end, moment, [] { return false; }));
        try {
            if (!is_whole_) interruption::stop_if_asked();
        } catch (interrupted const&) {
            return connection_.close();
        }
    }
}

kxp::packet submission_packet(kxcore::properties const& job) {
    kxp::packet request(kxp::e_packet_type::request, "cluster.job.submit");
    request.set_property("submission", kxbase::string_uuid(true));
    request.set_property("job", kxbase::make_refcount<kxcore::properties>(job));
    return request;
}

/// One attempt; empty when the connection was lost after all had been sent, so that nobody knows whether the node has it.
std::optional<std::string> attempt(application& app, node_access const& node, kxp::packet const& request,
                                   bool is_last) {
    auto const connection = kxclientutil::get_client_connection_to_node(node.host, node.port, node.user, node.password,
                                                                        "kx", "", nullptr, 0, node.transport);
    interruption signals;
    kxbase::ptr_refcount<kxp::packet const> reply;
    try {
        sending job(app, *connection);
        reply = job.run(request, is_last);
    } catch (interrupted const& error) {
        connection->close();
        signals.end_if_asked();
        kxbase::es::call::raise(error.what());
    }
    if (!reply) return std::nullopt;
    auto const error = reply->get_properties().get_property("error");
    if (error) kxbase::es::call::raise("the node refused the job: " + error->to_string());
    return reply->get_properties().get_string_value("id");
}

// The node knows a submission that it has seen, so sending it again never makes two jobs.
std::string submit(application& app, node_access const& node, kxp::packet const& request) {
    auto id = attempt(app, node, request, false);
    if (!id) id = attempt(app, node, request, true);
    return *id;
}

void tell(application& app, options const& chosen, making const& made, std::string const& id) {
    json told = {{"node", chosen.node.to}};
    if (!id.empty()) told["id"] = id;
    json const summary = job_summary(made);
    told.update(summary);
    if (app.wants_json) return application::print_json(told);
    application::print(fmt::format("{}: {}{}\n{}", on_one_line(chosen.node.to), job_in_words(summary),
                                   id.empty() ? " would be sent" : ", id " + on_one_line(id),
                                   resources_in_words(summary)));
}

void deliver(application& app, options const& chosen, making const& made) {
    node_access node;
    if (!app.run_on(chosen.node.to, [&] { node = access_to(app, chosen.node); })) return;
    run_on_node(app, chosen.node, [&] {
        auto const id = submit(app, node, submission_packet(made.submission));
        tell(app, chosen, made, id);
    });
}

void run(application& app, options const& chosen) {
    making made;
    if (!compose_submission(app, chosen.what, made)) return;
    if (!app.run_on(composed_document(chosen.what), [&] { finalize_submission(app, chosen.what, made, false); }))
        return;
    if (chosen.dry_run) return tell(app, chosen, made, "");
    deliver(app, chosen, made);
}

} // namespace

void add_submit_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<options>();
    auto* const command = parser.add_subcommand("submit", "Make a job as finalize does, and hand it over to a node");
    add_job_content(*command, chosen->what, app);
    add_node_options(*command, chosen->node);
    command->add_flag("--dry-run", chosen->dry_run, "Make the job, but do not connect to the node");
    add_job_settings(*command, chosen->what);
    command->footer(
        "The node has stored the job when this is done; kx status shows what becomes of it. Ctrl-C while it "
        "is sent leaves nothing behind.\nWithout --tls anybody on the network can read the job, and the "
        "password's digest.\n\nExample:\n  kx submit --workflow news.xml --file clip.mov --as-resources "
        "--to node7.example.com:40420 --user alice --tls\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
