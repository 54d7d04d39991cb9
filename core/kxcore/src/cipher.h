#pragma once

// Authenticated encryption: AES-256-GCM with a fresh random nonce.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kxcore {

class credential_key;

/// What encryption adds to the content: the nonce before it and the tag after it.
constexpr std::size_t cipher_overhead = 12 + 16;

/// Nonce, encrypted content and tag. The associated text is protected against changes, not
/// stored: it has to be given again.
[[nodiscard]] std::string encrypt(credential_key const& key, std::string_view content, std::string_view associated);

/// The content; nothing when the key, the associated text or any byte is not the one of before.
[[nodiscard]] std::optional<std::string> decrypt(credential_key const& key, std::string_view sealed,
                                                 std::string_view associated);

} // namespace kxcore
