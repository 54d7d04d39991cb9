#pragma once

/// @file
/// What a connection tells its owner.

#include <kxcapi/export.h>

#include <string>

namespace kxp {
class packet;
} // namespace kxp

namespace kxcapi {

struct job;

/// Gets the events of a connection, on the connection's own network thread, one at a time: while a call has not returned no
/// further one comes, not even from a connection that the call itself has made anew. It is not owned and must outlive the
/// connection, and a call in which it gives up the last handle to it; nothing is called any more then. It may call back
/// into the connection. The first call may come before `connect` has returned. What it throws is logged and dropped.
///
/// A call that takes long holds up reading, unless somebody waits for a reply. A node that cannot get rid of its events for
/// as long as its time-out (30 seconds) may end the connection; and where they are read, no more than 64 MiB of them may
/// wait for the handler, with the one that it works on, though one of any size may always wait.
class KXCAPI_EXPORT handler {
public:
    virtual ~handler();

    /// An event of the node. The packet is valid during the call; retain it to keep it.
    virtual void event(kxp::packet const& packet);

    /// The connection has come to its end, and not because this side closed it. Comes once, after the last event.
    virtual void closed(std::string const& reason);

protected:
    handler() = default;
    handler(handler const&) = default;
    handler& operator=(handler const&) = default;
};

/// Gets the announced state of a node as well. Events that announce state do not come through `event`.
class KXCAPI_EXPORT state_handler : public handler {
public:
    ~state_handler() override;

    /// A job is new, or something about it has changed.
    virtual void job_changed(job const& now);

    /// The node has forgotten a job.
    virtual void job_removed(job const& last);

    /// The node's whole state is known, and has been told of: comes once after each login.
    virtual void state_complete();

protected:
    state_handler() = default;
    state_handler(state_handler const&) = default;
    state_handler& operator=(state_handler const&) = default;
};

} // namespace kxcapi
