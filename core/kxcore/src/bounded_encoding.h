#pragma once

// The network encoding of a tree in memory, up to a size.

#include <kxcore/fwd.h>

#include <kxbase/buffer.h>

#include <cstddef>

namespace kxcore {

/// Encodes a tree. Stops at the limit, since a tree that shares its parts may be far larger encoded than it is itself.
///
/// @throws es::arg when the tree could not be read back, or, naming the limit "document", when more than `limit` bytes
///         would be needed
[[nodiscard]] kxbase::buffer encoded_up_to(properties const& tree, std::size_t limit);

} // namespace kxcore
