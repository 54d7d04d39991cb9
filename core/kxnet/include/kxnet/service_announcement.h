#pragma once

/// @file
/// Announcing an instance of a service on the local network by DNS-SD, so that search_resolve_query finds it.

#include <kxnet/export.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kxnet {

/// Announces one instance of a service on all interfaces of this machine for as long as it lives, and takes it back at its
/// end. It has a thread. Without the DNS-SD client library nothing is announced; without its daemon the instance is
/// announced when there is one, and again after the daemon was gone. The log says when it is not announced, and when it is
/// again. Any thread may use an object.
class KXNET_EXPORT service_announcement {
public:
    /// The entries of the TXT record, key and value, in their order.
    using txt_entries = std::vector<std::pair<std::string, std::string>>;

    /// Begins to announce.
    ///
    /// @param service_type   for example "_http._tcp"
    /// @param instance_name  1 to 63 bytes of UTF-8 without control characters; where another instance has it, a similar
    ///                       one is announced
    /// @param port           in the host's byte order
    /// @throws es::arg for a type, a name or an entry that cannot be announced, which is named; es::call when the process has
    ///         neither descriptors nor threads left
    service_announcement(std::string const& service_type, std::string const& instance_name, unsigned short port,
                         txt_entries const& entries);
    service_announcement(service_announcement const&) = delete;
    service_announcement& operator=(service_announcement const&) = delete;
    ~service_announcement();

    /// Replaces the TXT record. Nodes raise their counter "uc" with each change: who browses takes no others.
    ///
    /// @throws es::arg naming an entry that cannot be announced; the record stays then
    void update_txt(txt_entries const& entries);

    /// The name that the instance has on the network; empty while it is not announced.
    [[nodiscard]] std::string get_name() const;

    /// Waits until the instance is announced.
    /// @return false when it is not after `patience`
    [[nodiscard]] bool wait_until_announced(std::chrono::milliseconds patience) const;

private:
    class announcing;
    std::unique_ptr<announcing> announcing_;
};

} // namespace kxnet
