#pragma once

// What clients of the tests' own say to a node, byte by byte.

#include "devnode_process.h"
#include "raw_client.h"

#include "support/scripted_node.h"

#include <kxbase/hash.h>
#include <kxnet/frame.h>
#include <kxnet/packet.h>

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

namespace kx_test {

inline kxp::packet login(std::string const& command = "cluster.client.login", std::string const& user = node_user,
                         std::string const& password = node_password) {
    kxp::packet request(kxp::e_packet_type::request, command);
    request.set_property("username", user);
    request.set_property("password", kxbase::string_hash_SHA1_hex(password));
    request.set_property("id", "tests");
    return request;
}

inline std::string bytes_of(kxp::packet const& packet, std::uint32_t number = 1) {
    return text_of(kxnet::frame(packet, number));
}

/// A client that has been greeted.
inline std::unique_ptr<raw_client> greeted(std::string const& port) {
    auto client = std::make_unique<raw_client>(port);
    static_cast<void>(client->send(hello_text()));
    if (client->read(hello_text().size()) != hello_text()) throw std::runtime_error("no hello from port " + port);
    return client;
}

/// A packet whose length has been read already.
inline kxbase::ptr_refcount<kxp::packet> packet_behind(raw_client const& client, std::string const& head) {
    std::size_t length = 0;
    for (char const byte : head)
        length = length << 8U | static_cast<unsigned char>(byte);
    std::string const payload = client.read(length);
    if (head.size() != kxnet::frame_head_size || payload.size() != length)
        throw std::runtime_error("the node has gone");
    return kxnet::decode_packet(std::as_bytes(std::span(payload)));
}

/// The next packet that the node sends.
inline kxbase::ptr_refcount<kxp::packet> next_packet(raw_client const& client) {
    return packet_behind(client, client.read(kxnet::frame_head_size));
}

} // namespace kx_test
