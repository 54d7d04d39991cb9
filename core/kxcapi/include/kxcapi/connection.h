#pragma once

/// @file
/// A client's connection to a node or an I/O server: requests, replies and events.

#include <kxbase/ptr_refcount.h>
#include <kxcapi/export.h>
#include <kxnet/packet.h>
#include <kxnet/transport.h>

#include <memory>
#include <string>

namespace kxcapi {

class handler;

/// How an attempt to connect ended.
enum class result_code : unsigned int { // NOLINT(readability-identifier-naming): the name is given
    success = 1,
    version_mismatch = 2,
    failed = 3,
    timeout = 4,
};

/// A connection. Any thread may call anything at any time; several requests may be under way at once, and replies find their
/// requests by number, in whatever order they come. A reply that nobody waits for (any more) is dropped.
///
/// Time-outs are in milliseconds; 0 stands for 30 seconds. What is being sent, and a reply whose first bytes have come in
/// time, may take longer, as long as it goes on: the next bytes within the time-out, and 1,000 bytes a second on the average.
/// Once the connection has come to its end it can be connected again, by its handler too. Whoever gives up the last handle,
/// calls of other threads must have returned by then.
class KXCAPI_EXPORT connection : public kxbase::object_refcount {
public:
    /// Not connected yet.
    ///
    /// @param handler  told of events and of the end; not owned; null for nobody
    explicit connection(handler* handler, kxnet::transport_options options = {});
    ~connection() override;
    connection(connection const&) = delete;
    connection& operator=(connection const&) = delete;

    /// Connects. Why it failed is in `failure` and in the log.
    ///
    /// @param host        a name or an IPv4 or IPv6 address
    /// @param port        a decimal number or the name of a service
    /// @param timeout_ms  for all of it: look-up, all addresses, TLS and hello
    /// @return version_mismatch, timeout, or failed for whatever else the network, the system or the peer is to blame for, and
    ///         when `close` has ended the attempt
    /// @throws es::call when one side wants TLS and the other does not, or the certificate is not to be trusted; when this
    ///         is connected already; when another attempt is under way
    /// @throws es::arg naming a CA file that cannot be used
    /// @throws others as they are: a lack of memory, above all
    [[nodiscard]] result_code connect(std::string const& host, std::string const& port, unsigned int timeout_ms);

    /// Why the last attempt to connect failed, or why the connection ended; empty while neither has happened.
    [[nodiscard]] std::string failure() const;

    /// Sends a request and waits for the reply, which may well hold an "error": that is for the caller to see. The time-out
    /// is for sending, and anew for the reply.
    ///
    /// @param request   of type request; its own number has no meaning
    /// @param progress  told while it is sent
    /// @return the reply, which the caller owns
    /// @throws es::call in clear words when there is no connection, it ends meanwhile, or no reply comes in time. After a
    ///         reply that did not come in time the connection goes on.
    /// @throws es::arg for a packet that cannot be sent; nothing has been sent then
    /// @throws std::bad_alloc as it is. When it was a packet of the node that there was no memory for, the connection has
    ///         ended, since nobody knows what it said.
    [[nodiscard]] kxbase::ptr_refcount<kxp::packet const> request(kxp::packet const& request, unsigned int timeout_ms,
                                                                  kxnet::progress_function const& progress = {});

    /// The same.
    ///
    /// @return the reply, which is valid until the next `send_sync` or `login_sync` on this connection, whoever makes it:
    ///         threads that share a connection call `request`
    kxp::packet const& send_sync(kxp::packet const& request, unsigned int timeout_ms);

    /// The same for a login. What distinguishes it is for this class to know: a reply without "error" makes the
    /// connection one that is logged in.
    kxp::packet const& login_sync(kxp::packet const& request, unsigned int timeout_ms);

    /// Whether a login by `login_sync` has succeeded on the connection as it is now. Of logins that were requested otherwise
    /// nothing is known here.
    [[nodiscard]] bool is_logged_in() const;

    /// Whether there is a connection, as far as this side knows.
    [[nodiscard]] bool is_connected() const;

    /// Ends the connection, or an attempt to connect, at once, whatever the peer does: requests that wait raise, and
    /// `handler::closed` does not come. When it returns no handler is running, unless it was called by one: it waits for a
    /// handler to return, and ends what that connects meanwhile.
    void close() noexcept;

protected:
    /// For connections that look at events themselves before they hand them on.
    connection(std::shared_ptr<handler> handler, kxnet::transport_options options);

    /// Called when an attempt to connect begins: nothing of an earlier connection is told any more.
    virtual void starting();

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxcapi
