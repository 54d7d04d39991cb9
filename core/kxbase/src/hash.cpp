#include <kxbase/hash.h>

#include <kxbase/errors.h>

#include <algorithm>

#include <openssl/evp.h>
#include <zlib.h>

namespace kxbase {

namespace {

template <std::size_t size>
std::array<std::byte, size> digest(EVP_MD const* method, void const* bytes, std::size_t count) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> out{};
    unsigned int length = 0;
    if (EVP_Digest(bytes, count, out.data(), &length, method, nullptr) != 1 || length != size)
        es::call::raise("the system's cryptography does not offer the digest");
    std::array<std::byte, size> result{};
    std::transform(out.begin(), out.begin() + size, result.begin(), [](unsigned char c) { return std::byte{c}; });
    return result;
}

std::string hex(std::span<std::byte const> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (std::byte const byte : bytes) {
        text += digits[std::to_integer<std::size_t>(byte >> 4)];
        text += digits[std::to_integer<std::size_t>(byte & std::byte{0x0f})];
    }
    return text;
}

} // namespace

std::string string_hash_SHA1_hex(std::string_view text) {
    return hex(digest<20>(EVP_sha1(), text.data(), text.size()));
}

std::string string_hash_SHA256_hex(std::string_view text) {
    return hex(digest<32>(EVP_sha256(), text.data(), text.size()));
}

std::array<std::byte, 32> hash_SHA256(std::span<std::byte const> bytes) {
    return digest<32>(EVP_sha256(), bytes.data(), bytes.size());
}

std::uint32_t checksum_crc32(std::span<std::byte const> bytes) noexcept {
    uLong const start = crc32_z(0, nullptr, 0);
    if (bytes.empty()) return static_cast<std::uint32_t>(start);
    return static_cast<std::uint32_t>(crc32_z(start, reinterpret_cast<Bytef const*>(bytes.data()), bytes.size()));
}

} // namespace kxbase
