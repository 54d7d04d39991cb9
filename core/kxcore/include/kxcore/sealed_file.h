// A container for one tree in a file that is not a document: magic, network encoding, checksum,
// and, when asked for, all of it encrypted with the key of wrapped credentials. Files are written
// with mode 0600 and replaced whole. The format is described in docs/documents.md.
#pragma once

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>

#include <string_view>

namespace kxbase {
class buffer;
}

namespace kxcore {

class properties;

/// Whether the content of a container can be read by whoever has the file.
enum class e_sealing { plain, encrypted };

/// Whether a tree holds what must not lie in a file in the clear: a wrapped credential, a string
/// that is a URL with a user or a password, or a string under a key that ends with "password".
/// Compressed or otherwise hidden content of binary values is not looked into.
[[nodiscard]] KXCORE_EXPORT bool holds_credentials(properties const& tree);

/// Appends a container with the tree to the buffer.
///
/// @throws es::arg when the tree goes beyond a limit, or when there is no usable key file;
///         es::call when the key file cannot be read or made; the buffer is as it was
KXCORE_EXPORT void seal_tree(properties const& tree, e_sealing sealing, kxbase::buffer& out);

/// The tree of a container, encrypted or not.
///
/// @throws es::arg naming the byte offset and what was expected there, or that it was encrypted
///         with another key or changed
[[nodiscard]] KXCORE_EXPORT kxbase::ptr_refcount<properties> unseal_tree(kxbase::buffer const& container);

/// Whether bytes begin like a container.
[[nodiscard]] KXCORE_EXPORT bool is_sealed(std::string_view bytes) noexcept;

/// Writes a container with the tree to a file of mode 0600, replacing an old one whole.
///
/// @param path a path of this machine, or a "file:" URL
/// @throws as seal_tree; es::call when the file cannot be written, the old one is as it was
KXCORE_EXPORT void write_sealed_file(std::string_view path, properties const& tree, e_sealing sealing);

/// Reads what write_sealed_file wrote.
///
/// @throws as unseal_tree, the file named; es::call when the file cannot be read
[[nodiscard]] KXCORE_EXPORT kxbase::ptr_refcount<properties> read_sealed_file(std::string_view path);

} // namespace kxcore
