#pragma once

/// @file
/// The network encoding: how values travel between programs and lie in finalized jobs. Compact (each key's text is
/// written once), canonical (equal trees give equal bytes, and nothing else is read) and safe on hostile bytes. The
/// bytes are described in docs/network-encoding.md.

#include <kxcore/property.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>

namespace kxcore {

/// Takes encoded bytes piece by piece, for example to compress them while the rest is still being encoded.
class KXCORE_EXPORT encoder_sink {
public:
    virtual ~encoder_sink();

    /// Takes the next bytes, which are valid during the call. May raise; the encoding ends then, with that error.
    virtual void write(std::span<std::byte const> bytes) = 0;

protected:
    encoder_sink() = default;
    encoder_sink(encoder_sink const&) = default;
    encoder_sink& operator=(encoder_sink const&) = default;
};

/// Writes values in the network encoding. Keys are numbered over all values of one encoder, so a decoder has to read
/// the values in the same order.
class KXCORE_EXPORT encoder_network {
public:
    /// Writes into a buffer from the position on; what was there is cut off. After each value the buffer is complete.
    ///
    /// @throws es::arg when the position is beyond the end of the buffer
    explicit encoder_network(kxbase::buffer& out, std::size_t position = 0);

    /// Writes into a sink in pieces of about 64 KiB, the last one with `flush`, which the destructor does not call.
    explicit encoder_network(encoder_sink& out);

    ~encoder_network();
    encoder_network(encoder_network const&) = delete;
    encoder_network& operator=(encoder_network const&) = delete;

    /// Writes one value of any kind; see `property::encode` for errors. After an error a buffer is as it was before the
    /// value, and the encoder goes on from there; a sink may have taken a part of it, and the encoder takes no more.
    void write(property const& value);

    /// Hands to the sink what is still held back.
    void flush();

    /// The number of bytes written so far.
    [[nodiscard]] std::uint64_t size() const noexcept;

    /// The number of values inside those written so far, at every depth: members and elements, those of the tree forms of
    /// constraints too. What is given to `write` does not count.
    [[nodiscard]] std::size_t values() const noexcept;

private:
    struct state;
    std::unique_ptr<state> state_;
};

/// How many values a decoder may read, counted as `encoder_network::values` does, and the word of the limit that errors
/// name then.
struct value_budget {
    std::size_t most = std::numeric_limits<std::size_t>::max();
    char const* limit = "";
};

/// Reads values from the network encoding. The bytes are not copied and have to stay as they are meanwhile.
class KXCORE_EXPORT decoder_network {
public:
    /// Reads from the position on.
    ///
    /// @param allowed  for all that is read; no limit unless it is given, so that a value may take sixty times its bytes
    /// @throws es::arg when the position is beyond the end
    explicit decoder_network(kxbase::buffer const& in, std::size_t position = 0, value_budget allowed = {});
    explicit decoder_network(std::span<std::byte const> in, std::size_t position = 0, value_budget allowed = {});

    ~decoder_network();
    decoder_network(decoder_network const&) = delete;
    decoder_network& operator=(decoder_network const&) = delete;

    /// Reads one value of any kind.
    ///
    /// @throws es::arg naming the byte offset, what was expected there and what was found, or the limit that was met.
    ///         The decoder can not be used further.
    [[nodiscard]] kxbase::ptr_refcount<property> read();

    /// Reads one value, which has to be a tree.
    [[nodiscard]] kxbase::ptr_refcount<properties> read_properties();

    /// The number of values inside those read so far, as `encoder_network::values` counts them.
    [[nodiscard]] std::size_t values() const noexcept;

    /// The offset of the next byte to be read, from the beginning of the buffer.
    [[nodiscard]] std::size_t position() const noexcept;

    /// Whether all bytes have been read.
    [[nodiscard]] bool at_end() const noexcept;

    /// Raises unless all bytes have been read.
    ///
    /// @throws es::arg naming the offset
    void expect_end() const;

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxcore
