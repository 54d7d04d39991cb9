#pragma once

// Integers in our own files: little-endian, whatever the machine is.

#include <kxbase/buffer.h>

#include <cstddef>
#include <string_view>

namespace kxcore {

/// Appends the integer.
template <class T>
void append_little_endian(kxbase::buffer& out, T number) {
    for (std::size_t i = 0; i != sizeof(T); ++i) {
        out.push_back(static_cast<std::byte>(number & 0xff));
        number = static_cast<T>(number >> 8);
    }
}

/// The integer that the bytes begin with; there must be enough of them.
template <class T>
[[nodiscard]] T from_little_endian(std::string_view bytes) noexcept {
    T number = 0;
    for (std::size_t i = sizeof(T); i-- != 0;)
        number = static_cast<T>(number << 8 | static_cast<unsigned char>(bytes[i]));
    return number;
}

} // namespace kxcore
