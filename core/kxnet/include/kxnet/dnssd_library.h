#pragma once

/// @file
/// The system's DNS-SD client library, as far as others than this library call it. It is loaded at run time: where it is
/// missing, nothing is found on the network and nothing is announced there, and nothing fails. It is loaded together
/// with this library, once, and let go of with it. Any thread may call what is here.

#include <kxnet/export.h>

#include <cstdint>
#include <string>

namespace kxnet {

/// Where the functions of the client library come from: gives the address of a function by its published name, null
/// where there is none.
using dnssd_symbol_source = void* (*)(char const* name);

/// Takes the functions from elsewhere, for tests, and for hosts that bring a client library of their own. Each is asked
/// for when it is first needed, and remembered. Call it only while nothing browses, looks up or announces, nor begins to.
///
/// @param source  null for the system's library; one that gives no function stands for a library that is not installed
/// @return the one before; null for the system's library
/// @throws es::call with the number of questions to the library that are under way, if any; nothing changes then
KXNET_EXPORT dnssd_symbol_source set_dnssd_symbol_source(dnssd_symbol_source source);

// NOLINTBEGIN(readability-identifier-naming): these are called as they are published.

/// How many entries a TXT record has; 0 where the client library is missing.
///
/// @param txt  the bytes of the record, which may be anything
[[nodiscard]] KXNET_EXPORT std::uint16_t TXTRecordGetCount(std::uint16_t txt_length, void const* txt);

/// An entry of a TXT record.
///
/// @param key         gets the entry's key, with a NUL at its end
/// @param key_length  the size of that buffer
/// @param value_length, value  get the entry's value, which lies in `txt`; 0 and null for an entry without one
/// @return 0; else an error of the client library: the key does not fit, or there is no such entry. Where the library is
///         missing, -65563, the service is not running.
[[nodiscard]] KXNET_EXPORT std::int32_t TXTRecordGetItemAtIndex(std::uint16_t txt_length, void const* txt,
                                                                std::uint16_t index, std::uint16_t key_length,
                                                                char* key, std::uint8_t* value_length,
                                                                void const** value);

// NOLINTEND(readability-identifier-naming)

/// Why nothing can be found on the network by DNS-SD: no client library, or no daemon that serves it, in words, on one
/// line; empty when browsing works. It tries, which takes as long as the daemon takes to answer.
[[nodiscard]] KXNET_EXPORT std::string find_dnssd_obstacle();

} // namespace kxnet
