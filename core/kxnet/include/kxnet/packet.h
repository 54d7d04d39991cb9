#pragma once

/// @file
/// What travels between a client and a node: requests, the replies to them, and events that nobody asked for. How they
/// look on the wire is described in docs/protocol.md.

#include <kxbase/ptr_refcount.h>
#include <kxcore/properties.h>
#include <kxnet/export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kxp {

/// The types of a packet, as they stand on the wire.
enum class e_packet_type : std::uint8_t { reply = 1, request = 2, event = 3 };

/// One packet: a type, a name, a request number, and properties. It may stand on the stack or live in a handle. One thread
/// at a time may change it; several may read it.
class KXNET_EXPORT packet final : public kxbase::object_refcount {
public:
    /// A packet without properties.
    ///
    /// @param type  1 reply, 2 request, 3 event; no other type can be sent
    /// @param name  the command of a request, the kind of an event; a reply bears the name of its request. Up to 255
    ///              bytes of UTF-8 can be sent
    packet(unsigned int type, std::string_view name);
    packet(e_packet_type type, std::string_view name);

    /// A packet with these properties, which are shared until one side changes them.
    packet(e_packet_type type, std::string_view name, kxcore::properties properties);

    [[nodiscard]] unsigned int get_type() const noexcept { return type_; }
    [[nodiscard]] bool is(e_packet_type type) const noexcept { return type_ == static_cast<unsigned int>(type); }
    [[nodiscard]] std::string const& get_name() const noexcept { return name_; }

    /// What pairs a reply with its request: not 0 in requests and replies, 0 in events. A connection numbers the requests
    /// that it sends itself.
    [[nodiscard]] std::uint32_t get_request_number() const noexcept { return request_number_; }
    void set_request_number(std::uint32_t number) noexcept { request_number_ = number; }

    /// Sets a property, in the place of one that has the key; an empty handle removes it.
    void set_property(std::string_view key, kxcore::property_handle const& value);
    /// The same with a new string.
    void set_property(std::string_view key, std::string_view text);

    [[nodiscard]] kxcore::properties const& get_properties() const noexcept { return properties_; }

    /// A reply to this request: its name, its number, no properties.
    [[nodiscard]] packet make_reply() const;

    /// A reply that says in the property "error" why this request is refused.
    [[nodiscard]] packet make_error_reply(std::string_view reason) const;

private:
    unsigned int type_;
    std::uint32_t request_number_ = 0;
    std::string name_;
    kxcore::properties properties_;
};

} // namespace kxp
