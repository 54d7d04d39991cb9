// Integers on the wire: big-endian, whatever the machine is.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kxnet {

inline void put_big_endian(std::byte* out, std::uint32_t number) noexcept {
    for (unsigned int i = 0; i != 4; ++i)
        out[i] = static_cast<std::byte>(number >> (24U - 8U * i));
}

[[nodiscard]] inline std::uint32_t from_big_endian(std::byte const* bytes) noexcept {
    std::uint32_t number = 0;
    for (unsigned int i = 0; i != 4; ++i)
        number = number << 8U | static_cast<std::uint32_t>(bytes[i]);
    return number;
}

} // namespace kxnet
