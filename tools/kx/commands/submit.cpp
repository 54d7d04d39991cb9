#include "../application.h"
#include "../delivery.h"
#include "../made_job.h"
#include "../node_access.h"
#include "../shown.h"
#include "commands.h"

#include <kxbase/uuid.h>
#include <kxnet/frame.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kx {
namespace {

struct submit_options {
    job_options what;
    node_options node;
    std::string id;
    bool dry_run = false;
};

std::string refuse_bad_id(std::string const& id) {
    constexpr std::size_t most = 64;
    constexpr char const* allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    bool const fits = !id.empty() && id.size() <= most && id.find_first_not_of(allowed) == std::string::npos;
    return fits ? "" : "an id has 1 to 64 characters of A-Z, a-z, 0-9 and -";
}

void tell(application& app, submit_options const& chosen, making const& made, std::string const& id) {
    json told = {{"node", node_in_words(chosen.node)}};
    if (!id.empty()) told["id"] = id;
    json const summary = job_summary(made);
    told.update(summary);
    if (app.wants_json) return application::print_json(told);
    application::print(fmt::format("{}: {}{}\n{}", on_one_line(node_in_words(chosen.node)), job_in_words(summary),
                                   id.empty() ? " would be sent" : ", id " + on_one_line(id),
                                   resources_in_words(summary)));
}

void deliver(application& app, submit_options chosen, making const& made, kxp::packet const& request) {
    if (!find_node(app, chosen.node)) return;
    node_access node;
    if (!app.run_on(chosen.node.to, [&] { node = access_to(app, chosen.node); })) return;
    run_on_node(app, chosen.node, [&] { tell(app, chosen, made, delivery(app, node, request).run()); });
}

/// What cannot be sent is refused before a node is looked for and a password asked for.
kxp::packet sendable_request(kxcore::properties const& job, std::string const& submission) {
    constexpr std::uint32_t any_number = 1;
    kxp::packet request = submit_request(job, submission);
    static_cast<void>(kxnet::frame(request, any_number));
    return request;
}

void run(application& app, submit_options const& chosen) {
    making made;
    if (!compose_submission(app, chosen.what, made)) return;
    std::string const submission = chosen.id.empty() ? kxbase::string_uuid(true) : chosen.id;
    std::optional<kxp::packet> request;
    bool const is_sendable = app.run_on(composed_document(chosen.what), [&] {
        finalize_submission(app, chosen.what, made, false);
        request = sendable_request(made.submission, submission);
    });
    if (!is_sendable) return;
    if (chosen.dry_run) return tell(app, chosen, made, "");
    deliver(app, chosen, made, *request);
}

} // namespace

void add_submit_command(CLI::App& parser, application& app) {
    auto chosen = std::make_shared<submit_options>();
    auto* const command = parser.add_subcommand("submit", "Make a job as finalize does, and hand it over to a node");
    add_job_content(*command, chosen->what, app);
    add_node_options(*command, chosen->node);
    command->add_flag("--dry-run", chosen->dry_run,
                      "Make the job, and see whether it could be sent, but do not connect to the node");
    command
        ->add_option("--id", chosen->id,
                     "The id under which the job is sent; without it a fresh one. A node takes the same job under the "
                     "same id once")
        ->type_name("ID")
        ->check(refuse_bad_id);
    add_job_settings(*command, chosen->what);
    command->footer(
        "The node has stored the job when this is done; kx status shows what becomes of it. Ctrl-C while it is sent "
        "leaves nothing behind. When the answer is lost the job is sent once more; when that fails too, the error says "
        "how to send it again without making two.\n"
        "Without --tls anybody on the network can read the job, and the password's digest.\n\nExample:\n"
        "  kx submit --workflow news.xml --file clip.mov --as-resources --to node7.example.com:40420 --user alice "
        "--tls\n"
        "  kx submit --workflow news.xml --file clip.mov --as-resources --cluster news --user alice\n");
    command->callback([&app, chosen] { run(app, *chosen); });
}

} // namespace kx
