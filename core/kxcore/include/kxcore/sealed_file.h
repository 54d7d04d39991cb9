#pragma once

/// @file
/// A container for one tree in a file that is not a document: magic, network encoding, checksum, and, when
/// asked for, all of it encrypted with the key of wrapped credentials. Files are written with mode 0600 and
/// replaced whole. The format is described in docs/documents.md.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>
#include <kxcore/fwd.h>

#include <string_view>

namespace kxcore {

/// Who can read the content of a container.
enum class e_sealing {
    plain,     ///< whoever has the file
    encrypted, ///< who has the key file as well
};

/// Appends a container with the tree to the buffer.
///
/// @param sealing encrypted for a tree with credentials in it (`credentials::holds_credentials`)
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
