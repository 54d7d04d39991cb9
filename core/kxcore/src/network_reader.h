#pragma once

/// @file
/// Reading encoded bytes. Nothing is read beyond the end; what does not fit raises with its offset.

#include <kxbase/errors.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kxcore {

class network_reader {
public:
    /// @throws es::arg when the position is beyond the end
    network_reader(std::span<std::byte const> bytes, std::size_t position);

    [[nodiscard]] std::size_t offset() const noexcept { return static_cast<std::size_t>(at_ - begin_); }
    [[nodiscard]] std::size_t left() const noexcept { return static_cast<std::size_t>(end_ - at_); }

    /// The next byte; `expected` says what it was to be, should there be none.
    [[nodiscard]] unsigned int get(char const* expected) {
        unsigned int const byte = peek(expected);
        ++at_;
        return byte;
    }

    /// The next byte, which stays the next.
    [[nodiscard]] unsigned int peek(char const* expected) const {
        if (at_ == end_) refuse_end(expected);
        return static_cast<unsigned int>(*at_);
    }

    /// A number in its shortest form.
    [[nodiscard]] std::uint64_t get_varint(char const* expected) {
        if (at_ != end_ && static_cast<unsigned int>(*at_) < 0x80) return static_cast<std::uint64_t>(*at_++);
        return get_long_varint(expected);
    }

    /// The next bytes; `offset` is where the thing that they are a part of begins.
    [[nodiscard]] std::string_view get_bytes(std::size_t offset, std::uint64_t size, char const* expected) {
        if (size > left()) refuse_short(offset, size, expected);
        std::string_view const bytes(reinterpret_cast<char const*>(at_), static_cast<std::size_t>(size));
        at_ += size;
        return bytes;
    }

    /// @throws es::arg with the offset, what was expected there and what was found
    [[noreturn]] static void refuse(std::size_t offset, std::string const& expected, std::string const& found);
    [[noreturn]] static void refuse_over_limit(std::size_t offset, std::string const& expected,
                                               std::string const& found);
    [[noreturn]] static void refuse(std::size_t offset, std::string const& expected, kxbase::es::arg const& cause);

private:
    [[nodiscard]] std::uint64_t get_long_varint(char const* expected);
    [[noreturn]] void refuse_end(char const* expected) const;
    [[noreturn]] void refuse_short(std::size_t offset, std::uint64_t size, char const* expected) const;

    std::byte const* begin_;
    std::byte const* at_;
    std::byte const* end_;
};

} // namespace kxcore
