// Makes a job of a workflow and a file, hands it over to a node, and waits until the node announces it.
//
//   KX_PASSWORD=... submit_job INSTALLATION WORKFLOW FILE HOST PORT USER [CA_FILE]
//
// With a CA file the connection is one of TLS, and the node's certificate has to be signed by one of that file.

#include <kxclientutil/config.h>
#include <kxclientutil/connection.h>
#include <kxclientutil/submission.h>

#include <kxbase/errors.h>
#include <kxbase/urls.h>
#include <kxbase/uuid.h>
#include <kxcapi/handler.h>
#include <kxcapi/job.h>
#include <kxcapi/state_connection.h>
#include <kxcore/installation.h>
#include <kxcore/process_context.h>
#include <kxcore/properties.h>
#include <kxcore/property_list.h>
#include <kxnet/packet.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <mutex>
#include <string>

namespace {

/// What the node announces, told to whoever waits for it. The calls come on a thread of the connection.
class announcements final : public kxcapi::state_handler {
public:
    void job_changed(kxcapi::job const& now) override {
        std::lock_guard const lock(guard_);
        status_[now.id] = now.status;
        changed_.notify_all();
    }

    void closed(std::string const& reason) override {
        std::lock_guard const lock(guard_);
        end_reason_ = reason;
        changed_.notify_all();
    }

    /// The status that the node gives a job. A program that wants the job's end goes on waiting until
    /// kxcapi::is_finished(status).
    std::string wait_for(std::string const& id, std::chrono::seconds most) {
        std::unique_lock lock(guard_);
        bool const is_told =
            changed_.wait_for(lock, most, [&] { return status_.contains(id) || !end_reason_.empty(); });
        if (!is_told) kxbase::es::call::raise("the node does not announce the job");
        if (!status_.contains(id)) kxbase::es::call::raise(end_reason_);
        return status_[id];
    }

private:
    std::mutex guard_;
    std::condition_variable changed_;
    std::map<std::string, std::string> status_;
    std::string end_reason_;
};

kxcore::properties make_job(kxcore::installation const& here, std::string const& workflow_file,
                            std::string const& file) {
    kxcore::properties workflow;
    auto const type = kxclientutil::read_config_file(workflow_file, here.get_plugins(), here.get_constraints(),
                                                     workflow, nullptr);
    if (type != kxclientutil::config_workflow) kxbase::es::arg::raise(workflow_file + " is no workflow");

    kxcore::properties job;
    kxclientutil::submission_add_workflow(workflow, job);
    std::string const url = kxbase::url_create_from_url_or_path(file, "");
    kxclientutil::submission_add_files({url}, kxbase::url_path_name(url), job);

    // The files that the nodes fetch from here.
    kxcore::property_list resources;
    kxclientutil::finalize_sub_conf settings("submit-job-example");
    settings.resource_uri_option = true;
    kxclientutil::submission_finalize(job, resources, settings, here.get_plugins(), here.get_constraints());
    return job;
}

/// The node's name for the job. Sending the same packet again, when the reply was lost, makes no second job.
std::string send(kxcapi::connection& node, kxcore::properties const& job) {
    kxp::packet request(kxp::e_packet_type::request, "cluster.job.submit");
    request.set_property("submission", kxbase::string_uuid(true));
    request.set_property("job", kxbase::make_refcount<kxcore::properties>(job));
    auto const reply = node.request(request, 0);
    auto const& members = reply->get_properties();
    if (auto const error = members.get_property("error"))
        kxbase::es::call::raise("the node refused the job: " + error->to_string());
    return members.get_string_value("id");
}

} // namespace

int main(int count, char** arguments) {
    if (count != 7 && count != 8) {
        std::fprintf(stderr, "usage: submit_job INSTALLATION WORKFLOW FILE HOST PORT USER [CA_FILE]\n");
        return 2;
    }
    try {
        auto const here = kxcore::installation::load(arguments[1]);
        // Credentials that documents hold are wrapped with this key.
        kxcore::process_context::instance().set_key_file(here.get_key_file());
        kxcore::properties const job = make_job(here, arguments[2], arguments[3]);

        // Other users see the command line, so the password does not stand there.
        char const* const password = std::getenv("KX_PASSWORD");
        kxnet::transport_options transport;
        transport.tls = count == 8;
        if (transport.tls) transport.ca_file = arguments[7];

        announcements told; // outlives the connection, which calls it
        constexpr unsigned int timeout_ms = 10'000;
        auto const node = kxclientutil::get_state_connection_to_node(
            &told, arguments[4], arguments[5], arguments[6], password != nullptr ? password : "", "submit_job", "",
            false, 0, nullptr, timeout_ms, transport);
        std::string const id = send(*node, job);
        std::printf("job %s is stored\n", id.c_str());
        std::printf("job %s is %s\n", id.c_str(), told.wait_for(id, std::chrono::seconds(10)).c_str());
        return 0;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "submit_job: %s\n", error.what());
        return 1;
    }
}
