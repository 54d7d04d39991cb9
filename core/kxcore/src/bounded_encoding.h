#pragma once

// The network encoding of a tree, up to a size.

#include <kxcore/network_encoding.h>

#include <kxbase/buffer.h>

#include <cstddef>

namespace kxcore {

/// Counts the bytes of an encoding and stops it at a limit, for good.
class bounded_sink final : public encoder_sink {
public:
    /// @param content gets the bytes; null when only their number matters
    bounded_sink(std::size_t limit, kxbase::buffer* content) : limit_(limit), left_(limit), content_(content) {}

    /// @throws es::arg naming the limit "document"
    void write(std::span<std::byte const> bytes) override;

private:
    std::size_t limit_;
    std::size_t left_;
    kxbase::buffer* content_;
};

/// Encodes a tree. Stops at the limit, since a tree that shares its parts may be far larger encoded than it is itself.
///
/// @throws es::arg when the tree could not be read back, or, naming the limit "document", when more than `limit` bytes
///         would be needed
[[nodiscard]] kxbase::buffer encoded_up_to(properties const& tree, std::size_t limit);

} // namespace kxcore
