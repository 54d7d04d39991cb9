// magic (8) | size of the identifier (2) | identifier | version (4) | size of the tree (8) | the tree in network
// encoding | CRC-32 of all before (4). All numbers are little-endian.

#include "bounded_encoding.h"
#include "byte_reader.h"
#include "document_formats.h"
#include "limit_error.h"

#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <cstdint>

namespace kxcore {

namespace {

// Text conversions of transfers break the first bytes, and who prints the file stops at the seventh.
constexpr std::string_view magic = "\x89KXD\r\n\x1a\x01";

bool read_head(byte_reader& reader, document_content& out);
document_outcome decode_tree(std::string_view bytes, std::string_view tree, document_content& out);

} // namespace

document_outcome read_binary_document(std::string_view bytes, document_content& out) {
    byte_reader reader(bytes);
    std::string_view tree;
    if (!read_head(reader, out) || !reader.take_checked_body(tree))
        return {e_document_fault::malformed, reader.diagnostic()};
    return decode_tree(bytes, tree, out);
}

void write_binary_document(std::string_view identifier, unsigned int version, properties const& tree,
                           kxbase::buffer& out) {
    std::size_t const limit = kxbase::current_limits().document;
    kxbase::buffer const encoded = encoded_up_to(tree, limit);
    std::size_t const begin = out.size();
    std::size_t const size = magic.size() + sizeof(std::uint16_t) + identifier.size() + sizeof(std::uint32_t) +
                             sizeof(std::uint64_t) + encoded.size() + sizeof(std::uint32_t);
    if (size > limit)
        kxbase::es::arg::raise("a document of more than " + std::to_string(limit) + " bytes (limit document)");
    // All the memory that is needed at once: from here on nothing can fail.
    out.reserve(begin + size);
    out.append(magic);
    append_little_endian(out, static_cast<std::uint16_t>(identifier.size()));
    out.append(identifier);
    append_little_endian(out, static_cast<std::uint32_t>(version));
    append_checked_body(out, begin, encoded.text());
}

bool is_binary_document(std::string_view prefix) noexcept {
    return prefix.starts_with(magic);
}

namespace {

bool read_head(byte_reader& reader, document_content& out) {
    std::string_view found;
    std::uint16_t size = 0;
    std::uint32_t version = 0;
    if (!reader.take(magic.size(), "the magic of a binary document", found)) return false;
    if (!reader.take_number("the size of the identifier", size)) return false;
    out.place.offset = reader.position();
    if (!reader.take(size, "the identifier", found)) return false;
    if (std::string_view const fault = identifier_fault(found); !fault.empty())
        return reader.fail(out.place.offset, std::string(fault));
    if (!reader.take_number("the version", version)) return false;
    out.identifier = found;
    out.version = version;
    return true;
}

document_outcome decode_tree(std::string_view bytes, std::string_view tree, document_content& out) {
    document_outcome outcome;
    auto const position = static_cast<std::size_t>(tree.data() - bytes.data());
    decoder_network decoder(as_bytes(bytes.substr(0, position + tree.size())), position);
    try {
        auto decoded = kxbase::make_refcount<properties>();
        decoded->decode(decoder);
        decoder.expect_end();
        out.tree = std::move(decoded);
    } catch (kxbase::es::arg const& error) {
        outcome.fault = limit_error::is_one(error) ? e_document_fault::beyond_limit : e_document_fault::malformed;
        outcome.diagnostic.message = error.what();
        outcome.diagnostic.offset = decoder.position();
    }
    return outcome;
}

} // namespace

} // namespace kxcore
