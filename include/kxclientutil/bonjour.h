#pragma once

/// @file
/// The nodes on the local network, found by DNS-SD: a table that is kept up to date, and an observer of what happens to it.
/// docs/discovery.md tells how nodes announce themselves.

#include <kxclientutil/export.h>

#include <kxbase/mutex.h>
#include <kxnet/search_resolve_query.h>

#include <map>
#include <memory>
#include <string>

namespace kxclientutil {

/// What is known of a node.
struct bonjour_node {
    std::map<std::string, std::string> txt; ///< the entries of its TXT record
    std::string host;                       ///< its host's target name
    /// Its host's IPv4 address, in dotted form, for each network interface on which it is seen, by the interface's index;
    /// an empty text where none was found.
    std::map<unsigned int, std::string> addresses;
    std::map<unsigned int, std::string> reserved_addresses; ///< of the same kind; the browser leaves it empty
    std::string port;                                       ///< decimal
    std::string id;
    std::string cluster; ///< the cluster that it serves; empty for a private node, whatever `txt` says
    unsigned int uc = 0; ///< counts the changes that the node made to its TXT record
};

/// An observer of the nodes. What is given here only writes lines to the log; override what you want to know of. The calls
/// come on a thread of the browser, one at a time, and hold its table: keep them short. They may call the browser, but not
/// destroy it, which aborts the process with a line in the log, and must not wait for another thread that calls it. What
/// they raise, exceptions or anything else, is written to the log.
class KXCLIENTUTIL_EXPORT bonjour_callback {
public:
    bonjour_callback() = default;
    bonjour_callback(bonjour_callback const&) = default;
    bonjour_callback& operator=(bonjour_callback const&) = default;
    virtual ~bonjour_callback();

    /// A node came up.
    /// @param name   of the node's service instance
    /// @param nodes  the browser's table, by name: valid during the call only, and so for the others
    virtual void node_added(std::string const& name, std::map<std::string, bonjour_node> const& nodes);

    /// A node's host, addresses, port or TXT record changed, or it is seen on another interface.
    virtual void node_updated(std::string const& name, std::map<std::string, bonjour_node> const& nodes);

    /// A node is not seen on any interface any more; the table does not hold it. It may be one that never came up.
    virtual void node_removed(std::string const& name, std::map<std::string, bonjour_node> const& nodes);
};

/// Browses for nodes from its beginning to its end. Where the system has no DNS-SD, no nodes appear and nothing fails. Any
/// thread may ask it. Do not derive from it: its calls begin in its constructor, before that of your class has run.
class KXCLIENTUTIL_EXPORT bonjour_browser : public kxnet::search_resolve_query_handler {
public:
    /// Begins to browse.
    ///
    /// @param callback  told of what happens, if not null; it must live longer than the browser
    /// @throws es::call when the process has neither descriptors nor threads left
    explicit bonjour_browser(bonjour_callback* callback);
    bonjour_browser(bonjour_browser const&) = delete;
    bonjour_browser& operator=(bonjour_browser const&) = delete;
    /// When it returns, the observer is not called any more. It waits as ~search_resolve_query() does.
    ~bonjour_browser() override;

    // What the network tells; the table changes accordingly.
    void search_reply(unsigned int interface_index, std::string const& name, bool added, bool more_coming) override;
    void resolve_reply(unsigned int interface_index, char const* name, char const* host, unsigned short port,
                       unsigned short txt_length, unsigned char const* txt) override;
    void query_reply(char const* name, unsigned short txt_length, unsigned char const* txt, unsigned int time_to_live,
                     bool added, bool more_coming) override;

    /// Replaces `nodes` by a copy of the table.
    void get_nodes(std::map<std::string, bonjour_node>& nodes) const;

    /// Where a cluster is reached: always at the first of its nodes by name, not at each in turn. The host is the node's
    /// address on the interface with the highest index that has one, or else its host name, with the dot at its end as the
    /// network tells it, which not every system can look up. An empty cluster name finds a private node, also one of which
    /// neither host nor port is known yet, whose texts are empty.
    ///
    /// @return whether there is a node of that cluster; if not, `host` and `port` stay as they are
    [[nodiscard]] bool get_host_port_for_cluster(std::string const& cluster, std::string& host, std::string& port);

private:
    std::unique_ptr<kxnet::search_resolve_query> query_;
    bonjour_callback* callback_;
    std::map<std::string, bonjour_node> nodes_;
    kxbase::mutex mutex_;
};

} // namespace kxclientutil
