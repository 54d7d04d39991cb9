#pragma once

// The two document formats, each a reader and a writer over the same tree. docs/documents.md describes the bytes.

#include <kxcore/configuration.h>
#include <kxcore/fwd.h>

#include <kxbase/ptr_refcount.h>

#include <string>
#include <string_view>

namespace kxcore {

class document_places;

/// What a document holds.
struct document_content {
    std::string identifier;
    unsigned int version = 0;
    /// Where the identifier stands; the message is empty.
    document_diagnostic place;
    /// Empty as long as the document has not been read as a whole.
    kxbase::ptr_refcount<properties const> tree;
};

enum class e_document_fault { none, malformed, beyond_limit };

/// How reading went; the diagnostic says what is wrong when there is a fault.
struct document_outcome {
    e_document_fault fault = e_document_fault::none;
    document_diagnostic diagnostic;
};

// Recognition: whether bytes begin as a document of the format does. No more than a prefix need be given.

[[nodiscard]] bool is_xml_document(std::string_view prefix) noexcept;
[[nodiscard]] bool is_binary_document(std::string_view prefix) noexcept;

// Reading: `out` gets as much as could be read, the tree only when all of it could.

[[nodiscard]] document_outcome read_xml_document(std::string_view bytes, document_content& out,
                                                 document_places* places);
[[nodiscard]] document_outcome read_binary_document(std::string_view bytes, document_content& out);

// Writing appends to `out`, and raises es::arg, with `out` as it was, for what could not be read back.

void write_xml_document(std::string_view identifier, unsigned int version, properties const& tree, kxbase::buffer& out);
void write_binary_document(std::string_view identifier, unsigned int version, properties const& tree,
                           kxbase::buffer& out);

/// Why a text cannot be the identifier of a document; the empty text when it can.
[[nodiscard]] std::string_view identifier_fault(std::string_view identifier) noexcept;

} // namespace kxcore
