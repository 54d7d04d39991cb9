#include <kxnet/packet.h>

#include <kxcore/property_values.h>

#include <utility>

namespace kxp {

packet::packet(unsigned int type, std::string_view name) : type_(type), name_(name) {}

packet::packet(e_packet_type type, std::string_view name) : packet(static_cast<unsigned int>(type), name) {}

packet::packet(e_packet_type type, std::string_view name, kxcore::properties properties)
    : type_(static_cast<unsigned int>(type)), name_(name), properties_(std::move(properties)) {}

void packet::set_property(std::string_view key, kxcore::property_handle const& value) {
    properties_.set_property(key, value);
}

void packet::set_property(std::string_view key, std::string_view text) {
    properties_.set_property(key, kxbase::make_refcount<kxcore::property_string>(text));
}

packet packet::make_reply() const {
    packet reply(e_packet_type::reply, name_);
    reply.set_request_number(request_number_);
    return reply;
}

packet packet::make_error_reply(std::string_view reason) const {
    packet reply = make_reply();
    reply.set_property("error", reason);
    return reply;
}

} // namespace kxp
