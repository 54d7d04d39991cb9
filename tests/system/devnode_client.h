#pragma once

// What the tests of kx-devnode say to it.

#include "devnode_process.h"
#include "kx_run.h"

#include <kxbase/errors.h>
#include <kxclientutil/connection.h>
#include <kxclientutil/submission.h>
#include <kxcore/property_values.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace kx_test {

/// A finalized job, made by kx.
inline kxbase::ptr_refcount<kxcore::properties> finalized_job(strings const& options = {"--name", "News"}) {
    scratch_folder const folder;
    std::string const job = folder.file("job");
    auto const made = run_kx(
        strings{"finalize", "--workflow", example("workflow.xml"), "--file", folder.write("clip.mov", "a"), "-o", job} +
        options);
    if (made.exit_code != 0) throw std::runtime_error(made.err);
    return kxclientutil::read_job_file(job);
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

/// The jobs of the node, as kx lists them.
inline nlohmann::json jobs_of(devnode_process const& node) {
    auto const result = run_kx(
        {"status", "--json", "--to", node.address(), "--user", node_user, "--password-file", node.password_file()});
    if (result.exit_code != 0) throw std::runtime_error(result.err);
    return result.json()["jobs"];
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
