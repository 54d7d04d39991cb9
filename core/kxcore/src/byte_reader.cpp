#include "byte_reader.h"

#include <kxbase/hash.h>

#include <cstdint>

namespace kxcore {

namespace {

constexpr std::size_t checksum_size = sizeof(std::uint32_t);

} // namespace

bool byte_reader::take_checked_body(std::string_view& body) {
    std::size_t const at = position_;
    std::uint64_t size = 0;
    if (!take_number("the size of the content", size)) return false;
    if (left() < checksum_size || size != left() - checksum_size)
        return fail(at, "expected " + std::to_string(size) + " bytes of content and a checksum of " +
                            std::to_string(checksum_size) + ", found " + std::to_string(left()) + " bytes in all");
    body = bytes_.substr(position_, static_cast<std::size_t>(size));
    position_ += body.size();
    std::size_t const checksum_at = position_;
    std::uint32_t checksum = 0;
    if (!take_number("the checksum", checksum)) return false;
    if (checksum != kxbase::checksum_crc32(as_bytes(bytes_.substr(0, checksum_at))))
        return fail(checksum_at, "the checksum does not fit: the file was damaged");
    return true;
}

void append_checked_body(kxbase::buffer& out, std::size_t begin, std::string_view body) {
    append_little_endian(out, static_cast<std::uint64_t>(body.size()));
    out.append(body);
    append_little_endian(out, kxbase::checksum_crc32(as_bytes(out.text().substr(begin))));
}

} // namespace kxcore
