#include <kxnet/dnssd_library.h>

#include "dnssd_operation.h"
#include "dnssd_symbols.h"

#include <dns_sd.h>

namespace kxnet {
namespace {

// Published as kDNSServiceErr_ServiceNotRunning; not every system's header has it.
constexpr std::int32_t service_not_running = -65563;

} // namespace

std::uint16_t TXTRecordGetCount(std::uint16_t txt_length, void const* txt) {
    auto const count = reinterpret_cast<decltype(&::TXTRecordGetCount)>(find_dnssd_symbol(e_dnssd_symbol::txt_count));
    return count == nullptr ? std::uint16_t{0} : count(txt_length, txt);
}

std::int32_t TXTRecordGetItemAtIndex(std::uint16_t txt_length, void const* txt, std::uint16_t index,
                                     std::uint16_t key_length, char* key, std::uint8_t* value_length,
                                     void const** value) {
    auto const item =
        reinterpret_cast<decltype(&::TXTRecordGetItemAtIndex)>(find_dnssd_symbol(e_dnssd_symbol::txt_item));
    if (item == nullptr) return service_not_running;
    return item(txt_length, txt, index, key_length, key, value_length, value);
}

std::string find_dnssd_obstacle() {
    if (!has_dnssd_library()) {
        return std::string("the DNS-SD client library (") + dnssd_library_name() + ") is not installed";
    }
    if (find_dnssd_symbol(e_dnssd_symbol::browse) == nullptr) {
        return std::string("the DNS-SD client library (") + dnssd_library_name() + ") cannot browse";
    }
    if (!dnssd_operation::browse("_services._tcp", [](browse_answer const&) {})) {
        return "no DNS-SD daemon answers (on most systems avahi-daemon, which needs D-Bus)";
    }
    return {};
}

} // namespace kxnet
