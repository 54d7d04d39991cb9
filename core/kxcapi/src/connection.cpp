#include <kxcapi/connection.h>

#include "session.h"

#include <kxcapi/handler.h>

#include <kxbase/errors.h>
#include <kxbase/report.h>

#include <mutex>
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
    kxnet::transport_options options;

    std::mutex mutable guard;
    std::shared_ptr<session> current;
    /// While an attempt to connect is under way.
    std::shared_ptr<kxnet::stop_signal> connecting;
    std::string failure;
    kxbase::ptr_refcount<kxp::packet const> last_reply;

    [[nodiscard]] std::shared_ptr<session> get_current() const {
        std::lock_guard const lock(guard);
        return current;
    }

    std::shared_ptr<kxnet::stop_signal> begin_connecting();
    result_code establish(std::unique_ptr<kxnet::packet_stream> stream);
    result_code fail(result_code code, std::string const& reason);
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
    // What is told of the new connection must not be mixed up with what the old one still tells.
    if (auto const old = state_->get_current()) old->close();
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
    } catch (std::exception const& error) {
        return state_->fail(result_code::failed, error.what());
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
    kxp::packet const& reply = state_->keep(session->request(request, timeout_ms, {}));
    if (!reply.get_properties().is_present("error")) session->is_logged_in = true;
    return reply;
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
    std::shared_ptr<session> current;
    {
        std::lock_guard const lock(state_->guard);
        if (state_->connecting) state_->connecting->stop();
        current = state_->current;
    }
    if (current) current->close();
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

result_code connection::state::establish(std::unique_ptr<kxnet::packet_stream> stream) {
    auto const made = std::make_shared<session>(std::move(stream), sink);
    {
        std::lock_guard const lock(guard);
        if (connecting->is_stopped())
            throw kxnet::connection_lost(__FILE__, __LINE__, "the connection was closed by this side");
        current = made;
        failure.clear();
        connecting.reset();
    }
    made->start();
    return result_code::success;
}

result_code connection::state::fail(result_code code, std::string const& reason) {
    kxbase::report(__FILE__, __LINE__, "ClientProxy", 3, 5, "not connected: " + reason);
    std::lock_guard const lock(guard);
    connecting.reset();
    current.reset();
    failure = reason;
    return code;
}

kxp::packet const& connection::state::keep(kxbase::ptr_refcount<kxp::packet const> reply) {
    std::lock_guard const lock(guard);
    last_reply = std::move(reply);
    return *last_reply;
}

} // namespace kxcapi
