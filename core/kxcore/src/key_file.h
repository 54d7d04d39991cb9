#pragma once

// The key of wrapped credentials and sealed files: 256 bits, kept as one line of hexadecimal digits in a file that
// only its owner can read. A key lives in memory for one operation.

#include <array>

namespace kxcore {

/// A key, wiped from memory at the end of its life and never copied.
class credential_key {
public:
    credential_key() = default;
    ~credential_key();
    credential_key(credential_key const&) = delete;
    credential_key& operator=(credential_key const&) = delete;

    std::array<unsigned char, 32> bytes = {};
};

enum class e_missing_key { refused, made };

/// Reads the key of the key file that the process context names.
///
/// @throws es::arg when no key file is named, when it is missing and not to be made, when it is
///         not a regular file of this process's user, when others may use it, or when it holds no
///         key; es::call when it cannot be read or made
void load_key(credential_key& key, e_missing_key missing);

} // namespace kxcore
