#pragma once

/// @file
/// Where the bytes of an encoding go: straight into a buffer, or piece by piece into a sink.

#include <kxcore/network_encoding.h>

#include "network_format.h"

#include <kxbase/buffer.h>

namespace kxcore {

class network_writer {
public:
    /// @throws es::arg when the position is beyond the end
    network_writer(kxbase::buffer& out, std::size_t position);
    explicit network_writer(encoder_sink& out);

    void put(unsigned int byte) {
        if (at_ == end_) make_room(1);
        *at_++ = static_cast<std::byte>(byte);
    }

    void put_varint(std::uint64_t value) {
        if (value < 0x80) return put(static_cast<unsigned int>(value));
        if (static_cast<std::size_t>(end_ - at_) < network::longest_varint) make_room(network::longest_varint);
        for (; value >= 0x80; value >>= 7U) {
            *at_++ = static_cast<std::byte>(value | 0x80U);
        }
        *at_++ = static_cast<std::byte>(value);
    }

    void put_bytes(std::string_view bytes) {
        if (bytes.size() > static_cast<std::size_t>(end_ - at_)) return put_many(bytes);
        if (!bytes.empty()) std::memcpy(at_, bytes.data(), bytes.size());
        at_ += bytes.size();
    }

    /// Puts a text of less than 64 bytes after a tag that its size is added to, if all of it is ASCII; else nothing, and
    /// false. Checking while copying is what most strings want.
    [[nodiscard]] bool put_short_ascii(unsigned int tag, std::string_view text) {
        if (text.size() >= static_cast<std::size_t>(end_ - at_)) make_room(text.size() + 1);
        if (!network::copy_ascii(at_ + 1, text)) return false;
        *at_ = static_cast<std::byte>(tag + text.size());
        at_ += text.size() + 1;
        return true;
    }

    /// The number of bytes put so far.
    [[nodiscard]] std::uint64_t size() const noexcept;

    /// Cuts the buffer to what has been put.
    void settle();

    /// Hands what is held back to the sink.
    void flush();

    /// Takes back all but the first bytes put; false when a sink has got some of them already.
    [[nodiscard]] bool cut(std::uint64_t size) noexcept;

private:
    void make_room(std::size_t count);
    /// Makes a whole piece of the first, small one.
    void enlarge();
    void put_many(std::string_view bytes);

    /// Null when there is a buffer. Else `own_` collects the next piece; it is small until more than that comes.
    encoder_sink* sink_ = nullptr;
    kxbase::buffer own_;
    kxbase::buffer* buffer_;
    /// Where in the buffer the encoding begins, and what the sink has got.
    std::size_t begin_ = 0;
    std::uint64_t handed_over_ = 0;
    /// Room in the buffer, to be filled.
    std::byte* at_ = nullptr;
    std::byte* end_ = nullptr;
};

} // namespace kxcore
