#pragma once

/// @file
/// The hello that both sides send first: it tells at once whether the peer speaks this protocol, and which version of it.

#include <kxnet/export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kxnet {

inline constexpr std::size_t hello_size = 12;
/// The version that this library speaks.
inline constexpr std::uint32_t protocol_version = 1;

using hello_bytes = std::array<std::byte, hello_size>;

/// The bytes of a hello.
[[nodiscard]] KXNET_EXPORT hello_bytes make_hello(std::uint32_t version = protocol_version) noexcept;

/// What the first bytes of a peer are.
enum class e_hello : std::uint8_t {
    incomplete,    ///< the beginning of a hello
    fits,          ///< a hello of this version
    other_version, ///< a hello of another version
    encrypted,     ///< the beginning of TLS, where a hello was to come
    foreign,       ///< something else
};

/// Judges what has come from a peer so far, of which the first `hello_size` bytes count. Whatever cannot become a hello is
/// known as soon as the first wrong byte has come.
[[nodiscard]] KXNET_EXPORT e_hello judge_hello(std::span<std::byte const> bytes) noexcept;

/// The version that a whole hello names.
[[nodiscard]] KXNET_EXPORT std::uint32_t hello_version(std::span<std::byte const, hello_size> bytes) noexcept;

} // namespace kxnet
