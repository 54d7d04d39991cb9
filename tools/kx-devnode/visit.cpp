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
constexpr unsigned int parting_time_in_ms = 1000;
constexpr unsigned int most_refused_logins = 3;
constexpr char const* late = "nobody logged in within 10 seconds";
/// Of a frame: a login needs little.
constexpr std::size_t most_of_stranger = std::size_t{64} * 1024;

std::string in_quotes(std::string const& user) {
    constexpr std::size_t most = 64;
    return '"' + shortened(user, most) + '"';
}

/// An IPv4 client of a socket for both families is named as such.
std::string shown_peer(std::string const& peer) {
    constexpr std::string_view mapped = "[::ffff:";
    auto const end = peer.find(']');
    if (!peer.starts_with(mapped) || end == std::string::npos) return peer;
    return peer.substr(mapped.size(), end - mapped.size()) + peer.substr(end + 1);
}

kxp::packet echo(kxp::packet const& request) {
    kxp::packet reply(kxp::e_packet_type::reply, request.get_name(), request.get_properties());
    reply.set_request_number(request.get_request_number());
    return reply;
}

} // namespace

visit::visit(std::unique_ptr<kxnet::packet_stream> stream, service const& from)
    : from_(from), peer_(shown_peer(stream->peer())), login_deadline_(kxnet::deadline_after(login_time_in_ms)),
      stream_(std::move(stream)) {
    stream_->set_frame_limit(most_of_stranger);
}

visit::~visit() {
    end_announcing();
}

void visit::run() noexcept {
    try {
        serve();
    } catch (std::exception const& error) {
        note_end(error.what());
    }
    end();
    end_announcing();
    is_over_ = true;
}

bool visit::is_gone() const noexcept {
    return is_over_ && std::chrono::steady_clock::now() >= gone_;
}

void visit::end(char const* why) noexcept {
    if (!is_ending_) why_ = why;
    is_ending_ = true;
    stream_->close();
    from_.board.wake();
}

void visit::end_if_late() noexcept {
    if (is_stranger() && !is_ending_ && std::chrono::steady_clock::now() >= login_deadline_) end(late);
}

// What the stream has to say begins with its name for the client.
void visit::note_end(std::string const& error) noexcept {
    std::string const name = stream_->peer() + " ";
    std::string_view const what = error.starts_with(name) ? std::string_view(error).substr(name.size()) : error;
    bool const has_left = !is_ending_ && what == "has closed the connection";
    gone_ = has_left ? std::chrono::steady_clock::now() : kxnet::deadline_after(parting_time_in_ms);
    if (!is_ending_) return tell(peer_, what);
    std::string_view const why = why_.load();
    if (!why.empty()) tell(peer_, why);
}

void visit::serve() {
    stream_->greet(login_time_in_ms);
    while (auto const request = next_request()) {
        answer(*request);
        if (refused_logins_ == most_refused_logins) kxbase::es::call::raise("too many refused logins");
    }
    kxbase::es::call::raise(late);
}

/// The state follows the reply to each login of a client. What was announced to the login before ends before the reply.
void visit::answer(kxp::packet const& request) {
    kxp::packet const reply = answer_to(request);
    bool const is_login = role_after(request.get_name()) != e_role::stranger;
    bool const is_welcome = is_login && !reply.get_properties().is_present("error");
    if (is_welcome) end_announcing();
    send(reply);
    if (is_welcome && role_ == e_role::client) begin_to_announce();
}

/// The state of many jobs may be on its way before a reply for longer than any time-out, as long as it keeps its pace.
void visit::send(kxp::packet const& reply) {
    kxnet::frame const framed(reply);
    for (bool was_sent = false; !was_sent;) {
        try {
            stream_->send(framed, from_.patience_ms);
            was_sent = true;
        } catch (kxnet::timed_out const&) {
            if (!stream_->is_open()) throw;
        }
    }
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

/// What a login makes of a client; a stranger when the command is no login.
visit::e_role visit::role_after(std::string_view command) noexcept {
    struct login_command {
        std::string_view name;
        e_role role;
    };
    constexpr login_command logins[] = {
        {"ioserver.admin.login", e_role::administrator},
        {"admin.login", e_role::administrator},
        {"cluster.client.login", e_role::client},
    };
    for (auto const& [name, role] : logins)
        if (command == name) return role;
    return e_role::stranger;
}

kxp::packet visit::answer_to(kxp::packet const& request) {
    try {
        e_role const wanted = role_after(request.get_name());
        if (wanted != e_role::stranger) return log_in(request, wanted);
        if (request.get_name() == "node.echo") return echo(request);
        if (is_stranger()) return request.make_error_reply("not logged in");
        if (request.get_name() == "cluster.job.submit") return submit(request);
        return request.make_error_reply("unknown command \"" + request.get_name() + "\"");
    } catch (kxbase::es::base const& error) {
        tell(peer_, "\"" + request.get_name() + "\" refused: " + error.message());
        return request.make_error_reply(error.message());
    } catch (std::exception const& error) {
        tell(peer_, "\"" + request.get_name() + "\" failed: " + error.what());
        return request.make_error_reply("the node cannot do this now");
    }
}

/// A name that is no user's is not told: it may be a password, typed in the wrong place.
kxp::packet visit::log_in(kxp::packet const& request, e_role role) {
    auto const& given = request.get_properties();
    // Until it is known that it is none: one that lacks a member is refused as well.
    ++refused_logins_;
    std::string const name = given.get_string_value("username");
    if (!from_.accounts.may_log_in(name, given.get_string_value("password"))) {
        tell(peer_, from_.accounts.is_known(name) ? "wrong password for " + in_quotes(name) : "no such user");
        return request.make_error_reply("wrong user or password");
    }
    --refused_logins_;
    user_ = name;
    role_ = role;
    stream_->set_frame_limit(0);
    tell(peer_, in_quotes(name) + " logged in with " + request.get_name());
    return request.make_reply();
}

kxp::packet visit::submit(kxp::packet const& request) {
    if (role_ != e_role::client) return request.make_error_reply("only clients of the cluster submit jobs");
    auto const& given = request.get_properties();
    std::string const id = given.get_string_value("submission");
    bool const is_new = from_.jobs.store(id, *given.get_properties_value("job"), user_);
    tell(peer_, "job " + id + " of " + in_quotes(user_) + (is_new ? " is in the spool" : " was there already"));
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
        if (!is_ending_) tell(peer_, std::string("is told of no more jobs: ") + error.what());
        stream_->close();
    }
}

void visit::announce_jobs() {
    for (std::size_t position = announce_state();; ++position) {
        auto const job = from_.board.wait_for(position, [this] { return is_ending_ || !is_announcing_; });
        if (!job) return;
        kxp::packet changed(kxp::e_packet_type::event, "cluster.job");
        changed.set_property("job", kxbase::make_refcount<kxcore::properties>(*job));
        stream_->send(changed, 0);
    }
}

/// All jobs so far, which are kept for this long only; how many they are.
std::size_t visit::announce_state() {
    auto const jobs = from_.board.all();
    kxp::packet state(kxp::e_packet_type::event, "cluster.state");
    state.set_property("jobs", jobs);
    stream_->send(state, 0);
    return jobs->size();
}

} // namespace devnode
