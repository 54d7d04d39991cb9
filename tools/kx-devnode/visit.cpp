#include "visit.h"

#include "log.h"

#include <kxbase/errors.h>
#include <kxbase/limits.h>
#include <kxcore/property_values.h>

#include <chrono>
#include <exception>
#include <string_view>
#include <utility>

namespace devnode {
namespace {

/// From the client's coming to the end of its login.
constexpr unsigned int login_time_in_ms = 10'000;
constexpr unsigned int most_refused_logins = 3;
constexpr std::string_view client_login = "cluster.client.login";

kxp::packet echo(kxp::packet const& request) {
    kxp::packet reply(kxp::e_packet_type::reply, request.get_name(), request.get_properties());
    reply.set_request_number(request.get_request_number());
    return reply;
}

} // namespace

visit::visit(std::unique_ptr<kxnet::packet_stream> stream, service const& from)
    : stream_(std::move(stream)), from_(from), login_deadline_(kxnet::deadline_after(login_time_in_ms)) {}

visit::~visit() {
    end_announcing();
}

void visit::run() noexcept {
    try {
        serve();
    } catch (std::exception const& error) {
        if (!is_ending_) tell(stream_->peer() + " has gone: " + error.what());
    }
    end();
    end_announcing();
    is_over_ = true;
}

void visit::end() noexcept {
    is_ending_ = true;
    stream_->close();
    from_.board.wake();
}

void visit::serve() {
    stream_->greet(login_time_in_ms);
    while (auto const request = next_request()) {
        answer(*request);
        if (refused_logins_ == most_refused_logins) kxbase::es::call::raise("too many refused logins");
    }
    kxbase::es::call::raise("nobody logged in within the time-out");
}

/// The state follows the reply to each login of a client.
void visit::answer(kxp::packet const& request) {
    kxp::packet const reply = answer_to(request);
    stream_->send(reply, 0);
    bool const is_client_login = request.get_name() == client_login;
    if (is_client_login && !reply.get_properties().is_present("error")) begin_to_announce();
}

/// Empty when a stranger takes too long.
kxbase::ptr_refcount<kxp::packet> visit::next_request() {
    // Looked at here as well: packets that lie there already are given beyond the deadline.
    if (is_stranger() && std::chrono::steady_clock::now() >= login_deadline_) return {};
    auto packet = stream_->receive(is_stranger() ? login_deadline_ : kxnet::no_deadline);
    if (packet && !packet->is(kxp::e_packet_type::request))
        kxbase::es::call::raise("a client sends requests, and this is none: \"" + packet->get_name() + "\"");
    return packet;
}

kxp::packet visit::answer_to(kxp::packet const& request) {
    struct login_command {
        std::string_view name;
        e_role role;
    };
    constexpr login_command logins[] = {
        {"ioserver.admin.login", e_role::administrator},
        {"admin.login", e_role::administrator},
        {client_login, e_role::client},
    };
    try {
        for (auto const& [name, role] : logins)
            if (request.get_name() == name) return log_in(request, role);
        if (request.get_name() == "node.echo") return echo(request);
        if (is_stranger()) return request.make_error_reply("not logged in");
        if (request.get_name() == "cluster.job.submit") return submit(request);
        return request.make_error_reply("unknown command \"" + request.get_name() + "\"");
    } catch (kxbase::es::base const& error) {
        tell(stream_->peer() + ": \"" + request.get_name() + "\" refused: " + error.what());
        return request.make_error_reply(error.message());
    }
}

kxp::packet visit::log_in(kxp::packet const& request, e_role role) {
    auto const& given = request.get_properties();
    std::string const name = given.get_string_value("username");
    if (!from_.accounts.may_log_in(name, given.get_string_value("password"))) {
        ++refused_logins_;
        tell(stream_->peer() + ": wrong user or password for \"" + name + "\"");
        return request.make_error_reply("wrong user or password");
    }
    user_ = name;
    role_ = role;
    tell(stream_->peer() + ": \"" + name + "\" logged in with " + request.get_name());
    return request.make_reply();
}

kxp::packet visit::submit(kxp::packet const& request) {
    if (role_ != e_role::client) return request.make_error_reply("only clients of the cluster submit jobs");
    auto const& given = request.get_properties();
    std::string const id = given.get_string_value("submission");
    bool const is_new = from_.jobs.store(id, *given.get_properties_value("job"), user_);
    tell(stream_->peer() + ": job " + id + " of \"" + user_ + (is_new ? "\" is in the spool" : "\" was there already"));
    kxp::packet reply = request.make_reply();
    reply.set_property("id", id);
    return reply;
}

void visit::begin_to_announce() {
    end_announcing();
    is_announcing_ = true;
    announcing_ = std::thread([this] { announce(); });
}

void visit::end_announcing() {
    is_announcing_ = false;
    from_.board.wake();
    if (announcing_.joinable()) announcing_.join();
}

void visit::announce() noexcept {
    try {
        announce_jobs();
    } catch (std::exception const& error) {
        if (!is_ending_) tell(stream_->peer() + " is told of no more jobs: " + error.what());
        stream_->close();
    }
}

void visit::announce_jobs() {
    auto const known = from_.board.all();
    kxp::packet state(kxp::e_packet_type::event, "cluster.state");
    state.set_property("jobs", known);
    stream_->send(state, 0);
    for (std::size_t position = known->size();; ++position) {
        auto const job = from_.board.wait_for(position, [this] { return is_ending_ || !is_announcing_; });
        if (!job) return;
        kxp::packet changed(kxp::e_packet_type::event, "cluster.job");
        changed.set_property("job", kxbase::make_refcount<kxcore::properties>(*job));
        stream_->send(changed, 0);
    }
}

} // namespace devnode
