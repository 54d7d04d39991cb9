#pragma once

// What the tests of kx-devnode say to it.

#include "devnode_process.h"

#include <kxbase/errors.h>
#include <kxclientutil/config.h>
#include <kxclientutil/connection.h>
#include <kxclientutil/submission.h>
#include <kxcore/installation.h>
#include <kxcore/property_list.h>
#include <kxcore/property_values.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace kx_test {

/// A finalized job of one file.
inline kxbase::ptr_refcount<kxcore::properties> finalized_job(std::string const& name = "News") {
    static auto const installation = kxcore::installation::load(source_path("share/installation"));
    auto const& plugins = installation.get_plugins();
    auto const& constraints = installation.get_constraints();
    auto job = kxbase::make_refcount<kxcore::properties>();
    kxcore::properties workflow;
    kxclientutil::read_config_file(source_path("share/installation/examples/workflow.xml"), plugins, constraints,
                                   workflow, nullptr);
    kxclientutil::submission_add_workflow(workflow, *job);
    kxclientutil::submission_add_files({"file:/media/clip.mov"}, "clip", *job);
    kxclientutil::finalize_sub_conf settings("");
    settings.submission_name = name;
    kxcore::property_list resources;
    kxclientutil::submission_finalize(*job, resources, settings, plugins, constraints);
    return job;
}

/// A client of the cluster that has logged in.
inline kxbase::ptr_refcount<kxcapi::connection>
logged_in(devnode_process const& node, kxcapi::handler* handler = nullptr, std::string const& user = node_user) {
    return kxclientutil::get_client_connection_to_node("localhost", node.port(), user, node_password, "tests", "",
                                                       handler, 20'000);
}

inline kxp::packet submission(kxcore::properties const& job, std::string const& id) {
    kxp::packet request(kxp::e_packet_type::request, "cluster.job.submit");
    request.set_property("submission", id);
    request.set_property("job", kxbase::make_refcount<kxcore::properties>(job));
    return request;
}

/// The value of a key in the node's answer; "nothing" when it is not there.
inline std::string answer(kxcapi::connection& connection, kxp::packet const& request, std::string const& key) {
    return connection.request(request, 20'000)->get_properties().get_string_value(key, "nothing");
}

/// What a submission is answered: the id, or the error.
inline std::string submitted(kxcapi::connection& connection, kxcore::properties const& job, std::string const& id) {
    auto const reply = connection.request(submission(job, id), 20'000);
    return reply->get_properties().get_string_value("error", reply->get_properties().get_string_value("id", "nothing"));
}

/// Waits until the condition holds; false when it doesn't within `patience`.
template <class Condition>
[[nodiscard]] bool eventually(Condition const& condition, std::chrono::seconds patience = std::chrono::seconds(20)) {
    auto const end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// Waits until the node has told something.
[[nodiscard]] inline bool tells(devnode_process const& node, std::string const& what) {
    return eventually([&] { return node.log().find(what) != std::string::npos; });
}

} // namespace kx_test
