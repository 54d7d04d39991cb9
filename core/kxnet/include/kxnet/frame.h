#pragma once

/// @file
/// Frames: how one packet lies on the wire. Writing refuses what could not be read back; reading is safe on hostile bytes
/// and never takes more memory than the bytes that came call for. The bytes are described in docs/protocol.md.

#include <kxbase/buffer.h>
#include <kxbase/ptr_refcount.h>
#include <kxnet/export.h>
#include <kxnet/packet.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kxnet {

/// The bytes before the payload of a frame: its length.
inline constexpr std::size_t frame_head_size = 4;
/// The bytes of a payload before the name: type, request number, length of the name.
inline constexpr std::size_t packet_head_size = 6;

/// The bytes of one packet, in pieces that are sent one after the other: a large packet never moves to a larger block.
class KXNET_EXPORT frame {
public:
    /// Encodes a packet with a request number of its own.
    ///
    /// @throws es::arg naming the packet and what could not be read back: an unknown type, a request or reply numbered 0
    ///         or an event numbered otherwise, a name beyond 255 bytes or not of valid UTF-8, properties that cannot be
    ///         encoded, or more bytes or values than the limit frame allows
    explicit frame(kxp::packet const& packet);
    frame(kxp::packet const& packet, std::uint32_t request_number);

    [[nodiscard]] std::span<kxbase::buffer const> pieces() const noexcept { return pieces_; }
    /// The bytes of all pieces.
    [[nodiscard]] std::size_t size() const noexcept { return size_; }

private:
    std::vector<kxbase::buffer> pieces_;
    std::size_t size_ = 0;
};

/// The packet of a payload, which is a frame without its length. It may hold as many values as the limit frame allows.
///
/// @throws es::arg naming what is wrong with it: too short, an unknown type, a number that does not go with the type, a
///         bad name, or properties that cannot be decoded or hold too many values
[[nodiscard]] KXNET_EXPORT kxbase::ptr_refcount<kxp::packet> decode_packet(std::span<std::byte const> payload);

/// The same with a limit of its own.
///
/// @param values_left  how many values it may hold; lowered by those that it holds, and left alone by an error
[[nodiscard]] KXNET_EXPORT kxbase::ptr_refcount<kxp::packet> decode_packet(std::span<std::byte const> payload,
                                                                           std::size_t& values_left);

/// Cuts a stream of bytes into payloads. Bytes are put straight into its memory: ask for `space`, fill some of it,
/// `commit`, and take payloads with `next` until there is none. Memory grows with the bytes that have come, never with what
/// a length claims, and is given back after a large frame.
class KXNET_EXPORT frame_reader {
public:
    /// Payloads may be as long as the limit frame allows now.
    frame_reader();

    /// From the next payload on they may be no longer than this; 0 for what the limit frame allows now. Never beyond that.
    void set_limit(std::size_t bytes) noexcept;
    /// The longest payload that is taken.
    [[nodiscard]] std::size_t limit() const noexcept { return limit_; }

    /// Room for the next bytes, never empty. Payloads given before are gone with this call.
    [[nodiscard]] std::span<std::byte> space();

    /// Takes over the first bytes of the room.
    void commit(std::size_t count) noexcept { end_ += count; }

    /// The next payload that has come whole, valid until the next call of `space`; empty when none has.
    ///
    /// @throws es::arg when a length is beyond the limit, or too short for a packet; the stream is of no use then
    [[nodiscard]] std::optional<std::span<std::byte const>> next();

    /// How many bytes of a frame have come that has not come whole; 0 between frames.
    [[nodiscard]] std::size_t under_way() const noexcept { return end_ - begin_; }

    /// The request number of the frame under way, when it is a reply and that much of it has come; else 0.
    [[nodiscard]] std::uint32_t reply_under_way() const noexcept;

private:
    [[nodiscard]] std::size_t wanted() const noexcept;

    kxbase::buffer bytes_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t limit_;
};

} // namespace kxnet
