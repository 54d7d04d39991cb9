// The copy of the unfinalized submission that a finalized one keeps inside: its network encoding, compressed.
#pragma once

#include <kxbase/ptr_refcount.h>

#include <cstddef>

namespace kxcore {
class properties;
class property_binary;
} // namespace kxcore

namespace kxclientutil {

/// Where a finalized submission keeps its original.
inline constexpr char const* original_path = "ext-meta{compressed-original}";

/// The original of a finalized submission; null when there is none. Valid as long as the submission is unchanged.
[[nodiscard]] kxcore::property_binary const* kept_original(kxcore::properties const& submission);

/// Encodes and compresses a submission. Raises es::arg for one that could not be read back, as the network encoding
/// does, and for one that has more bytes or values than the limits of a document and of expansion allow.
[[nodiscard]] kxbase::ptr_refcount<kxcore::property_binary> compress_original(kxcore::properties const& submission);

/// The inverse of compress_original(). Raises es::arg for corrupt data, beyond the limit of expansion, and for more values
/// than compress_original() takes.
[[nodiscard]] kxbase::ptr_refcount<kxcore::properties> expand_original(kxcore::property_binary const& original);

/// The same with a limit of its own.
///
/// @param left  how many bytes it may expand to; lowered by those that it has expanded to, also when they cannot be decoded
[[nodiscard]] kxbase::ptr_refcount<kxcore::properties> expand_original(kxcore::property_binary const& original,
                                                                       std::size_t& left);

} // namespace kxclientutil
