#pragma once

/// @file
/// One stored document: its identifier ("task", "workflow"), the version it was written at and its tree, read
/// from and written to the two document formats (docs/documents.md). Reading parses and nothing else: whether
/// a tree fits the constraint of its identifier is for the caller to ask.

#include <kxbase/ptr_refcount.h>
#include <kxcore/export.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace kxbase {
class buffer;
}

namespace kxcore {

class constraint_db;
class document_places;
class plugin_db;
class properties;

/// What was wrong with a document, and where.
struct document_diagnostic {
    /// What was found and what was expected; empty when nothing was wrong.
    std::string message;
    /// XML: counted from 1, the column in bytes. Binary: both 0.
    std::size_t line = 0;
    std::size_t column = 0;
    /// The byte offset in the document, from 0.
    std::size_t offset = 0;
    /// XML: the property path of the element that was open; empty for the root, and for a binary document. Where it is
    /// not empty the message may begin with it.
    std::string path = {};

    /// "line 3, column 14: MESSAGE" or "byte 27: MESSAGE"; the empty text when nothing was wrong.
    [[nodiscard]] KXCORE_EXPORT std::string to_string() const;
};

/// Reads and writes one document. A value; copies share the trees. One that was moved from can only be assigned to.
class KXCORE_EXPORT configuration {
public:
    /// The two document formats.
    // The names of both enumerations are promised as they are, without a prefix.
    enum format : int { // NOLINT(readability-identifier-naming)
        format_xml = 0,
        format_binary = 1
    };

    /// What became of a read.
    enum read_error {         // NOLINT(readability-identifier-naming)
        read_ok = 0,          ///< read, at the current version
        read_old_version = 1, ///< read, at an older version (0 is one too)
        read_unexpected = 2,  ///< a whole document, but its identifier is not an accepted one
        read_unknown = 3,     ///< not a document: neither format's beginning
        read_invalid = 4,     ///< a document, but broken, or of a version above the current one
    };

    /// No document: an empty identifier, version 0, an empty tree.
    configuration();

    /// An empty document to be written.
    ///
    /// @param constraint the constraint that documents of this identifier are held to. Neither
    ///        reading nor writing consults it: a document that does not fit can be stored, and
    ///        found wanting where it is used.
    /// @param identifier_and_version what the document is written as
    configuration(constraint_db const& constraint, std::pair<std::string, unsigned int> identifier_and_version);

    ~configuration();
    configuration(configuration const&);
    configuration(configuration&&) noexcept;
    configuration& operator=(configuration const&);
    configuration& operator=(configuration&&) noexcept;

    /// Reads a document of either format. It is not validated.
    ///
    /// What was read before is forgotten first. After codes 0 to 2 the identifier, version and
    /// tree are the document's; after 3 they are empty; after 4 they are as far as the identifier
    /// and the version could be read, and the tree is whole or empty, never a part. What is wrong
    /// is reported to the log with its place, and kept for `get_diagnostic`.
    ///
    /// @param accepted its names are identifiers to accept, those with an empty constraint too
    /// @param versions the current version of each identifier; its names are accepted as well. An
    ///        identifier without an entry has no current version: every version of it is read_ok.
    /// @param stored_format receives the format unless null or unless the code is read_unknown
    /// @throws es::arg naming the limit and the place when the document goes beyond a limit
    ///         (kxbase/limits.h); nothing is read then
    [[nodiscard]] read_error read_config(constraint_db const& accepted,
                                         std::map<std::string, unsigned int> const& versions,
                                         kxbase::buffer const& document, format* stored_format);

    /// The identifier read, or the one to be written.
    [[nodiscard]] std::string const& get_identifier() const noexcept;

    /// The version that the document was stored at, or the one to be written.
    [[nodiscard]] unsigned int get_version() const noexcept;

    /// The tree: the one set or read, else the default one, else an empty one. Valid until the
    /// object is changed or destroyed; copying it costs one reference.
    [[nodiscard]] properties const& get_config() const noexcept;

    /// Sets the tree, by sharing it: later changes of the argument are not seen here.
    void set_config(properties const& tree);

    /// Sets the tree that is given and written as long as no other is set or read.
    void set_default_config(properties const& tree);

    /// Appends the document to the buffer.
    ///
    /// Equal documents give equal bytes. What could not be read back is refused before anything
    /// is written: beyond a limit, a key that is not UTF-8 or holds one of { } [ ].
    ///
    /// @throws es::arg naming the property path and the limit or the rule; the buffer is as it was
    void write_config(kxbase::buffer& out, format stored_format) const;

    /// What was wrong with the document read last; an empty message when nothing was.
    [[nodiscard]] document_diagnostic const& get_diagnostic() const noexcept;

    /// Asks the following reads of XML documents to note where in the text each property was
    /// found. Costs time and memory with every property, therefore off at first.
    void keep_places(bool keep);

    /// Where the properties of the document read last were found, its root under the empty path; empty when that was not asked
    /// for, for a binary document, and after an error.
    [[nodiscard]] document_places const& get_places() const noexcept;

    /// Whether a file is a document of either format, judged by at most its first 4 KiB: true
    /// also for one with an unknown identifier or broken further down.
    ///
    /// @param path_or_url as for `ioutil::get_file_content`
    /// @throws es::call when the file cannot be read
    [[nodiscard]] static bool recognizes_file(std::string_view path_or_url, plugin_db const& plugins);

    /// The same for bytes in memory, of which only the first 4 KiB are looked at.
    [[nodiscard]] static bool recognizes(std::string_view bytes) noexcept;

private:
    struct state;
    std::unique_ptr<state> state_;
};

} // namespace kxcore
