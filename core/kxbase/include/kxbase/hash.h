#pragma once

/// @file
/// Digests and checksums.

#include <kxbase/export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kxbase {

/// The SHA-1 digest of the text: 40 hexadecimal digits in lower case. For the wire format of logins, which asks for it;
/// nothing new should rest on SHA-1.
/// @throws es::call where the system's cryptography does not offer the digest
[[nodiscard]] KXBASE_EXPORT std::string string_hash_SHA1_hex(std::string_view text);

/// The SHA-256 digest as 64 hexadecimal digits in lower case.
/// @throws es::call where the system's cryptography does not offer the digest
[[nodiscard]] KXBASE_EXPORT std::string string_hash_SHA256_hex(std::string_view text);

/// The SHA-256 digest itself.
/// @throws es::call where the system's cryptography does not offer the digest
[[nodiscard]] KXBASE_EXPORT std::array<std::byte, 32> hash_SHA256(std::span<std::byte const> bytes);

/// The CRC-32 (IEEE 802.3) of the bytes: finds damage, never an attack.
[[nodiscard]] KXBASE_EXPORT std::uint32_t checksum_crc32(std::span<std::byte const> bytes) noexcept;

} // namespace kxbase
