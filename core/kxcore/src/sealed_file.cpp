// magic (8) | 0 plain or 1 encrypted (1) | size of the content (8) | content | CRC-32 of all before (4). Plain content is
// a tree in network encoding; encrypted content is that behind a nonce (12) and before a tag (16), and the tag vouches
// for the first nine bytes of the file as well.

#include <kxcore/sealed_file.h>

#include "bounded_encoding.h"
#include "byte_reader.h"
#include "cipher.h"
#include "file_io.h"
#include "ioutil_path.h"
#include "key_file.h"

#include <kxcore/network_encoding.h>
#include <kxcore/properties.h>

#include <kxbase/errors.h>
#include <kxbase/limits.h>

#include <cstdint>
#include <optional>

namespace kxcore {

namespace {

constexpr std::string_view magic = "\x89KXS\r\n\x1a\x01";
constexpr char plain_mark = 0;
constexpr char encrypted_mark = 1;

std::string head(char mark);
kxbase::ptr_refcount<properties> decoded(std::string_view encoded);
[[noreturn]] void raise_at(std::size_t offset, std::string_view what);

} // namespace

void seal_tree(properties const& tree, e_sealing sealing, kxbase::buffer& out) {
    std::size_t const limit = kxbase::current_limits().document;
    kxbase::buffer const encoded = encoded_up_to(tree, limit);
    std::string const begins = head(sealing == e_sealing::encrypted ? encrypted_mark : plain_mark);
    std::string encrypted;
    std::string_view content = encoded.text();
    if (sealing == e_sealing::encrypted) {
        credential_key key;
        load_key(key, e_missing_key::made);
        encrypted = encrypt(key, content, begins);
        content = encrypted;
    }
    std::size_t const size = begins.size() + sizeof(std::uint64_t) + content.size() + sizeof(std::uint32_t);
    if (size > limit)
        kxbase::es::arg::raise("a container of more than " + std::to_string(limit) + " bytes (limit document)");
    std::size_t const at = out.size();
    out.reserve(at + size);
    out.append(begins);
    append_checked_body(out, at, content);
}

kxbase::ptr_refcount<properties> unseal_tree(kxbase::buffer const& container) {
    byte_reader reader(container.text());
    std::string_view begins;
    std::string_view content;
    if (!reader.take(magic.size() + 1, "the beginning of a container", begins))
        raise_at(0, reader.diagnostic().message);
    if (!is_sealed(begins)) raise_at(0, "expected the magic of a container");
    char const mark = begins.back();
    if (mark != plain_mark && mark != encrypted_mark) raise_at(magic.size(), "expected 0 (plain) or 1 (encrypted)");
    if (!reader.take_checked_body(content)) raise_at(reader.diagnostic().offset, reader.diagnostic().message);
    if (mark == plain_mark) return decoded(content);
    credential_key key;
    load_key(key, e_missing_key::refused);
    std::optional<std::string> const opened = decrypt(key, content, begins);
    if (!opened)
        raise_at(begins.size(), "the content cannot be decrypted: it was changed, or encrypted with another key");
    return decoded(*opened);
}

bool is_sealed(std::string_view bytes) noexcept {
    return bytes.starts_with(magic);
}

void write_sealed_file(std::string_view path, properties const& tree, e_sealing sealing) {
    kxbase::buffer container;
    seal_tree(tree, sealing, container);
    file_io::write_file(local_path(path), container.text(), file_io::e_access::owner_only);
}

kxbase::ptr_refcount<properties> read_sealed_file(std::string_view path) {
    std::string const file = local_path(path);
    kxbase::buffer const container(file_io::read_file(file, kxbase::current_limits().document));
    try {
        return unseal_tree(container);
    } catch (kxbase::es::arg const& error) {
        kxbase::es::arg::raise("'" + file + "': " + error.what());
    }
}

namespace {

std::string head(char mark) {
    return std::string(magic) + mark;
}

kxbase::ptr_refcount<properties> decoded(std::string_view encoded) {
    decoder_network decoder(as_bytes(encoded));
    auto tree = kxbase::make_refcount<properties>();
    tree->decode(decoder);
    decoder.expect_end();
    return tree;
}

void raise_at(std::size_t offset, std::string_view what) {
    kxbase::es::arg::raise("byte " + std::to_string(offset) + ": " + std::string(what));
}

} // namespace

} // namespace kxcore
