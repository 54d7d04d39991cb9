#include "address_query.h"

#include <arpa/inet.h>

#include <array>
#include <utility>

namespace kxnet {

std::string dotted_address(std::string_view record) {
    if (record.size() != sizeof(in_addr)) return {};
    std::array<char, INET_ADDRSTRLEN> text = {};
    return ::inet_ntop(AF_INET, record.data(), text.data(), text.size()) == nullptr ? std::string() : text.data();
}

dnssd_operation ask_for_address(unsigned int interface_index, std::string const& host,
                                std::function<void(std::string const&)> on_address) {
    return dnssd_operation::query(interface_index, host, e_record_type::address,
                                  [told = std::move(on_address)](record_answer const& answer) {
                                      auto const address = dotted_address(answer.data);
                                      if (!address.empty()) told(address);
                                  });
}

} // namespace kxnet
