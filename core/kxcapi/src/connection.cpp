#include <kxcapi/connection.h>

#include "reporting.h"
#include "session.h"

#include <kxcapi/handler.h>

#include <kxbase/errors.h>

#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

namespace kxcapi {

namespace {

/// The host's handler as one that is shared, though nobody owns it here.
std::shared_ptr<handler> not_owned(handler* handler) {
    return {std::shared_ptr<void>(), handler};
}

} // namespace

struct connection::state {
    state(std::shared_ptr<handler> told, kxnet::transport_options transport)
        : sink(std::move(told)), options(std::move(transport)) {}

    std::shared_ptr<handler> sink;
    std::shared_ptr<handler_turn> turn = std::make_shared<handler_turn>();
    kxnet::transport_options options;

    std::mutex mutable guard;
    std::shared_ptr<session> current;
    /// The one before, whose handler has connected again and may not have returned yet.
    std::shared_ptr<session> former;
    /// While an attempt to connect is under way.
    std::shared_ptr<kxnet::stop_signal> connecting;
    std::string failure;
    kxbase::ptr_refcount<kxp::packet const> last_reply;

    [[nodiscard]] std::shared_ptr<session> get_current() const {
        std::lock_guard const lock(guard);
        return current;
    }

    std::shared_ptr<kxnet::stop_signal> begin_connecting();
    void end_connecting(std::shared_ptr<kxnet::stop_signal> const& attempt) noexcept;
    void end_sessions() const noexcept;
    [[nodiscard]] std::shared_ptr<session> next_to_end() const;
    result_code establish(std::unique_ptr<kxnet::packet_stream> stream);
    result_code fail(result_code code, std::string_view reason);
    void replace_current(std::shared_ptr<session> by);
    kxp::packet const& keep(kxbase::ptr_refcount<kxp::packet const> reply);
};

connection::connection(handler* handler, kxnet::transport_options options)
    : connection(not_owned(handler), std::move(options)) {}

connection::connection(std::shared_ptr<handler> handler, kxnet::transport_options options)
    : state_(std::make_unique<state>(std::move(handler), std::move(options))) {}

connection::~connection() {
    close();
}

result_code connection::connect(std::string const& host, std::string const& port, unsigned int timeout_ms) {
    auto const stop = state_->begin_connecting();
    // However it ends, another attempt may follow.
    std::shared_ptr<state> const ending(state_.get(), [&stop](state* of) { of->end_connecting(stop); });
    // What is told of the new connection must not be mixed up with what the old one still tells.
    state_->end_sessions();
    starting();
    try {
        return state_->establish(kxnet::packet_stream::connect(host, port, state_->options, timeout_ms, stop.get()));
    } catch (kxnet::not_secure const& error) {
        state_->fail(result_code::failed, error.what());
        throw;
    } catch (kxnet::version_mismatch const& error) {
        return state_->fail(result_code::version_mismatch, error.what());
    } catch (kxnet::timed_out const& error) {
        return state_->fail(result_code::timeout, error.what());
    } catch (kxbase::es::arg const& error) {
        state_->fail(result_code::failed, error.what());
        throw;
    } catch (kxbase::es::base const& error) {
        return state_->fail(result_code::failed, error.what());
    } catch (std::system_error const& error) {
        return state_->fail(result_code::failed, error.what());
    } catch (std::exception const& error) {
        state_->fail(result_code::failed, error.what());
        throw;
    }
}

std::string connection::failure() const {
    std::lock_guard const lock(state_->guard);
    return state_->current ? state_->current->end_reason() : state_->failure;
}

kxbase::ptr_refcount<kxp::packet const> connection::request(kxp::packet const& request, unsigned int timeout_ms,
                                                            kxnet::progress_function const& progress) {
    auto const session = state_->get_current();
    if (!session) kxbase::es::call::raise("there is no connection");
    return session->request(request, timeout_ms, progress);
}

kxp::packet const& connection::send_sync(kxp::packet const& request, unsigned int timeout_ms) {
    return state_->keep(this->request(request, timeout_ms));
}

kxp::packet const& connection::login_sync(kxp::packet const& request, unsigned int timeout_ms) {
    auto const session = state_->get_current();
    if (!session) kxbase::es::call::raise("there is no connection");
    auto const reply = session->request(request, timeout_ms, {});
    if (!reply->get_properties().is_present("error")) session->is_logged_in = true;
    return state_->keep(reply);
}

bool connection::is_logged_in() const {
    auto const session = state_->get_current();
    return session && session->is_open() && session->is_logged_in;
}

bool connection::is_connected() const {
    auto const session = state_->get_current();
    return session && session->is_open();
}

void connection::close() noexcept {
    {
        std::lock_guard const lock(state_->guard);
        if (state_->connecting) state_->connecting->stop();
    }
    state_->end_sessions();
}

void connection::starting() {}

std::shared_ptr<kxnet::stop_signal> connection::state::begin_connecting() {
    auto stop = std::make_shared<kxnet::stop_signal>();
    std::lock_guard const lock(guard);
    if (connecting) kxbase::es::call::raise("an attempt to connect is under way already");
    if (current && current->is_open()) kxbase::es::call::raise("connected already");
    connecting = stop;
    return stop;
}

void connection::state::end_connecting(std::shared_ptr<kxnet::stop_signal> const& attempt) noexcept {
    std::lock_guard const lock(guard);
    if (connecting == attempt) connecting.reset();
}

/// Ends what there is, and what a handler makes meanwhile that has not returned yet.
void connection::state::end_sessions() const noexcept {
    while (auto const ended = next_to_end())
        ended->close();
}

std::shared_ptr<session> connection::state::next_to_end() const {
    std::shared_ptr<session> candidates[2];
    {
        std::lock_guard const lock(guard);
        // Only the former one may be in the handler for long when there are both: the connection ends before that.
        candidates[0] = current;
        candidates[1] = former;
    }
    for (auto const& each : candidates)
        if (each && !each->is_over()) return each;
    return {};
}

result_code connection::state::establish(std::unique_ptr<kxnet::packet_stream> stream) {
    auto const made = std::make_shared<session>(std::move(stream), sink, turn);
    {
        std::lock_guard const lock(guard);
        if (connecting->is_stopped())
            throw kxnet::connection_lost(__FILE__, __LINE__, "the connection was closed by this side");
        replace_current(made);
        failure.clear();
        // From its first event on the handler may connect again.
        connecting.reset();
    }
    made->start();
    return result_code::success;
}

result_code connection::state::fail(result_code code, std::string_view reason) {
    {
        std::lock_guard const lock(guard);
        replace_current({});
        failure = reason;
    }
    report(e_report_kind_connection, e_report_severity_notice, "not connected: " + std::string(reason));
    return code;
}

/// Of those before, all have ended but the one on whose network thread this is called, if any.
void connection::state::replace_current(std::shared_ptr<session> by) {
    if (current && current->is_own_thread())
        former = current;
    else if (former && !former->is_own_thread())
        former.reset();
    current = std::move(by);
}

kxp::packet const& connection::state::keep(kxbase::ptr_refcount<kxp::packet const> reply) {
    std::lock_guard const lock(guard);
    last_reply = std::move(reply);
    return *last_reply;
}

} // namespace kxcapi
