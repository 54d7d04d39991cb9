#include <kxbase/base64.h>

#include <kxbase/buffer.h>

#include <array>
#include <cstdint>

namespace kxbase {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::uint8_t foreign = 255;
constexpr std::uint8_t blank = 254;
constexpr std::uint8_t padding = 253;

constexpr std::array<std::uint8_t, 256> make_values() {
    std::array<std::uint8_t, 256> values{};
    values.fill(foreign);
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    for (char const c : {' ', '\t', '\r', '\n'})
        values[static_cast<unsigned char>(c)] = blank;
    values[static_cast<unsigned char>('=')] = padding;
    return values;
}

constexpr std::array<std::uint8_t, 256> values = make_values();

/// Decodes into `first`, which has room for three bytes per four characters. Gives the number of bytes, or npos.
std::size_t decode_to(std::string_view text, std::byte* first);

constexpr std::size_t room_for(std::string_view text) {
    return text.size() / 4 * 3 + 3;
}

} // namespace

std::string base64_encoded(std::span<std::byte const> bytes) {
    return base64_encoded(std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size()));
}

std::string base64_encoded(std::string_view bytes) {
    std::string text;
    base64_encode(bytes, text);
    return text;
}

void base64_encode(std::string_view bytes, std::string& out) {
    std::size_t at = out.size();
    out.resize(at + (bytes.size() + 2) / 3 * 4, '=');
    auto const byte = [bytes](std::size_t n) {
        return n < bytes.size() ? static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[n])) : 0u;
    };
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t const group = (byte(i) << 16) | (byte(i + 1) << 8) | byte(i + 2);
        std::size_t const characters = bytes.size() - i >= 3 ? 4 : bytes.size() - i + 1;
        for (std::size_t n = 0; n < characters; ++n)
            out[at + n] = alphabet[(group >> (18 - 6 * n)) & 0x3f];
        at += 4;
    }
}

bool base64_decode(std::string_view text, std::string& out) {
    std::size_t const before = out.size();
    out.resize(before + room_for(text));
    std::size_t const count = decode_to(text, reinterpret_cast<std::byte*>(out.data()) + before);
    bool const good = count != std::string_view::npos;
    out.resize(before + (good ? count : 0));
    return good;
}

bool base64_decode(std::string_view text, buffer& out) {
    std::size_t const before = out.size();
    std::size_t const count = decode_to(text, out.append_unset(room_for(text)));
    bool const good = count != std::string_view::npos;
    out.resize(before + (good ? count : 0));
    return good;
}

namespace {

std::size_t decode_to(std::string_view text, std::byte* first) {
    std::byte* next = first;
    std::uint32_t group = 0;
    unsigned int characters = 0; // of the group
    unsigned int padded = 0;
    for (char const c : text) {
        std::uint8_t const value = values[static_cast<unsigned char>(c)];
        if (value == blank) continue;
        if (value == foreign) return std::string_view::npos;
        if (value == padding) {
            // Padding fills the last group: one or two characters of it, and nothing follows.
            if (characters < 2 || ++padded > 4 - characters) return std::string_view::npos;
            continue;
        }
        if (padded != 0) return std::string_view::npos;
        group = (group << 6) | value;
        if (++characters < 4) continue;
        *next++ = static_cast<std::byte>(group >> 16);
        *next++ = static_cast<std::byte>(group >> 8);
        *next++ = static_cast<std::byte>(group);
        group = 0;
        characters = 0;
    }
    if (characters == 0) return static_cast<std::size_t>(next - first);
    if (characters + padded != 4) return std::string_view::npos;
    std::uint32_t const stray = characters == 2 ? group & 0x0f : group & 0x03;
    if (stray != 0) return std::string_view::npos;
    group <<= 6 * (4 - characters);
    *next++ = static_cast<std::byte>(group >> 16);
    if (characters == 3) *next++ = static_cast<std::byte>(group >> 8);
    return static_cast<std::size_t>(next - first);
}

} // namespace

} // namespace kxbase
