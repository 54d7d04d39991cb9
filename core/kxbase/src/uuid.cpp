#include <kxbase/uuid.h>

#include <kxbase/errors.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <system_error>

#include <sys/random.h>

namespace kxbase {

namespace {

std::array<unsigned char, 16> random_bytes() {
    std::array<unsigned char, 16> bytes{};
    // So short a request is answered whole or not at all.
    while (::getrandom(bytes.data(), bytes.size(), 0) < 0)
        if (errno != EINTR) es::call::raise("no random bytes: " + std::generic_category().message(errno));
    return bytes;
}

} // namespace

std::string string_uuid(bool lower_case) {
    auto bytes = random_bytes();
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40); // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80); // the RFC's variant

    std::string_view const digits = lower_case ? "0123456789abcdef" : "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0f];
    }
    return text;
}

} // namespace kxbase
