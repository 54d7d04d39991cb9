#pragma once

/// @file
/// Finding the instances of a service on the local network by DNS-SD, and keeping up with them.

#include <kxnet/export.h>

#include <memory>
#include <string>

namespace kxnet {

class service_search;

/// What a search tells of. All calls come on the search's own thread, one at a time. What they raise, exceptions or anything
/// else, is written to the log and goes no further: the search goes on.
class KXNET_EXPORT search_resolve_query_handler {
public:
    search_resolve_query_handler() = default;
    search_resolve_query_handler(search_resolve_query_handler const&) = default;
    search_resolve_query_handler& operator=(search_resolve_query_handler const&) = default;
    virtual ~search_resolve_query_handler();

    /// An instance came or went on an interface. One that came is resolved; resolve_reply follows when that succeeds.
    ///
    /// @param more_coming  whether more of this kind is known to follow at once
    virtual void search_reply(unsigned int interface_index, std::string const& name, bool added, bool more_coming) = 0;

    /// An instance was resolved on an interface: for the first time, or anew because its host, address or port changed.
    /// mdns_addr_lookup answers at once for that host and interface during the call.
    ///
    /// @param name, host  NUL-terminated
    /// @param port        in network byte order
    /// @param txt         the bytes of its TXT record, valid during the call
    virtual void resolve_reply(unsigned int interface_index, char const* name, char const* host, unsigned short port,
                               unsigned short txt_length, unsigned char const* txt) = 0;

    /// The TXT record of an instance changed. It comes once for each interface on which the instance is seen.
    ///
    /// @param time_to_live  of the record, in seconds
    /// @param added         true: a record that went away is not told
    virtual void query_reply(char const* name, unsigned short txt_length, unsigned char const* txt,
                             unsigned int time_to_live, bool added, bool more_coming) = 0;
};

/// Browses for a service as long as it lives, on all network interfaces. It has a thread, which waits on the DNS-SD client
/// library's sockets. Without that library nothing is ever found; without its daemon the search begins when there is one.
/// A daemon that goes away is noticed; when it is back, the search goes on, and what is gone since is told within ten
/// seconds of that. At most 10,000 instances are looked at; of more, a line in the log tells, and they are found when a
/// tenth of these have gone. An instance whose host fell silent is told as gone after a few minutes, long before DNS-SD
/// itself gives up on it, and as new when it answers again.
class KXNET_EXPORT search_resolve_query {
public:
    /// Starts to search.
    ///
    /// @param service_type  for example "_http._tcp"
    /// @param handler       must live longer than this object
    /// @throws es::call when the process has neither descriptors nor threads left
    search_resolve_query(std::string const& service_type, search_resolve_query_handler& handler);
    search_resolve_query(search_resolve_query const&) = delete;
    search_resolve_query& operator=(search_resolve_query const&) = delete;
    /// Ends the search. When it returns, the handler is not called any more. It waits for a call of the handler, and for one
    /// of the client library if one is under way: of Avahi's with a daemon that hangs that takes up to half a minute. Within
    /// a call of the handler it cannot be: a line in the log says so, and the process is aborted.
    ~search_resolve_query();

private:
    std::unique_ptr<service_search> search_;
};

} // namespace kxnet
