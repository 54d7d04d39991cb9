#include <kxnet/hello.h>

#include "wire_order.h"

#include <algorithm>

namespace kxnet {

namespace {

constexpr std::size_t magic_size = 8;
// Line ends and the end-of-file mark tell of a connection that was meant for text, as in other binary formats.
constexpr unsigned char magic[magic_size] = {'K', 'X', 'N', 'E', 'T', '\r', '\n', 0x1a};

// What a TLS record begins with: an alert or a handshake, and the version's first byte.
constexpr unsigned char tls_alert = 0x15;
constexpr unsigned char tls_handshake = 0x16;
constexpr unsigned char tls_major = 0x03;

bool begins_tls(std::span<std::byte const> bytes) noexcept;

} // namespace

hello_bytes make_hello(std::uint32_t version) noexcept {
    hello_bytes hello{};
    std::transform(std::begin(magic), std::end(magic), hello.begin(), [](unsigned char c) { return std::byte{c}; });
    put_big_endian(hello.data() + magic_size, version);
    return hello;
}

e_hello judge_hello(std::span<std::byte const> bytes) noexcept {
    if (begins_tls(bytes)) return bytes.size() == 1 ? e_hello::incomplete : e_hello::encrypted;
    std::size_t const known = std::min(bytes.size(), magic_size);
    for (std::size_t i = 0; i != known; ++i)
        if (bytes[i] != std::byte{magic[i]}) return e_hello::foreign;
    if (bytes.size() < hello_size) return e_hello::incomplete;
    return hello_version(bytes.first<hello_size>()) == protocol_version ? e_hello::fits : e_hello::other_version;
}

std::uint32_t hello_version(std::span<std::byte const, hello_size> bytes) noexcept {
    return from_big_endian(bytes.data() + magic_size);
}

namespace {

bool begins_tls(std::span<std::byte const> bytes) noexcept {
    if (bytes.empty()) return false;
    if (bytes[0] != std::byte{tls_alert} && bytes[0] != std::byte{tls_handshake}) return false;
    return bytes.size() == 1 || bytes[1] == std::byte{tls_major};
}

} // namespace

} // namespace kxnet
