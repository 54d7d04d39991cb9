#include "delivery.h"

#include "application.h"
#include "interruption.h"

#include <kxbase/errors.h>
#include <kxclientutil/connection.h>
#include <kxcore/property_values.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace kx {

kxp::packet submit_request(kxcore::properties const& job, std::string const& submission) {
    kxp::packet request(kxp::e_packet_type::request, "cluster.job.submit");
    request.set_property("submission", submission);
    request.set_property("job", kxbase::make_refcount<kxcore::properties>(job));
    return request;
}

delivery::delivery(application& app, node_access const& node, kxp::packet request)
    : app_(app), node_(node), request_(std::move(request)) {}

delivery::~delivery() = default;

std::string delivery::run() {
    reply const answer = deliver();
    auto const& given = answer->get_properties();
    auto const error = given.get_property("error");
    if (error) kxbase::es::call::raise("the node refused the job: " + error->to_string());
    std::string id = given.get_string_value("id", "");
    if (id.empty()) kxbase::es::call::raise("the node has taken the job, but does not say under which id");
    return id;
}

delivery::reply delivery::deliver() {
    try {
        reply answer = attempt();
        if (!answer && interruption::times_asked() == 0) answer = attempt();
        stage_ = e_stage::over;
        if (!answer) kxbase::es::call::raise(lost_because_);
        return answer;
    } catch (interrupted const& error) {
        connection_->close();
        if (may_be_there_) give_up(error.what());
        signals_->end_if_asked();
        kxbase::es::call::raise(error.what());
    } catch (kxbase::es::call const& error) {
        stage_ = e_stage::over;
        if (!may_be_there_) throw;
        // The log may know more of why, which belongs before what is to be done.
        std::string why = error.message();
        std::string const detail = app_.get_log().settle(why);
        if (!detail.empty() && why.find(detail) == std::string::npos) why += ", " + detail;
        if (interruption::times_asked() != 0) give_up(why);
        kxbase::es::call::raise(with_what_to_do(why));
    }
}

/// Empty when the answer was lost after all had been sent, so that nobody knows whether the node has the job.
delivery::reply delivery::attempt() {
    bar_.reset();
    shown_ = 0;
    connect();
    try {
        return connection_->request(request_, node_.timeout_ms,
                                    [this](std::uint64_t sent, std::uint64_t total) { advance(sent, total); });
    } catch (kxbase::es::call const& error) {
        if (stage_ == e_stage::stopped) throw interrupted();
        if (stage_ != e_stage::whole) throw;
        lost_because_ = error.message();
        return {};
    }
}

/// Before anything has been sent a signal just ends the process, as it does everywhere.
void delivery::connect() {
    stage_ = e_stage::connecting;
    connection_ = kxclientutil::get_client_connection_to_node(node_.host, node_.port, node_.user, node_.password, "kx",
                                                              "", nullptr, node_.timeout_ms, node_.transport);
    stage_ = e_stage::sending;
    if (signals_) return;
    signals_ = std::make_unique<interruption>();
    watching_ = std::jthread([this](std::stop_token const& end) { watch(end); });
}

// A bar for what takes a while. It is drawn before the stage changes: from then on the watching thread may write.
void delivery::advance(std::uint64_t sent, std::uint64_t total) {
    constexpr std::uint64_t step = 1024;
    constexpr std::uint64_t least_for_a_bar = 1024 * step;
    if (sent < total) interruption::stop_if_asked();
    if (total >= least_for_a_bar) {
        if (!bar_) bar_.emplace(app_.get_log(), "sending", total / step);
        bar_->advance(sent / step - shown_);
        shown_ = sent / step;
    }
    if (sent < total) return;
    // Also when the user has stopped it in this moment: the system has all bytes, and sends them.
    may_be_there_ = true;
    stage_ = e_stage::whole;
}

void delivery::watch(std::stop_token const& end) {
    constexpr auto moment = std::chrono::milliseconds(50);
    std::mutex own;
    std::condition_variable_any never;
    std::unique_lock lock(own);
    while (!end.stop_requested()) {
        static_cast<void>(never.wait_for(lock, end, moment, [] { return false; }));
        if (interruption::times_asked() != 0) look_for_signals();
    }
}

// A node that takes nothing more, or does not answer, must not keep the user.
void delivery::look_for_signals() {
    e_stage now = e_stage::sending;
    if (stage_.compare_exchange_strong(now, e_stage::stopped)) return connection_->close();
    if (now == e_stage::connecting) give_up("interrupted");
    if (now != e_stage::whole) return;
    if (is_patience_asked_for_ && interruption::times_asked() > 1) give_up("interrupted");
    if (!std::exchange(is_patience_asked_for_, true))
        app_.get_log().write_line("the job has been sent; waiting for the node's answer (Ctrl-C again gives up)");
}

/// For what may be there: the user is told before the process ends.
void delivery::give_up(std::string const& why) {
    app_.tell_error(node_.to, with_what_to_do(why));
    signals_->end_if_asked();
    kxbase::es::call::raise(why);
}

std::string delivery::with_what_to_do(std::string const& why) const {
    return why + "; the job was sent whole, and the node may have it (see kx status): to send it again, repeat the " +
           "command with --id " + request_.get_properties().get_string_value("submission");
}

} // namespace kx
