#include "network_reader.h"

#include "limit_error.h"

namespace kxcore {

network_reader::network_reader(std::span<std::byte const> bytes, std::size_t position)
    : begin_(bytes.data()), at_(begin_), end_(begin_ + bytes.size()) {
    if (position > bytes.size()) {
        kxbase::es::arg::raise("position " + std::to_string(position) + " is beyond a buffer of " +
                               std::to_string(bytes.size()) + " bytes");
    }
    at_ += position;
}

std::uint64_t network_reader::get_long_varint(char const* expected) {
    constexpr unsigned int last_shift = 63;
    std::size_t const offset_before = offset();
    std::uint64_t value = 0;
    for (unsigned int shift = 0; shift <= last_shift; shift += 7) {
        std::uint64_t const byte = get(expected);
        if (shift == last_shift && byte > 1) break;
        value |= (byte & 0x7FU) << shift;
        if (byte < 0x80) {
            if (byte == 0) refuse(offset_before, "the shortest form of a number", "a longer one");
            return value;
        }
    }
    refuse(offset_before, "a number of 64 bits", "a larger one");
}

namespace {

std::string message_of(std::size_t offset, std::string const& expected, std::string_view found) {
    return "network encoding, byte " + std::to_string(offset) + ": expected " + expected + ", found " +
           std::string(found);
}

} // namespace

void network_reader::refuse(std::size_t offset, std::string const& expected, std::string const& found) {
    kxbase::es::arg::raise(message_of(offset, expected, found));
}

void network_reader::refuse_over_limit(std::size_t offset, std::string const& expected, std::string const& found) {
    limit_error::raise(message_of(offset, expected, found));
}

void network_reader::refuse(std::size_t offset, std::string const& expected, kxbase::es::arg const& cause) {
    limit_error::raise_as(cause, message_of(offset, expected, cause.message()));
}

void network_reader::refuse_end(char const* expected) const {
    refuse(offset(), expected, "the end");
}

void network_reader::refuse_short(std::size_t offset, std::uint64_t size, char const* expected) const {
    refuse(offset, expected + (" of " + std::to_string(size)) + " bytes", "the end after " + std::to_string(left()));
}

} // namespace kxcore
