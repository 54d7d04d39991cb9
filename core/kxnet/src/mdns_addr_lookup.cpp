#include <kxnet/mdns_addr_lookup.h>

#include "address_query.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace kxnet {
namespace {

// Innermost of this thread.
thread_local known_address const* innermost = nullptr;

/// Whether there is something to take from the operation before `end`.
bool wait_until(std::chrono::steady_clock::time_point end, int descriptor) {
    for (;;) {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (descriptor < 0 || left.count() <= 0) return false;
        pollfd waited = {descriptor, POLLIN, 0};
        int const ready = ::poll(&waited, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

} // namespace

mdns_addr_lookup::mdns_addr_lookup(std::string host, unsigned int interface_index)
    : host_(std::move(host)), interface_index_(interface_index) {}

std::string mdns_addr_lookup::get_IPv4() const {
    for (auto const* known = innermost; known != nullptr; known = known->outer_)
        if (known->interface_index_ == interface_index_ && known->host_ == host_) return known->address_;
    std::string address;
    auto const end = std::chrono::steady_clock::now() + address_patience;
    auto operation = ask_for_address(interface_index_, host_, [&address](std::string const& found) {
        if (address.empty()) address = found;
    });
    while (address.empty() && wait_until(end, operation.descriptor()))
        if (!operation.process()) break;
    return address;
}

known_address::known_address(std::string host, unsigned int interface_index, std::string address)
    : host_(std::move(host)), interface_index_(interface_index), address_(std::move(address)), outer_(innermost) {
    innermost = this;
}

known_address::~known_address() {
    innermost = outer_;
}

} // namespace kxnet
